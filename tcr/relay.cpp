#include "tcr/relay.h"

void TcrRelay::Packet(const TcrDatagram& datagram) {
    TcrEdge edge;
    if (!m_sessions.Find(datagram.msg.GetSrc(), datagram.from, edge)) return;
    TcrSession& sender = edge.Session();
    if (sender.presence != TcrPresence::kLoggedIn || !sender.registered) {
        ++m_core.counters.wrong;
        return;
    }
    sender.heard_tick = datagram.now;
    m_sessions.Settle(edge, datagram.now);  // it would not send packets while it joins
    m_gateway.Note(datagram.msg);
    TcrEdgeTraffic& traffic = edge.subnet->traffic[edge.slot];
    Count(datagram, traffic.from_edge);
    if (datagram.msg.GetDst() == kSstpCentralRouter) {
        bool taken = m_gateway.Receive(datagram, edge.subnet->model.GetGateway());
        CTTraffic answered = m_gateway.TakeAnswered();
        traffic.to_edge.Add(answered.packets, answered.bytes);
        ++(taken ? m_core.counters.pings : m_core.counters.unknown_destination);
        return;
    }
    TcrEdge to{edge.subnet, CTSdwanSubnet::RouterIDToIndex(datagram.msg.GetDst())};
    if (!IsThere(to, datagram.msg.GetDst())) {
        ++m_core.counters.unknown_destination;
        return;
    }
    bool sent = m_core.link.Pass(to.Session().path, datagram.data, datagram.length);
    ++(sent ? m_core.counters.relayed : m_core.counters.send_refused);
    if (sent) Count(datagram, to.subnet->traffic[to.slot].to_edge);
}

// The two fragments of a packet are one packet, and headers are no bytes of it: the figures are
// those of the hosts' interfaces.
void TcrRelay::Count(const TcrDatagram& datagram, CTTraffic& traffic) {
    traffic.Add(datagram.msg.GetFrameIndex() == kFrameIndexFirst ? 1 : 0,
                static_cast<uint64_t>(datagram.length - kSstpHeaderSize));
}

void TcrRelay::EndOfBurst() {
    uint64_t refused = static_cast<uint64_t>(m_core.link.Flush());
    m_core.counters.relayed -= refused;
    m_core.counters.send_refused += refused;
}

bool TcrRelay::IsThere(const TcrEdge& to, uint32_t identifier) const {
    if (m_core.subnets.OfIdentifier(identifier) != to.subnet || to.slot >= kTcrSlots) return false;
    return to.Session().presence == TcrPresence::kLoggedIn && to.Session().settled;
}
