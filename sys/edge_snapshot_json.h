#pragma once

#include <string>

#include "ops/json_reply.h"
#include "sys/edge_snapshot.h"

// The snapshot as docs/control.md describes it: what `tamvoctl status --json` shows of an edge.
// Empty without memory. Any thread.
std::string edge_snapshot_json(const CTEdgeSnapshot& snapshot);
