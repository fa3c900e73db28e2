#pragma once

#include "tcr/leases.h"
#include "tcr/logins.h"
#include "tcr/registrations.h"

// Requests of edges: sorted here, each kind handled by whoever it is about; what an edge asks for
// its topology is answered here. A repeated request gets the same bytes again. One thread.
class TcrRequests {
  public:
    TcrRequests(TcrCore& core, TcrSessions& sessions)
        : m_core(core),
          m_sessions(sessions),
          m_logins(core, sessions),
          m_leases(core),
          m_registrations(core, sessions) {}

    void Command(const TcrDatagram& request);

  private:
    // These give false for a request that is wrong as it stands and gets no reply.
    bool Dispatch(const TcrEdge& edge, const TcrDatagram& request);
    bool Subnet(const TcrEdge& edge, const TcrDatagram& request);
    bool GetRouters(const TcrEdge& edge, const TcrDatagram& request);
    bool GetDevices(const TcrEdge& edge, const TcrDatagram& request);
    void Echo(const TcrDatagram& request);

    TcrCore& m_core;
    TcrSessions& m_sessions;
    TcrLogins m_logins;
    TcrLeases m_leases;
    TcrRegistrations m_registrations;
};
