#include "tcr/registrations.h"

#include <cstring>

#include "inet/tnet_byteorder.h"
#include "sstp/sstp_add_device.h"
#include "sstp/sstp_add_router.h"
#include "sstp/sstp_del_device.h"
#include "sstp/sstp_device_list.h"
#include "tcr/tcr_error.h"
#include "tcr/tcr_text.h"

namespace {

constexpr int kIdentifierSize = 4;
constexpr int kAddrSize = 4;

}  // namespace

bool TcrRegistrations::AddRouter(const TcrEdge& edge, const TcrDatagram& request) {
    CTSstpAddRouterMsg router_msg;
    CTSstpAddRouterAck reply;
    if (!m_core.HoldsBody(request.msg, CTSstpAddRouterMsg::GetContextLength())) return true;
    if (!router_msg.Attach(request.buffer) || !reply.Create()) return true;
    bool own = router_msg.GetIdentifier() == edge.Identifier();
    reply.SetError(own ? kTcrErrNone : kTcrErrRefused);
    if (own) {
        CTSdwanRouter* router = edge.Router();
        router->SetLabel(router_msg.GetRouterLabel());
        router->SetType(router_msg.GetRouterType());
        router->SetNetLayer(router_msg.GetNetLayer());
        m_sessions.List(edge);
        m_core.journal.EdgeChanged(edge);
        m_core.log.EdgeLine(edge, request.now, "registered router \"%s\"",
                            tcr_printable(router->GetLabel()).c_str());
    }
    m_core.replies.SendAndKeep(edge, request, reply);
    return true;
}

bool TcrRegistrations::AddDevices(const TcrEdge& edge, const TcrDatagram& request) {
    CTSstpAddDeviceMsg devices;
    CTSstpAddDeviceAck reply;
    if (!m_core.HoldsBody(request.msg, kIdentifierSize)) return true;
    if (!devices.Attach(request.buffer) || !reply.Create()) return true;
    TcrSession& session = edge.Session();
    if (devices.GetIdentifier() != edge.Identifier() || !session.listed) return false;
    CTSstpGetDeviceAckParamList list;
    list.Attach(devices.GetParamListPtr(), devices.GetParamListLength());
    for (list.First(); !list.IsEnd(); list.Next())
        AddDevice(edge, list.GetIPvAddr(), list.GetEtherAddr(), request.now);
    if (!session.registered) {
        session.registered = true;
        m_core.journal.EdgeChanged(edge);
        m_sessions.ReplyLeft(edge, request.now);
    }
    m_core.replies.SendAndKeep(edge, request, reply);
    return true;
}

void TcrRegistrations::AddDevice(const TcrEdge& edge, uint32_t ip, const uint8_t* mac,
                                 TcrTime now) {
    TcrSubnet& subnet = *edge.subnet;
    CTSdwanRouter* holder = subnet.model.GetRouterByIPv4Addr(ip);
    if (!subnet.IsHostAddr(ip) || (holder && holder != edge.Router())) {
        m_core.log.EdgeLine(edge, now, "may not have device %s", tcr_ip_text(ip).c_str());
        return;
    }
    CTSdwanDevice* device = subnet.model.GetDevice(ip);
    bool same = device && memcmp(device->GetEtherAddr().GetBytes(), mac, kEtherAddrSize) == 0;
    if (!same) {
        subnet.model.DelDevice(edge.Router(), ip);
        device = subnet.model.AddDevice(edge.Router(), ip, mac);
    }
    if (!device) return;
    if (!same || device->GetStatus() != kDeviceStatusOn) m_core.journal.EdgeChanged(edge);
    device->SetStatusOn();
    device->SetTypeIPv4();
    m_core.log.EdgeLine(edge, now, "added device %s", tcr_ip_text(ip).c_str());
}

bool TcrRegistrations::DelDevices(const TcrEdge& edge, const TcrDatagram& request) {
    CTSstpDelDeviceMsg devices;
    CTSstpDelDeviceAck reply;
    if (!m_core.HoldsBody(request.msg, kIdentifierSize)) return true;
    if (!devices.Attach(request.buffer) || !reply.Create()) return true;
    if (devices.GetIdentifier() != edge.Identifier()) return false;
    const uint8_t* addrs = static_cast<const uint8_t*>(devices.GetParamListPtr());
    for (int i = 0; i < devices.GetParamListLength() / kAddrSize; ++i)
        DelDevice(edge, tnet_load32(addrs + i * kAddrSize), request.now);
    m_core.replies.SendAndKeep(edge, request, reply);
    return true;
}

// The edge's lease stays its own, as a device that is not on.
void TcrRegistrations::DelDevice(const TcrEdge& edge, uint32_t ip, TcrTime now) {
    CTSdwanDevice* device = edge.Router()->FindDevice(ip);
    if (!device) return;
    if (ip == edge.Session().lease) {
        device->SetStatus(kDeviceStatusOff);
    } else {
        edge.subnet->model.DelDevice(edge.Router(), ip);
    }
    m_core.journal.EdgeChanged(edge);
    m_core.log.EdgeLine(edge, now, "removed device %s", tcr_ip_text(ip).c_str());
}
