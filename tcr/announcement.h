#pragma once

#include <cstdint>
#include <vector>

#include "tcr/peer_view.h"
#include "tcr/tcr_time.h"

constexpr int kTcrSlots = 16;  // routers of a subnet

// The announcement under way to an edge: one at a time, so that the edge sees them in order.
struct TcrAnnouncement {
    bool active = false;
    uint8_t sub_type = 0;
    uint16_t seq = 0;
    int slot = 0;          // of the router that it is about
    uint32_t version = 0;  // of that router
    std::vector<TcrDevice> devices;
    std::vector<uint8_t> bytes;  // the datagram, sent again as it is
    int repeats = 0;
    TcrTime sent_tick = 0;
};

// What one edge knows of its subnet, and what is being announced to it. Part of its session; the
// announcer keeps it.
struct TcrTopology {
    TcrPeerView views[kTcrSlots];  // of the router in each slot
    TcrAnnouncement announcement;
    uint16_t next_seq = 1;  // of announcements; never 0, which an edge would number itself
    bool stalled = false;   // it left an announcement unanswered: not before its next heartbeat
    // Router announcements lately acknowledged: a second acknowledgement shows that the edge has
    // taken the router anew and dropped its devices.
    struct Acknowledged {
        uint16_t seq = 0;
        int slot = 0;
    } acknowledged[kTcrSlots];
    int acknowledged_next = 0;
};
