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
    if (datagram.msg.GetDst() == kSstpCentralRouter) {
        bool taken = m_gateway.Receive(datagram, edge.subnet->model.GetGateway());
        ++(taken ? m_core.counters.pings : m_core.counters.unknown_destination);
        return;
    }
    TcrSession* to = Destination(*edge.subnet, datagram.msg.GetDst());
    if (!to) {
        ++m_core.counters.unknown_destination;
        return;
    }
    bool sent = m_core.link.Pass(to->path, datagram.data, datagram.length);
    ++(sent ? m_core.counters.relayed : m_core.counters.send_refused);
}

void TcrRelay::EndOfBurst() {
    uint64_t refused = static_cast<uint64_t>(m_core.link.Flush());
    m_core.counters.relayed -= refused;
    m_core.counters.send_refused += refused;
}

TcrSession* TcrRelay::Destination(TcrSubnet& subnet, uint32_t identifier) const {
    int slot = CTSdwanSubnet::RouterIDToIndex(identifier);
    if (m_core.subnets.OfIdentifier(identifier) != &subnet || slot >= kTcrSlots) return nullptr;
    TcrSession& session = subnet.sessions[slot];
    bool there = session.presence == TcrPresence::kLoggedIn && session.settled;
    return there ? &session : nullptr;
}
