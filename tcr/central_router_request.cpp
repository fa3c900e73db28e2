// CTCentralRouter: the requests of joining, leaving and asking, and their replies. A reply carries
// the seq of its request and goes back to where that came from.

#include <cstring>
#include <string>

#include "base/pvu_text_field.h"
#include "inet/tnet_byteorder.h"
#include "sstp/sstp_add_device.h"
#include "sstp/sstp_add_router.h"
#include "sstp/sstp_del_device.h"
#include "sstp/sstp_device_list.h"
#include "sstp/sstp_dhcp.h"
#include "sstp/sstp_echo.h"
#include "sstp/sstp_error.h"
#include "sstp/sstp_get_device.h"
#include "sstp/sstp_get_router.h"
#include "sstp/sstp_login.h"
#include "sstp/sstp_logout.h"
#include "sstp/sstp_router_list.h"
#include "sstp/sstp_subnet.h"
#include "tcr/central_router.h"

namespace {

constexpr int kIdentifierSize = 4;
constexpr int kAddrSize = 4;
constexpr uint32_t kErrNone = 0;
constexpr uint32_t kErrRefused = 1;

// A login repeated within this time is the same one, whose reply was lost or late.
constexpr uint32_t kSameLoginMs = 5000;
// An edge that waits for the reply to its last registration step asks again within its receive
// time-out, 200 ms by default; after this long it is done with joining.
constexpr uint32_t kSettleMs = 500;
// Draws from the allocator before a free address is looked for in order: the allocator knows
// nothing of the gateway and does not wrap round.
constexpr int kDraws = 4;
constexpr uint32_t kRefusalLineMs = 1000;

std::string IpText(uint32_t ip) {
    CTString text;
    CIPv4Addr(ip).Print(text);
    return text.c_str();
}

std::string AddrText(const CTSockAddr& addr) {
    CTString text;
    addr.Print(text);
    return text.c_str();
}

}  // namespace

// Bodies are read where an earlier request may have left bytes: only those that came now count.
bool CTCentralRouter::HoldsBody(CTSstpMessage& msg, int length) {
    if (msg.GetBodyLimit() >= length) return true;
    ++m_counters.malformed;
    return false;
}

void CTCentralRouter::Reply(const CTSockAddr& to, CTSstpMessage& request, CTSstpMessage& reply) {
    reply.SetSeq(request.GetSeq());
    reply.SetSrc(kSstpCentralRouter);
    reply.SetDst(request.GetSrc());
    ++m_counters.answered;
    m_link.Send(to, reply.GetBufferPtr(), reply.GetMessageLength());
}

void CTCentralRouter::ReplyTo(const Edge& edge, CTSstpMessage& request, CTSstpMessage& reply) {
    TcrSession& session = edge.Session();
    Reply(session.addr, request, reply);
    session.answered_sub_type = request.GetSubType();
    session.answered_seq = request.GetSeq();
    session.answer.assign(reply.GetBufferPtr(), reply.GetBufferPtr() + reply.GetMessageLength());
}

void CTCentralRouter::Command(const CTSockAddr& from, CTSstpMessage& msg, uint32_t now) {
    if (msg.GetSubType() == kSstpCmmEcho) return Echo(from, msg);
    if (msg.GetSubType() == kSstpCmmLogin) return Login(from, msg, now);
    Edge edge;
    if (!FindEdge(msg.GetSrc(), from, edge)) return;
    TcrSession& session = edge.Session();
    bool repeated = !session.answer.empty() && session.answered_sub_type == msg.GetSubType() &&
                    session.answered_seq == msg.GetSeq();
    if (repeated) {
        ++m_counters.answered;
        if (session.registered) session.settle_tick = now + kSettleMs;
        m_link.Send(from, session.answer.data(), static_cast<int>(session.answer.size()));
        return;
    }
    if (session.presence != TcrPresence::kLoggedIn) {
        ++m_counters.wrong;
        return;
    }
    session.heard_tick = now;
    if (!Dispatch(edge, msg, now)) ++m_counters.wrong;
}

bool CTCentralRouter::Dispatch(const Edge& edge, CTSstpMessage& msg, uint32_t now) {
    switch (msg.GetSubType()) {
        case kSstpCmmLogout:
            return Logout(edge, msg, now);
        case kSstpCmmDhcp:
            return Dhcp(edge, msg);
        case kSstpCmmSubnet:
            return Subnet(edge, msg);
        case kSstpCmmGetRouter:
            return GetRouters(edge, msg);
        case kSstpCmmGetDevice:
            return GetDevices(edge, msg);
        case kSstpCmmAddRouter:
            return AddRouter(edge, msg);
        case kSstpCmmAddDevice:
            return AddDevices(edge, msg, now);
        case kSstpCmmDelDevice:
            return DelDevices(edge, msg);
        default:
            return false;
    }
}

void CTCentralRouter::Echo(const CTSockAddr& from, CTSstpMessage& msg) {
    CTSstpEchoAck reply;
    if (reply.Create()) Reply(from, msg, reply);
}

// 0, or the error to refuse with.
uint32_t CTCentralRouter::JudgeLogin(CTSstpLoginMsg& login, TcrSubnet*& subnet) {
    std::string name = pvu_text_field_get(login.GetSubnetName());
    for (std::unique_ptr<TcrSubnet>& served : m_subnets) {
        if (served->model.IsSame(name.c_str())) subnet = served.get();
    }
    if (!subnet) return kSstpErrLoginFailed;
    if (pvu_text_field_get(login.GetUserPwd()) != subnet->model.GetSubnetPassword()) {
        return kSstpErrSubnetPassword;
    }
    if (CTVersion(login.GetVersion()) < m_config.lowest_version) return kSstpErrVersionLow;
    return kErrNone;
}

void CTCentralRouter::Login(const CTSockAddr& from, CTSstpMessage& msg, uint32_t now) {
    CTSstpLoginMsg login;
    CTSstpLoginAck reply;
    if (!HoldsBody(msg, CTSstpLoginMsg::GetContextLength())) return;
    if (!login.Attach(m_request) || !reply.Create()) return;
    TcrSubnet* subnet = nullptr;
    int slot = 0;
    uint32_t error = JudgeLogin(login, subnet);
    if (error == kErrNone && !TakeSlot(*subnet, login.GetSerialNumber(), slot)) {
        error = kSstpErrLoginFailed;
    }
    reply.SetError(error);
    if (error != kErrNone) {
        RefuseLogin(from, error, now);
        return Reply(from, msg, reply);
    }
    Edge edge{subnet, slot};
    TcrSession& session = edge.Session();
    reply.SetIdentifier(edge.Identifier());
    bool repeated = session.presence == TcrPresence::kLoggedIn && session.addr == from &&
                    session.login_seq == msg.GetSeq() && now - session.login_tick < kSameLoginMs;
    if (!repeated) {
        // What the edge knew and where it was is over; its address stays its own.
        Unlist(edge, kDeviceStatusOff);
        uint32_t lease = session.lease;
        DropDevicesBut(edge, lease);
        session = TcrSession();
        session.lease = lease;
        session.presence = TcrPresence::kLoggedIn;
        session.addr = from;
        session.login_tick = now;
        session.login_seq = msg.GetSeq();
        session.heard_tick = now;
        CTVersion version(login.GetVersion());
        Tell("edge 0x%08x logged in from %s, serial 0x%08x, version %d.%d.%d, subnet \"%s\"",
             edge.Identifier(), AddrText(from).c_str(), login.GetSerialNumber(), version.GetMajor(),
             version.GetMinor(), version.GetPatch(),
             tcr_printable(subnet->model.GetName()).c_str());
    }
    Reply(from, msg, reply);
}

// The slot of the edge with that serial number: the one it had, a free one, or that of the edge
// that has been away longest.
bool CTCentralRouter::TakeSlot(TcrSubnet& subnet, uint32_t serial, int& slot) {
    CTSdwanRouter* router = subnet.model.AddRouter(serial);
    if (!router) {
        const TcrSession* longest = nullptr;
        for (TcrSession& session : subnet.sessions) {
            if (session.presence == TcrPresence::kLoggedIn) continue;
            // Ticks wrap: the earlier of two is the one from which the other lies ahead.
            if (!longest || static_cast<int32_t>(session.gone_tick - longest->gone_tick) < 0) {
                longest = &session;
            }
        }
        if (!longest) return false;
        int freed = static_cast<int>(longest - subnet.sessions);
        subnet.model.DelRouter(subnet.Identifier(freed));
        subnet.sessions[freed] = TcrSession();
        router = subnet.model.AddRouter(serial);
    }
    if (!router) return false;
    slot = router->GetIndex();
    return slot < kTcrSlots;
}

// At most one line a second: anybody can send logins.
void CTCentralRouter::RefuseLogin(const CTSockAddr& from, uint32_t error, uint32_t now) {
    ++m_counters.refused_logins;
    if (m_refusal_told && now - m_last_refusal_tick < kRefusalLineMs) {
        ++m_refusals_not_told;
        return;
    }
    Tell("login from %s refused, error %u (%llu more not shown)", AddrText(from).c_str(), error,
         static_cast<unsigned long long>(m_refusals_not_told));
    m_refusal_told = true;
    m_last_refusal_tick = now;
    m_refusals_not_told = 0;
}

bool CTCentralRouter::Dhcp(const Edge& edge, CTSstpMessage& msg) {
    CTSstpDhcpMsg request;
    CTSstpDhcpAck reply;
    if (!HoldsBody(msg, CTSstpDhcpMsg::GetContextLength())) return true;
    if (!request.Attach(m_request) || !reply.Create()) return true;
    uint32_t ip = Lease(edge, request.GetIPAddr(), request.GetEtherAddr());
    reply.SetError(ip == 0 ? kErrRefused : kErrNone);
    reply.SetGateway(edge.subnet->model.GetGateway());
    reply.SetMask(edge.subnet->model.GetNetMask());
    reply.SetIP(ip);
    if (ip != 0) {
        HoldLease(edge, ip, request.GetEtherAddr());
        Tell("edge 0x%08x has address %s", edge.Identifier(), IpText(ip).c_str());
    }
    ReplyTo(edge, msg, reply);
    return true;
}

// The requested address if it is free or the edge's own, the one it had before, or a new one; 0
// when the subnet has none left.
uint32_t CTCentralRouter::Lease(const Edge& edge, uint32_t requested, const uint8_t* mac) {
    TcrSubnet& subnet = *edge.subnet;
    CTSdwanRouter* holder = subnet.model.GetRouterByIPv4Addr(requested);
    if (subnet.IsHostAddr(requested) && (!holder || holder == edge.Router())) return requested;
    if (edge.Session().lease != 0) return edge.Session().lease;
    for (int i = 0; i < kDraws; ++i) {
        uint32_t ip = subnet.model.DynamicAllocationIPAddr(0, mac);
        if (subnet.IsHostAddr(ip)) return ip;
    }
    uint32_t mask = subnet.model.GetNetMask();
    uint32_t network = subnet.model.GetGateway() & mask;
    for (uint32_t host = 1; host < ~mask; ++host) {
        uint32_t ip = network | host;
        if (subnet.IsHostAddr(ip) && !subnet.model.HasDevice(ip)) return ip;
    }
    return 0;
}

// The address stays the edge's, as a device that is not on, for as long as its slot does.
void CTCentralRouter::HoldLease(const Edge& edge, uint32_t ip, const uint8_t* mac) {
    TcrSession& session = edge.Session();
    if (session.lease != 0 && session.lease != ip) {
        edge.subnet->model.DelDevice(edge.Router(), session.lease);
    }
    session.lease = ip;
    CTSdwanDevice* device = edge.subnet->model.GetDevice(ip);
    bool same = device && memcmp(device->GetEtherAddr().GetBytes(), mac, kEtherAddrSize) == 0;
    if (same) return;
    edge.subnet->model.DelDevice(edge.Router(), ip);
    device = edge.subnet->model.AddDevice(edge.Router(), ip, mac);
    if (device) device->SetStatus(kDeviceStatusOff);
}

void CTCentralRouter::DropDevicesBut(const Edge& edge, uint32_t kept) {
    std::vector<uint32_t> dropped;
    CTSdwanDeviceList& devices = edge.Router()->GetDeviceList();
    for (int i = 0; i < devices.Count(); ++i) {
        CTSdwanDevice* device = devices.At(i);
        if (device && device->GetIPv4Addr().GetIP() != kept) {
            dropped.push_back(device->GetIPv4Addr().GetIP());
        }
    }
    for (uint32_t ip : dropped)
        edge.subnet->model.DelDevice(edge.Router(), ip);
}

bool CTCentralRouter::Subnet(const Edge& edge, CTSstpMessage& msg) {
    CTSstpSubnetMsg request;
    CTSstpSubnetAck reply;
    if (!HoldsBody(msg, CTSstpSubnetMsg::GetContextLength())) return true;
    if (!request.Attach(m_request) || !reply.Create()) return true;
    CTSdwanSubnet& model = edge.subnet->model;
    if (!model.IsSame(pvu_text_field_get(request.GetSubnetName()).c_str())) return false;
    reply.SetSubnetName(model.GetName());
    reply.SetGateway(model.GetGateway());
    reply.SetNetMask(model.GetNetMask());
    ReplyTo(edge, msg, reply);
    return true;
}

// Offers the other routers. The edge shows that it has one by asking for its devices.
bool CTCentralRouter::GetRouters(const Edge& edge, CTSstpMessage& msg) {
    CTSstpGetRouterAck reply;
    CTSstpGetRouterAckParamList list;
    if (!reply.Create() || list.Create(kTcrSlots) != 0) return true;
    for (int slot = 0; slot < kTcrSlots; ++slot) {
        const TcrSession& other = edge.subnet->sessions[slot];
        CTSdwanRouter* router = edge.subnet->Router(slot);
        if (slot == edge.slot || !router || !other.listed || !list.Append()) continue;
        list.SetStat(router->GetStatus());
        list.SetType(router->GetType());
        list.SetNetLayer(router->GetNetLayer());
        list.SetIdentifier(router->GetIdentifier());
        list.SetSerialNumber(router->GetSerialNumber());
        list.SetExtSockAddr(router->GetSstpAddr());
        TcrTold& told = edge.Session().told[slot];
        told.may_know = true;
        told.offered_version = other.version;
    }
    reply.FillParamList(list);
    ReplyTo(edge, msg, reply);
    return true;
}

// The edge goes on without the devices if this reply is lost, so they only may be known after it.
bool CTCentralRouter::GetDevices(const Edge& edge, CTSstpMessage& msg) {
    CTSstpGetDeviceMsg request;
    CTSstpGetDeviceAck reply;
    CTSstpGetDeviceAckParamList list;
    if (!HoldsBody(msg, CTSstpGetDeviceMsg::GetContextLength())) return true;
    if (!request.Attach(m_request) || !reply.Create()) return true;
    int slot = CTSdwanSubnet::RouterIDToIndex(request.GetIdentifier());
    if (SubnetOf(request.GetIdentifier()) != edge.subnet || slot >= kTcrSlots) return false;
    if (list.Create(CTSdwanDeviceList::kMaxDevices) != 0) return true;
    TcrTold& told = edge.Session().told[slot];
    told.sure_version = told.offered_version;
    std::vector<TcrDevice> devices;
    if (edge.subnet->sessions[slot].listed) devices = edge.subnet->DevicesOf(slot);
    told.MayKnow(devices);
    for (const TcrDevice& device : devices) {
        if (!list.Append()) break;
        list.SetStat(kDeviceStatusOn);
        list.SetType(kDeviceTypeIPv4);
        list.SetIPv4Addr(device.ip);
        list.SetEtherAddr(device.mac.bytes);
    }
    reply.FillParamList(list);
    ReplyTo(edge, msg, reply);
    return true;
}

bool CTCentralRouter::AddRouter(const Edge& edge, CTSstpMessage& msg) {
    CTSstpAddRouterMsg request;
    CTSstpAddRouterAck reply;
    if (!HoldsBody(msg, CTSstpAddRouterMsg::GetContextLength())) return true;
    if (!request.Attach(m_request) || !reply.Create()) return true;
    bool own = request.GetIdentifier() == edge.Identifier();
    reply.SetError(own ? kErrNone : kErrRefused);
    if (own) {
        CTSdwanRouter* router = edge.Router();
        router->SetLabel(request.GetRouterLabel());
        router->SetType(request.GetRouterType());
        router->SetNetLayer(request.GetNetLayer());
        List(edge);
        Tell("edge 0x%08x registered router \"%s\"", edge.Identifier(),
             tcr_printable(router->GetLabel()).c_str());
    }
    ReplyTo(edge, msg, reply);
    return true;
}

bool CTCentralRouter::AddDevices(const Edge& edge, CTSstpMessage& msg, uint32_t now) {
    CTSstpAddDeviceMsg request;
    CTSstpAddDeviceAck reply;
    if (!HoldsBody(msg, kIdentifierSize)) return true;
    if (!request.Attach(m_request) || !reply.Create()) return true;
    TcrSession& session = edge.Session();
    if (request.GetIdentifier() != edge.Identifier() || !session.listed) return false;
    CTSstpGetDeviceAckParamList list;
    list.Attach(request.GetParamListPtr(), request.GetParamListLength());
    for (list.First(); !list.IsEnd(); list.Next())
        AddDevice(edge, list.GetIPvAddr(), list.GetEtherAddr());
    if (!session.registered) {
        session.registered = true;
        session.settle_tick = now + kSettleMs;
    }
    ReplyTo(edge, msg, reply);
    return true;
}

void CTCentralRouter::AddDevice(const Edge& edge, uint32_t ip, const uint8_t* mac) {
    TcrSubnet& subnet = *edge.subnet;
    CTSdwanRouter* holder = subnet.model.GetRouterByIPv4Addr(ip);
    if (!subnet.IsHostAddr(ip) || (holder && holder != edge.Router())) {
        Tell("edge 0x%08x may not have device %s", edge.Identifier(), IpText(ip).c_str());
        return;
    }
    CTSdwanDevice* device = subnet.model.GetDevice(ip);
    bool same = device && memcmp(device->GetEtherAddr().GetBytes(), mac, kEtherAddrSize) == 0;
    if (!same) {
        subnet.model.DelDevice(edge.Router(), ip);
        device = subnet.model.AddDevice(edge.Router(), ip, mac);
    }
    if (!device) return;
    device->SetStatusOn();
    device->SetTypeIPv4();
    Tell("edge 0x%08x added device %s", edge.Identifier(), IpText(ip).c_str());
}

bool CTCentralRouter::DelDevices(const Edge& edge, CTSstpMessage& msg) {
    CTSstpDelDeviceMsg request;
    CTSstpDelDeviceAck reply;
    if (!HoldsBody(msg, kIdentifierSize)) return true;
    if (!request.Attach(m_request) || !reply.Create()) return true;
    if (request.GetIdentifier() != edge.Identifier()) return false;
    const uint8_t* addrs = static_cast<const uint8_t*>(request.GetParamListPtr());
    for (int i = 0; i < request.GetParamListLength() / kAddrSize; ++i) {
        uint32_t ip = tnet_load32(addrs + i * kAddrSize);
        CTSdwanDevice* device = edge.Router()->FindDevice(ip);
        if (!device) continue;
        if (ip == edge.Session().lease) {
            device->SetStatus(kDeviceStatusOff);
        } else {
            edge.subnet->model.DelDevice(edge.Router(), ip);
        }
        Tell("edge 0x%08x removed device %s", edge.Identifier(), IpText(ip).c_str());
    }
    ReplyTo(edge, msg, reply);
    return true;
}

bool CTCentralRouter::Logout(const Edge& edge, CTSstpMessage& msg, uint32_t now) {
    CTSstpLogoutAck reply;
    if (!reply.Create()) return true;
    TcrSession& session = edge.Session();
    session.presence = TcrPresence::kAbsent;
    session.gone_tick = now;
    session.registered = false;
    session.announcement.active = false;
    Unlist(edge, kDeviceStatusOff);
    ReplyTo(edge, msg, reply);
    Tell("edge 0x%08x logged out", edge.Identifier());
    return true;
}
