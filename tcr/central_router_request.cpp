// CTCentralRouter: requests and their replies. A reply carries the seq of its request and goes back
// to where that came from. Here: sorting them, the lists that an edge asks for, what it registers.
// Login and logout are in central_router_login.cpp, addresses in central_router_lease.cpp.

#include <cstring>

#include "base/pvu_text_field.h"
#include "inet/tnet_byteorder.h"
#include "sstp/sstp_add_device.h"
#include "sstp/sstp_add_router.h"
#include "sstp/sstp_del_device.h"
#include "sstp/sstp_device_list.h"
#include "sstp/sstp_echo.h"
#include "sstp/sstp_get_device.h"
#include "sstp/sstp_get_router.h"
#include "sstp/sstp_router_list.h"
#include "sstp/sstp_subnet.h"
#include "tcr/central_router.h"
#include "tcr/tcr_text.h"

namespace {

constexpr int kIdentifierSize = 4;
constexpr int kAddrSize = 4;

// An edge that waits for the reply to its last registration step asks again within its receive
// time-out, 200 ms by default; after this long it is done with joining.
constexpr TcrTime kSettleMs = 500;

}  // namespace

// Bodies are read where an earlier request may have left bytes: only those that came now count.
bool CTCentralRouter::HoldsBody(CTSstpMessage& msg, int length) {
    if (msg.GetBodyLimit() >= length) return true;
    ++m_counters.malformed;
    return false;
}

void CTCentralRouter::Reply(const TcrPath& to, CTSstpMessage& request, CTSstpMessage& reply) {
    reply.SetSeq(request.GetSeq());
    reply.SetSrc(kSstpCentralRouter);
    reply.SetDst(request.GetSrc());
    ++m_counters.answered;
    m_link.Send(to, reply.GetBufferPtr(), reply.GetMessageLength());
}

void CTCentralRouter::ReplyTo(const Edge& edge, CTSstpMessage& request, CTSstpMessage& reply) {
    TcrSession& session = edge.Session();
    Reply(session.path, request, reply);
    session.answered_sub_type = request.GetSubType();
    session.answered_seq = request.GetSeq();
    session.answer.assign(reply.GetBufferPtr(), reply.GetBufferPtr() + reply.GetMessageLength());
}

void CTCentralRouter::Command(const TcrPath& from, CTSstpMessage& msg, TcrTime now) {
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

bool CTCentralRouter::Dispatch(const Edge& edge, CTSstpMessage& msg, TcrTime now) {
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

void CTCentralRouter::Echo(const TcrPath& from, CTSstpMessage& msg) {
    CTSstpEchoAck reply;
    if (reply.Create()) Reply(from, msg, reply);
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
        if (slot == edge.slot || !router || !other.settled || !list.Append()) continue;
        list.SetStat(router->GetStatus());
        list.SetType(router->GetType());
        list.SetNetLayer(router->GetNetLayer());
        list.SetIdentifier(router->GetIdentifier());
        list.SetSerialNumber(router->GetSerialNumber());
        list.SetExtSockAddr(router->GetSstpAddr());
        TcrPeerView& view = edge.Session().topology.views[slot];
        view.may_know = true;
        view.offered_version = other.version;
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
    TcrPeerView& view = edge.Session().topology.views[slot];
    view.sure_version = view.offered_version;
    TcrDevices devices;
    if (edge.subnet->sessions[slot].settled) devices = edge.subnet->DevicesOf(slot);
    view.MayKnow(devices);
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
    reply.SetError(own ? kTcrErrNone : kTcrErrRefused);
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

bool CTCentralRouter::AddDevices(const Edge& edge, CTSstpMessage& msg, TcrTime now) {
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
        Tell("edge 0x%08x may not have device %s", edge.Identifier(), tcr_ip_text(ip).c_str());
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
    Tell("edge 0x%08x added device %s", edge.Identifier(), tcr_ip_text(ip).c_str());
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
        Tell("edge 0x%08x removed device %s", edge.Identifier(), tcr_ip_text(ip).c_str());
    }
    ReplyTo(edge, msg, reply);
    return true;
}
