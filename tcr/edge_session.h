#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "base/pvu_sockaddr.h"
#include "inet/tnet_ether.h"

// A device as edges are told of it.
struct TcrDevice {
    uint32_t ip = 0;  // host byte order
    tnet_ether_addr mac = {};

    bool operator==(const TcrDevice& other) const {
        return ip == other.ip && tnet_is_same_ether_addr(&mac, &other.mac) != 0;
    }
};

// What one edge knows of another one. The edge surely knows what it acknowledged or showed by a
// later request, and may know what it was sent; the difference is what a lost datagram leaves
// open. Something is told until it is sure, and taken back for as long as it may be known.
struct TcrTold {
    bool may_know = false;         // it may have the router in its picture
    uint32_t offered_version = 0;  // of the router in the last list sent to it
    uint32_t sure_version = 0;     // of the router that it has; 0: none
    std::vector<TcrDevice> may_devices;
    std::vector<TcrDevice> sure_devices;

    void MayKnow(const std::vector<TcrDevice>& devices) { Unite(may_devices, devices); }
    void SurelyKnows(const std::vector<TcrDevice>& devices) { Unite(sure_devices, devices); }

  private:
    static void Unite(std::vector<TcrDevice>& into, const std::vector<TcrDevice>& devices) {
        for (const TcrDevice& device : devices) {
            if (std::find(into.begin(), into.end(), device) == into.end()) into.push_back(device);
        }
    }
};

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
    uint32_t sent_tick = 0;
};

enum class TcrPresence {
    kAbsent,    // never logged in, or logged out
    kLoggedIn,  // joining
    kSilent,    // not heard of for too long; back with its next heartbeat
};

constexpr int kTcrSlots = 16;  // routers of a subnet

// The protocol state of one edge; its router and devices stand in the model, in the same slot.
struct TcrSession {
    TcrPresence presence = TcrPresence::kAbsent;
    CTSockAddr addr;  // where it logged in from: the only source that is listened to
    uint32_t login_tick = 0;
    uint16_t login_seq = 0;
    uint32_t heard_tick = 0;
    uint32_t gone_tick = 0;
    uint32_t lease = 0;  // its address, kept for it while it is away; 0: none yet

    bool listed = false;      // it registered its router
    uint32_t version = 0;     // changes with each registration
    bool registered = false;  // it registered its devices too
    // Its join is over, at settle_tick or when it shows that by what it sends. Before, it may still
    // wait for a reply and takes anything else for a lost one. So nothing is announced to it, nor
    // it to the others: each would greet it with a heartbeat, and three of those end a join.
    bool settled = false;
    uint32_t settle_tick = 0;

    // The last request that was answered, and the answer: a repeated request gets it again.
    uint8_t answered_sub_type = 0;
    uint16_t answered_seq = 0;
    std::vector<uint8_t> answer;

    TcrTold told[kTcrSlots];
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
