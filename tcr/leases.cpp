#include "tcr/leases.h"

#include <cstring>

#include "sstp/sstp_dhcp.h"
#include "tcr/tcr_error.h"
#include "tcr/tcr_text.h"

namespace {

// Draws from the allocator before a free address is looked for in order: the allocator knows
// nothing of the gateway and does not wrap round.
constexpr int kDraws = 4;

}  // namespace

void TcrLeases::Dhcp(const TcrEdge& edge, const TcrDatagram& request) {
    CTSstpDhcpMsg wish;
    CTSstpDhcpAck reply;
    if (!m_core.HoldsBody(request.msg, CTSstpDhcpMsg::GetContextLength())) return;
    if (!wish.Attach(request.buffer) || !reply.Create()) return;
    uint32_t ip = Choose(edge, wish.GetIPAddr(), wish.GetEtherAddr(), request.now);
    if (ip != 0 && !Hold(edge, ip, wish.GetEtherAddr())) ip = 0;
    reply.SetError(ip == 0 ? kTcrErrRefused : kTcrErrNone);
    reply.SetGateway(edge.subnet->model.GetGateway());
    reply.SetMask(edge.subnet->model.GetNetMask());
    reply.SetIP(ip);
    if (ip != 0) {
        m_core.log.EdgeLine(edge, request.now, "has address %s", tcr_ip_text(ip).c_str());
    }
    m_core.replies.SendAndKeep(edge, request, reply);
}

// The requested address if it is free or the edge's own, the one it had before, or a new one; 0
// when the subnet has none left.
uint32_t TcrLeases::Choose(const TcrEdge& edge, uint32_t requested, const uint8_t* mac,
                           TcrTime now) {
    TcrSubnet& subnet = *edge.subnet;
    CTSdwanRouter* holder = subnet.model.GetRouterByIPv4Addr(requested);
    if (subnet.IsHostAddr(requested) && (!holder || holder == edge.Router())) return requested;
    if (edge.Session().lease != 0) return edge.Session().lease;
    if (!subnet.HasFreeAddr()) return 0;
    // The allocator prints what it found: not for an edge that has caused too many lines.
    for (int i = 0; i < kDraws && subnet.lines[edge.slot].Has(now); ++i) {
        uint32_t ip = subnet.model.DynamicAllocationIPAddr(0, mac);
        if (subnet.IsHostAddr(ip)) return ip;
    }
    return FindFree(subnet);
}

// Ends soon in the largest subnet too: each step but two passes the address of a device, and the
// routers hold no more than 16 x 8 of them.
uint32_t TcrLeases::FindFree(const TcrSubnet& subnet) {
    uint32_t mask = subnet.model.GetNetMask();
    uint32_t network = subnet.model.GetGateway() & mask;
    for (uint32_t host = 1; host < ~mask; ++host) {
        uint32_t ip = network | host;
        if (subnet.IsHostAddr(ip) && !subnet.model.HasDevice(ip)) return ip;
    }
    return 0;
}

// The address stays the edge's, as a device that is not on. False when its router holds as many
// devices as it can: what no device stands for might be given to another.
bool TcrLeases::Hold(const TcrEdge& edge, uint32_t ip, const uint8_t* mac) {
    TcrSession& session = edge.Session();
    CTSdwanSubnet& model = edge.subnet->model;
    if (session.lease != 0 && session.lease != ip) {
        model.DelDevice(edge.Router(), session.lease);
        session.lease = 0;
        m_core.journal.EdgeChanged(edge);
    }
    CTSdwanDevice* device = model.GetDevice(ip);
    bool same = device && memcmp(device->GetEtherAddr().GetBytes(), mac, kEtherAddrSize) == 0;
    if (same && session.lease == ip) return true;
    m_core.journal.EdgeChanged(edge);
    if (!same) {
        model.DelDevice(edge.Router(), ip);
        device = model.AddDevice(edge.Router(), ip, mac);
        if (device) device->SetStatus(kDeviceStatusOff);
    }
    session.lease = device ? ip : 0;
    return device != nullptr;
}
