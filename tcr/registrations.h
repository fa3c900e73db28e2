#pragma once

#include <cstdint>

#include "tcr/sessions.h"

// What an edge registers: its router and the devices behind it. The operations give false for a
// request that is wrong as it stands and gets no reply. One thread.
class TcrRegistrations {
  public:
    TcrRegistrations(TcrCore& core, TcrSessions& sessions) : m_core(core), m_sessions(sessions) {}

    bool AddRouter(const TcrEdge& edge, const TcrDatagram& request);
    bool AddDevices(const TcrEdge& edge, const TcrDatagram& request);
    bool DelDevices(const TcrEdge& edge, const TcrDatagram& request);

  private:
    void AddDevice(const TcrEdge& edge, uint32_t ip, const uint8_t* mac, TcrTime now);
    void DelDevice(const TcrEdge& edge, uint32_t ip, TcrTime now);

    TcrCore& m_core;
    TcrSessions& m_sessions;
};
