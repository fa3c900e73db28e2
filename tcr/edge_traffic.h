#pragma once

#include "ops/traffic.h"

// The network packets of one edge, as they pass the central router: what it sent, whomever it was
// for, and what was passed on to it. One thread.
struct TcrEdgeTraffic {
    CTTraffic from_edge;
    CTTraffic to_edge;
    CTTrafficWindow from_window;
    CTTrafficWindow to_window;
};
