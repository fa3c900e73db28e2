#pragma once

#include <cstdint>
#include <vector>

#include "tcr/tcr_path.h"
#include "tcr/tcr_presence.h"
#include "tcr/tcr_time.h"
#include "tcr/topology.h"

// So long a sealed channel stays that a session had: what is on its way in it counts while the
// session has another one; and of a logout the reply has yet to leave, and may be asked for again.
constexpr TcrTime kTcrChannelStaysMs = 10000;

// The protocol state of one edge; its router and devices stand in the model, in the same slot.
struct TcrSession {
    TcrPresence presence = TcrPresence::kAbsent;
    TcrPath path;  // its remote end logged in: the only source that is listened to
    // The channel before that one, as long as what is on its way there counts.
    uint64_t earlier_channel = TcrPath::kOpen;
    TcrTime earlier_until = 0;
    TcrTime login_tick = 0;
    uint16_t login_seq = 0;
    TcrTime heard_tick = 0;
    TcrTime gone_tick = 0;
    TcrTime since_tick = 0;  // that it joins, has joined, is silent or away
    uint32_t lease = 0;      // its address, kept for it while it is away; 0: none yet

    bool listed = false;      // it registered its router
    uint32_t version = 0;     // changes with each registration
    bool registered = false;  // it registered its devices too
    // Its join is over, at settle_tick or when it shows that by what it sends. Before, it may still
    // wait for a reply and takes anything else for a lost one. So nothing is announced to it, nor
    // it to the others: each would greet it with a heartbeat, and three of those end a join.
    bool settled = false;
    TcrTime settle_tick = 0;

    // The last request that was answered, and the answer: a repeated request gets it again.
    uint8_t answered_sub_type = 0;
    uint16_t answered_seq = 0;
    std::vector<uint8_t> answer;

    // A change of it is not yet written to the state: a reply to it waits here; a failed write
    // drops it.
    bool unsaved = false;
    std::vector<uint8_t> held;

    TcrTopology topology;  // as this edge knows it
    // Of the last announcement that was acknowledged, microseconds; -1: none.
    int64_t round_trip_us = -1;
};
