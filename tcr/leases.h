#pragma once

#include <cstdint>

#include "tcr/tcr_core.h"

// Which address an edge gets. It stays the edge's for as long as its slot does. One thread.
class TcrLeases {
  public:
    explicit TcrLeases(TcrCore& core) : m_core(core) {}

    void Dhcp(const TcrEdge& edge, const TcrDatagram& request);

  private:
    uint32_t Choose(const TcrEdge& edge, uint32_t requested, const uint8_t* mac, TcrTime now);
    uint32_t FindFree(const TcrSubnet& subnet);
    bool Hold(const TcrEdge& edge, uint32_t ip, const uint8_t* mac);

    TcrCore& m_core;
};
