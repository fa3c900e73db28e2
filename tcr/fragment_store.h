#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "inet/xmit_pkt.h"
#include "tcr/tcr_time.h"

// Gives a descriptor back to its pool.
struct TcrReleasePkt {
    void operator()(CTXmitPkt* pkt) const { pkt->Release(); }
};
using TcrPkt = std::unique_ptr<CTXmitPkt, TcrReleasePkt>;

// Fragments for the gateway that wait for their partner. Each edge has places of its own, so that
// none can push out another's; its oldest goes when it needs one more, and none waits longer than
// two seconds, nor for longer than its edge takes to send kMaxPassed packets: numbers have 16 bits,
// and a later packet of the same number would be joined with it. Owned by the gateway; one thread.
class TcrFragmentStore {
  public:
    static constexpr size_t kPerEdge = 4;
    static constexpr TcrTime kMaxAgeMs = 2000;
    static constexpr uint32_t kMaxPassed = 4096;

    // The edge sent a packet with that number, to whomever.
    void Note(uint32_t edge, uint16_t seq);
    // The fragment of that edge and number, which leaves the store; null when none waits.
    TcrPkt Take(uint32_t edge, uint16_t seq, TcrTime now);
    void Put(uint32_t edge, uint16_t seq, TcrPkt pkt, TcrTime now);
    // Releases what has waited too long.
    void ForgetOld(TcrTime now);

  private:
    struct Waiting {
        uint16_t seq;
        TcrTime since;
        uint32_t passed;  // of its edge, when it came
        TcrPkt pkt;
    };
    struct Edge {
        std::vector<Waiting> places;  // the oldest first
        uint16_t last = 0;            // its furthest number
        uint32_t passed = 0;          // numbers passed since it has fragments here
    };

    static void ForgetOld(Edge& edge, TcrTime now);

    std::map<uint32_t, Edge> m_edges;  // by identifier; none without fragments after ForgetOld
};
