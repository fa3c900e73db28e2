#pragma once

#include <netinet/in.h>

#include <span>

#include "lab/edges/fleet.h"

// Simulated edges that stay at a central router that somebody else runs, for whoever wants to look
// at it: each sends at a rate of its own, one of each subnet falls silent after it joined, and one
// logs out.
class Crowd {
  public:
    Crowd(int edges, const sockaddr_in& central) : m_count(edges), m_central(central) {}

    // Whether there are sockets enough, errno tells why not; the labels are those of the first
    // edges.
    bool Prepare(std::span<char*> labels);
    // Until SIGINT or SIGTERM; false when not every edge joined.
    bool Stay();

  private:
    void SendPackets(int64_t round);

    const int m_count;
    const sockaddr_in m_central;
    Fleet m_fleet;
};
