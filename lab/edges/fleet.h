#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "lab/edges/edge.h"

// All edges and the loop that serves their sockets, on one thread.
class Fleet {
  public:
    static constexpr int kEdgesPerSubnet = 16;

    ~Fleet();
    Fleet() = default;
    Fleet(const Fleet&) = delete;
    Fleet& operator=(const Fleet&) = delete;

    // False with errno when the system has not enough sockets.
    bool Make(int edges, const sockaddr_in& central);
    // Serves the sockets until done says so, or the time is over: false then. Each round, a few
    // milliseconds at most, ends with a call of done.
    bool Serve(std::chrono::milliseconds most, const std::function<bool()>& done);
    // Lets edges join, so many at a time, until all have: false when the time was not enough. Each
    // one sends a packet as soon as it has joined, as the hosts behind an edge do.
    bool Join(int at_a_time, std::chrono::milliseconds most);

    // The others of an edge's subnet, in order of their number.
    std::vector<Edge*> PeersOf(const Edge& edge) const;
    // Whether the edge knows exactly the others of its subnet, with their addresses, each announced
    // since then; and how many do.
    bool KnowsAll(const Edge& edge, Clock::time_point since) const;
    size_t CountKnowingAll(Clock::time_point since = {}) const;
    uint64_t Sum(uint64_t Edge::*counter) const;

    std::deque<std::unique_ptr<Edge>>& All() { return m_edges; }

  private:
    std::deque<std::unique_ptr<Edge>> m_edges;
    int m_poll = -1;
};
