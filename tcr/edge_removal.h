#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tcr/tcr_core.h"

// An edge that an operator had removed.
struct TcrRemovedEdge {
    uint32_t identifier = 0;
    std::string subnet;  // any bytes but zero, as the label
    std::string label;
};

// Ends what the edge with that serial number has, in every subnet: session, address and slot. The
// others are told as after a logout, at once. Nothing is sent to the edge itself: its heartbeats go
// unanswered, so that it may log in again where the configuration lets it. Empty when there is no
// such edge.
std::vector<TcrRemovedEdge> tcr_remove_edge(TcrCore& core, uint32_t serial, TcrTime now);
