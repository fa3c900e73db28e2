#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "base/pvu_sockaddr.h"
#include "inet/tnet_ether.h"
#include "tcr/tcr_presence.h"

// What the central router keeps beyond its end, as plain values: of each subnet its index, of each
// router slot that was ever taken the edge that has it. Addresses are in host byte order.
//
// Not kept: passwords and limits, which the JSON file gives, and what an edge knows of the others,
// which counts as unknown after a start.

// A subnet's index is the upper part of its edges' identifiers and stays the subnet's own for as
// long as its name is served.
struct TcrSubnetRecord {
    int index = 0;  // from 0, below kTcrMaxSubnets
    std::string name;
    uint32_t gateway = 0;
    uint32_t mask = 0;
};

constexpr int kTcrMaxSubnets = 1024;

// A device behind an edge, one that is not on included: its address stays the edge's.
struct TcrDeviceRecord {
    uint32_t ip = 0;
    tnet_ether_addr mac = {};
    uint16_t status = 0;  // kDeviceStatusOff, kDeviceStatusOn or kDeviceStatusIdle
};

// The edge in one router slot of one subnet; its identifier is subnet index << 8 | slot.
struct TcrEdgeRecord {
    int subnet = 0;  // the subnet's index
    int slot = 0;
    uint32_t serial = 0;
    std::string label;  // any bytes but zero, at most 32
    uint16_t type = 0;
    uint8_t layer = 0;
    CTSockAddr remote;    // where it logged in from; address and port 0: unknown
    uint32_t local = 0;   // the address of ours that it sends to; 0: unknown
    bool sealed = false;  // it logged in through a sealed channel
    uint32_t lease = 0;   // its own address, 0: none yet
    TcrPresence presence = TcrPresence::kAbsent;
    bool listed = false;      // it registered its router
    bool registered = false;  // it registered its devices too
    bool settled = false;     // its join is over
    std::vector<TcrDeviceRecord> devices;
    int64_t heard = 0;  // last heard of, seconds of the wall clock since 1970
};

// Everything, as read at the start. Each edge's subnet is among the subnets.
struct TcrStateImage {
    std::vector<TcrSubnetRecord> subnets;
    std::vector<TcrEdgeRecord> edges;
};

// What changed, to be applied as a whole: the removals first, then what is put in the place of
// what is there under the same index or slot. With a subnet its edges are removed.
struct TcrStateBatch {
    std::vector<int> removed_subnets = {};                // indexes
    std::vector<std::pair<int, int>> removed_edges = {};  // subnet index, slot
    std::vector<TcrSubnetRecord> subnets = {};
    std::vector<TcrEdgeRecord> edges = {};

    bool IsEmpty() const {
        return removed_subnets.empty() && removed_edges.empty() && subnets.empty() && edges.empty();
    }
};
