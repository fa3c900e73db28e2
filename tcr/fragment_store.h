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
// two seconds: by then its number may be another packet's. Owned by the gateway; one thread.
class TcrFragmentStore {
  public:
    static constexpr size_t kPerEdge = 4;
    static constexpr TcrTime kMaxAgeMs = 2000;

    // The fragment of that edge and number, which leaves the store; null when none waits.
    TcrPkt Take(uint32_t edge, uint16_t seq, TcrTime now);
    void Put(uint32_t edge, uint16_t seq, TcrPkt pkt, TcrTime now);
    // Releases what has waited too long.
    void ForgetOld(TcrTime now);

    size_t Count() const;

  private:
    struct Waiting {
        uint16_t seq;
        TcrTime since;
        TcrPkt pkt;
    };
    using Places = std::vector<Waiting>;  // the oldest first

    static void ForgetOld(Places& places, TcrTime now);

    std::map<uint32_t, Places> m_edges;  // by identifier; none without fragments after ForgetOld
};
