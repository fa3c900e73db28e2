#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/pvu_text_field.h"
#include "forward/peer_traffic.h"
#include "ops/traffic.h"
#include "sdwan/sdwan_device_list.h"

// The state of an edge at one moment, for operators: plain values, which the thread that asked
// turns into text. Addresses are in host byte order.

// What an edge is in its overlay. The main thread alone changes it, with each attempt to join; a
// copy of it is kept for the others.
struct CTEdgeIdentity {
    std::string subnet;  // texts: any bytes but zero
    std::string label;
    std::string interface;
    int mtu = 0;
    uint32_t serial = 0;
    uint32_t identifier = 0;
    uint32_t ip = 0;
    uint32_t mask = 0;
    uint32_t gateway = 0;
    uint32_t central_ip = 0;
    uint16_t central_port = 0;
    int64_t started = 0;     // ticks: the program
    int64_t joined = 0;      // and the session; 0: none yet, so that addresses mean nothing
    std::string join_fault;  // why the last attempt to join failed; empty: it did not
};

struct CTEdgePeerSnapshot {
    int slot = 0;
    uint32_t identifier = 0;
    uint32_t serial = 0;
    CTTextField label = {};  // empty until the central router announced it
    uint32_t remote_ip = 0;
    uint16_t remote_port = 0;
    int state = 0;               // CTP2PConnect::Stat
    int64_t round_trip_us = -1;  // -1: not known
    int64_t answered_ms = -1;    // since its last answer; -1: none yet
    int address_count = 0;
    uint32_t addresses[CTSdwanDeviceList::kMaxDevices] = {};
    CTPeerTraffic::Counts traffic;
    CTTrafficRate sent_rate, received_rate;
};

struct CTNamedCount {
    const char* name;
    uint64_t count;
};

struct CTEdgeQueueSnapshot {
    const char* name;
    int length;
    int most;
};

// Of an edge that speaks through sealed channels.
struct CTEdgeSealSnapshot {
    std::string key;          // its own, as its fingerprint
    std::string central_key;  // the other end's; empty: there is no channel
    std::string cipher;       // likewise
};

struct CTEdgeSnapshot {
    int64_t unix_ms = 0;
    CTEdgeIdentity identity;
    int64_t uptime_ms = 0;
    int64_t joined_ms = -1;  // that the session lasts; -1: it never joined

    unsigned heartbeats_unanswered = 0;  // the one under way included
    int64_t answered_ms = -1;            // since the central router last answered; -1: likewise
    int64_t round_trip_us = -1;
    CTPeerTraffic::Counts other;  // the central router's own, and what names no peer
    CTTrafficRate other_sent_rate, other_received_rate;

    std::vector<CTEdgePeerSnapshot> peers;
    std::vector<CTNamedCount> counters;
    std::vector<CTNamedCount> drops;  // under the names of the printed status
    std::vector<CTEdgeQueueSnapshot> queues;
    std::optional<CTEdgeSealSnapshot> sealed;  // nothing: it speaks in the open
};

// "on", "pending" or "off": whether the direct road to the peer works.
const char* edge_peer_state_name(int state);
// Whether it has joined, since it was started.
bool edge_has_joined(const CTEdgeSnapshot& snapshot);
// Whether more than the heartbeat under way is unanswered, or nothing ever was answered.
bool edge_is_central_silent(const CTEdgeSnapshot& snapshot);
