#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/pvu_text_field.h"
#include "inet/tnet_ether.h"
#include "ops/traffic.h"
#include "sdwan/sdwan_device_list.h"
#include "seal/seal_fingerprint.h"
#include "tcr/channels.h"
#include "tcr/tcr_core.h"

// The state of the central router at one moment, for operators: plain values that any thread may
// keep, read and turn into text, while the central router goes on. Taken on the central router's
// thread; see TcrDesk for the others. Addresses are in host byte order.

struct TcrSnapshotDevice {
    uint32_t ip = 0;
    tnet_ether_addr mac = {};
    uint16_t status = 0;  // kDeviceStatusOff, kDeviceStatusOn or kDeviceStatusIdle
};

enum class TcrEdgeState { kJoining, kJoined, kSilent, kAway };

// An edge that has a slot: it is there, or was and has its address still.
struct TcrSnapshotEdge {
    uint32_t identifier = 0;
    uint32_t serial = 0;
    CTTextField label = {};  // any bytes; empty until it registered its router
    TcrEdgeState state = TcrEdgeState::kAway;
    uint32_t remote_ip = 0;  // where it logged in from; 0: not known
    uint16_t remote_port = 0;
    uint32_t lease = 0;            // its address; 0: none yet
    int64_t since_ms = 0;          // that it has been in this state
    int64_t heard_ms = 0;          // since anything came from it
    int64_t round_trip_us = 0;     // of the last announcement that it acknowledged; -1: none
    CTTraffic from_edge, to_edge;  // network packets
    CTTrafficRate from_rate, to_rate;
    bool is_sealed = false;  // it speaks through a sealed channel
    // The key that it showed there; nothing: none, or its channel went with an earlier run.
    std::optional<CTSealFingerprint> key;
    int device_count = 0;
    TcrSnapshotDevice devices[CTSdwanDeviceList::kMaxDevices];
};

struct TcrSnapshotSubnet {
    int index = 0;
    std::string name;  // any bytes but zero
    uint32_t gateway = 0;
    uint32_t mask = 0;
    bool is_limited = false;  // to the edges that its configuration names
    // Its edges, by slot: edges[first_edge] and those that follow it in the snapshot.
    size_t first_edge = 0;
    size_t edge_count = 0;
};

// Of a central router that has sealed channels.
struct TcrSnapshotSeal {
    CTSealFingerprint key;  // its own
    size_t channels = 0;    // that edges have
    size_t strangers = 0;   // handshakes, and channels in which nobody has logged in yet
    TcrChannels::Counters counters;
};

struct TcrSnapshot {
    // Set by whoever has a clock.
    int64_t unix_ms = 0;    // the wall clock
    int64_t uptime_ms = 0;  // since the program started to serve
    // Set by who has the channels; nothing: there are none.
    std::optional<TcrSnapshotSeal> sealed;

    TcrCounters counters;
    bool state_kept = false;     // in a file
    bool state_failing = false;  // which cannot be written at present
    std::vector<TcrSnapshotSubnet> subnets;
    std::vector<TcrSnapshotEdge> edges;  // of all subnets
};

// Copies the state; what the snapshot held is replaced, and its memory used again.
void tcr_take_snapshot(const TcrCore& core, TcrTime now, TcrSnapshot& snapshot);

// What is told of them.
TcrSnapshotSeal tcr_snapshot_of(const TcrChannels& channels);

// "joined" and so on, as the printed table has it.
const char* tcr_state_name(TcrEdgeState state);
