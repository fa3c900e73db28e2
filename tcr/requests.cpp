#include "tcr/requests.h"

#include <string>

#include "base/pvu_text_field.h"
#include "sstp/sstp_device_list.h"
#include "sstp/sstp_echo.h"
#include "sstp/sstp_get_device.h"
#include "sstp/sstp_get_router.h"
#include "sstp/sstp_router_list.h"
#include "sstp/sstp_subnet.h"

void TcrRequests::Command(const TcrDatagram& request) {
    if (request.msg.GetSubType() == kSstpCmmEcho) return Echo(request);
    if (request.msg.GetSubType() == kSstpCmmLogin) return m_logins.Login(request);
    TcrEdge edge;
    if (!m_sessions.Find(request.msg.GetSrc(), request.from, edge)) return;
    if (TcrReplies::IsRepeated(edge, request.msg)) {
        m_sessions.ReplyLeft(edge, request.now);
        return m_core.replies.Repeat(edge);
    }
    if (edge.Session().presence != TcrPresence::kLoggedIn) {
        ++m_core.counters.wrong;
        return;
    }
    edge.Session().heard_tick = request.now;
    if (!Dispatch(edge, request)) ++m_core.counters.wrong;
}

bool TcrRequests::Dispatch(const TcrEdge& edge, const TcrDatagram& request) {
    switch (request.msg.GetSubType()) {
        case kSstpCmmLogout:
            return m_logins.Logout(edge, request);
        case kSstpCmmDhcp:
            m_leases.Dhcp(edge, request);
            return true;
        case kSstpCmmSubnet:
            return Subnet(edge, request);
        case kSstpCmmGetRouter:
            return GetRouters(edge, request);
        case kSstpCmmGetDevice:
            return GetDevices(edge, request);
        case kSstpCmmAddRouter:
            return m_registrations.AddRouter(edge, request);
        case kSstpCmmAddDevice:
            return m_registrations.AddDevices(edge, request);
        case kSstpCmmDelDevice:
            return m_registrations.DelDevices(edge, request);
        default:
            return false;
    }
}

void TcrRequests::Echo(const TcrDatagram& request) {
    CTSstpEchoAck reply;
    if (reply.Create()) m_core.replies.SendNow(request, reply);
}

bool TcrRequests::Subnet(const TcrEdge& edge, const TcrDatagram& request) {
    CTSstpSubnetMsg asked;
    CTSstpSubnetAck reply;
    if (!m_core.HoldsBody(request.msg, CTSstpSubnetMsg::GetContextLength())) return true;
    if (!asked.Attach(request.buffer) || !reply.Create()) return true;
    CTSdwanSubnet& model = edge.subnet->model;
    if (!model.IsSame(pvu_text_field_get(asked.GetSubnetName()).c_str())) return false;
    reply.SetSubnetName(model.GetName());
    reply.SetGateway(model.GetGateway());
    reply.SetNetMask(model.GetNetMask());
    m_core.replies.SendAndKeep(edge, request, reply);
    return true;
}

// Offers the other routers. The edge shows that it has one by asking for its devices.
bool TcrRequests::GetRouters(const TcrEdge& edge, const TcrDatagram& request) {
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
    m_core.replies.SendAndKeep(edge, request, reply);
    return true;
}

// The edge goes on without the devices if this reply is lost, so they only may be known after it.
bool TcrRequests::GetDevices(const TcrEdge& edge, const TcrDatagram& request) {
    CTSstpGetDeviceMsg asked;
    CTSstpGetDeviceAck reply;
    CTSstpGetDeviceAckParamList list;
    if (!m_core.HoldsBody(request.msg, CTSstpGetDeviceMsg::GetContextLength())) return true;
    if (!asked.Attach(request.buffer) || !reply.Create()) return true;
    int slot = CTSdwanSubnet::RouterIDToIndex(asked.GetIdentifier());
    if (m_core.subnets.OfIdentifier(asked.GetIdentifier()) != edge.subnet || slot >= kTcrSlots) {
        return false;
    }
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
    m_core.replies.SendAndKeep(edge, request, reply);
    return true;
}
