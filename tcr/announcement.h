#pragma once

#include <cstdint>
#include <vector>

#include "tcr/tcr_device.h"
#include "tcr/tcr_time.h"

// One command to an edge about the router in a slot, as far as what follows from it is concerned.
struct TcrAnnouncement {
    uint8_t sub_type = 0;  // 0: none
    uint16_t seq = 0;
    int slot = 0;          // of the router that it is about
    uint32_t version = 0;  // of that router
    // Added or taken back; beside a router add those that follow it at once.
    TcrDevices devices = {};
    // Sent behind a router add, so that the edge is not without the addresses for the time of an
    // exchange. It is announced once more in any case.
    bool ahead = false;
};

// The announcement under way to an edge: one at a time, so that the edge sees them in order.
struct TcrPendingAnnouncement {
    bool active = false;
    TcrAnnouncement what;
    // The datagrams in the order in which they are sent, again and again as they are. The first one
    // is awaited.
    std::vector<std::vector<uint8_t>> datagrams;
    int repeats = 0;
    TcrTime sent_at = 0;
    int64_t sent_us = 0;  // the link's clock
    // Meanwhile the edge acknowledged an earlier command that may have undone this one.
    bool undone = false;
    // And these devices behind the same router, which it may have added after this one took them
    // back.
    TcrDevices added_late;
};
