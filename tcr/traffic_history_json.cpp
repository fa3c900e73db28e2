#include "tcr/traffic_history_json.h"

#include <cmath>
#include <cstdio>

#include "ops/json_reply.h"
#include "tcr/snapshot_json.h"

namespace {

using Sample = TcrTrafficHistory::Sample;

// A node for each number would be large: the list is written as text at once.
void AddSamples(cJSON* root, const char* key, const TcrTrafficHistory::Samples& samples,
                float Sample::*column, int digits) {
    std::string list = "[";
    for (const Sample& sample : samples) {
        if (list.size() > 1) list += ',';
        float value = sample.*column;
        char text[64];
        if (std::isfinite(value)) snprintf(text, sizeof text, "%.*f", digits, double{value});
        list += std::isfinite(value) ? text : "null";
    }
    list += ']';
    if (root) cJSON_AddRawToObject(root, key, list.c_str());
}

}  // namespace

std::string tcr_history_json(const TcrTrafficHistory::Samples& samples, int64_t unix_ms) {
    CTJsonTree root(cJSON_CreateObject());
    control_add_number(root.get(), "schema", kTcrSchema);
    control_add_text(root.get(), "program", kTcrProgram);
    control_add_seconds(root.get(), "time", unix_ms);
    control_add_seconds(root.get(), "step_seconds", TcrTrafficHistory::kStepMs);
    AddSamples(root.get(), "from_edges_bytes_per_second", samples, &Sample::from_edges, 1);
    AddSamples(root.get(), "to_edges_bytes_per_second", samples, &Sample::to_edges, 1);
    AddSamples(root.get(), "round_trip_ms", samples, &Sample::round_trip, 3);
    AddSamples(root.get(), "longest_round_trip_ms", samples, &Sample::longest_round_trip, 3);
    return control_print(root.get());
}
