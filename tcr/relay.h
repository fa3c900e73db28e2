#pragma once

#include "tcr/gateway.h"
#include "tcr/sessions.h"

// Network packets: passed on as they came to the edge that their dst names, or answered for the
// gateway. Nothing here waits for the state to be written. One thread.
class TcrRelay {
  public:
    TcrRelay(TcrCore& core, TcrSessions& sessions)
        : m_core(core), m_sessions(sessions), m_gateway(core.link) {}

    void Packet(const TcrDatagram& datagram);
    // The datagrams' bytes will not last any longer: what was passed on leaves now.
    void EndOfBurst();
    void Tick(TcrTime now) { m_gateway.Tick(now); }

  private:
    // Whether the edge, whose subnet is the sender's, is the one of that identifier and takes
    // packets.
    bool IsThere(const TcrEdge& to, uint32_t identifier) const;
    static void Count(const TcrDatagram& datagram, CTTraffic& traffic);

    TcrCore& m_core;
    TcrSessions& m_sessions;
    TcrGateway m_gateway;
};
