// CTCentralRouter: which address an edge gets.

#include <cstring>

#include "sstp/sstp_dhcp.h"
#include "tcr/central_router.h"
#include "tcr/tcr_text.h"

namespace {

// Draws from the allocator before a free address is looked for in order: the allocator knows
// nothing of the gateway and does not wrap round.
constexpr int kDraws = 4;

}  // namespace

bool CTCentralRouter::Dhcp(const Edge& edge, CTSstpMessage& msg) {
    CTSstpDhcpMsg request;
    CTSstpDhcpAck reply;
    if (!HoldsBody(msg, CTSstpDhcpMsg::GetContextLength())) return true;
    if (!request.Attach(m_request) || !reply.Create()) return true;
    uint32_t ip = Lease(edge, request.GetIPAddr(), request.GetEtherAddr());
    reply.SetError(ip == 0 ? kTcrErrRefused : kTcrErrNone);
    reply.SetGateway(edge.subnet->model.GetGateway());
    reply.SetMask(edge.subnet->model.GetNetMask());
    reply.SetIP(ip);
    if (ip != 0) {
        HoldLease(edge, ip, request.GetEtherAddr());
        Tell("edge 0x%08x has address %s", edge.Identifier(), tcr_ip_text(ip).c_str());
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
