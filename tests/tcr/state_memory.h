#pragma once

#include <cstdlib>
#include <map>
#include <optional>
#include <utility>

#include "tcr/state_sink.h"

// A state without a disk: a batch waits until the test has it written or loses it. Aborts when it
// is given what no state can take.
class MemoryState : public TcrStateSink {
  public:
    void Save(TcrStateBatch&& batch, uint64_t ticket) override {
        Require(!m_waiting && ticket > m_last_ticket && !batch.IsEmpty());
        m_last_ticket = ticket;
        m_waiting = std::move(batch);
        ++batches;
    }
    bool IsWaiting() const { return m_waiting.has_value(); }
    // The batch that waits is written, if there is one: its ticket, 0 for none.
    uint64_t Write() {
        if (!m_waiting) return 0;
        for (int index : m_waiting->removed_subnets) {
            m_subnets.erase(index);
            std::erase_if(m_edges, [&](const auto& edge) { return edge.first.first == index; });
        }
        for (const std::pair<int, int>& key : m_waiting->removed_edges)
            m_edges.erase(key);
        for (const TcrSubnetRecord& subnet : m_waiting->subnets)
            m_subnets[subnet.index] = subnet;
        for (const TcrEdgeRecord& edge : m_waiting->edges) {
            Require(m_subnets.count(edge.subnet) == 1);
            m_edges[{edge.subnet, edge.slot}] = edge;
        }
        m_waiting.reset();
        return m_last_ticket;
    }
    // The batch is lost.
    uint64_t Lose() {
        m_waiting.reset();
        return m_last_ticket;
    }
    // The central router was killed; its next run counts its tickets anew.
    void Restarted() {
        m_waiting.reset();
        m_last_ticket = 0;
    }
    // What a start would read.
    TcrStateImage Image() const {
        TcrStateImage image;
        for (const auto& [index, subnet] : m_subnets)
            image.subnets.push_back(subnet);
        for (const auto& [key, edge] : m_edges)
            image.edges.push_back(edge);
        return image;
    }

    int batches = 0;

  private:
    // One batch at a time, each with something in it, and no edge without its subnet.
    static void Require(bool held) {
        if (!held) abort();
    }

    std::optional<TcrStateBatch> m_waiting;
    uint64_t m_last_ticket = 0;
    std::map<int, TcrSubnetRecord> m_subnets;
    std::map<std::pair<int, int>, TcrEdgeRecord> m_edges;
};
