#pragma once

#include <string>

#include "ops/json_reply.h"
#include "tcr/snapshot.h"

// The first members of every reply.
constexpr int kTcrSchema = 1;
constexpr char kTcrProgram[] = "tamvo-tcr";

// The snapshot as docs/control.md describes it: what `tamvoctl status --json` shows of a central
// router. Null, or empty, without memory. Any thread.
CTJsonTree tcr_snapshot_tree(const TcrSnapshot& snapshot);
std::string tcr_snapshot_json(const TcrSnapshot& snapshot);

// The subnets alone, with how many edges each has in which state.
CTJsonTree tcr_subnets_tree(const TcrSnapshot& snapshot);

// What was dropped, by name, in the order in which it is shown.
struct TcrNamedCount {
    const char* name;
    uint64_t count;
};
std::vector<TcrNamedCount> tcr_drops(const TcrCounters& counters);
// What sealed channels count, likewise.
std::vector<TcrNamedCount> tcr_channel_counts(const TcrChannels::Counters& counters);
