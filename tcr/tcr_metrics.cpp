#include "tcr/tcr_metrics.h"

#include "ops/metrics_text.h"
#include "tcr/snapshot_json.h"
#include "tcr/tcr_text.h"

namespace {

constexpr double kMillisPerSecond = 1000;
constexpr double kMicrosPerSecond = 1e6;

constexpr TcrEdgeState kStates[] = {TcrEdgeState::kJoined, TcrEdgeState::kJoining,
                                    TcrEdgeState::kSilent, TcrEdgeState::kAway};

double Seconds(int64_t ms) {
    return static_cast<double>(ms) / kMillisPerSecond;
}

void AddProgram(CTMetricsText& text, const TcrSnapshot& snapshot) {
    text.Family("tamvo_tcr_info", "gauge", "What runs here; always 1.");
    text.Count(1, {{"version", "0.1.5"}});
    text.Family("tamvo_tcr_uptime_seconds", "gauge", "Since the central router was started.");
    text.Value(Seconds(snapshot.uptime_ms));
    text.Family("tamvo_tcr_state_file_up", "gauge",
                "1 while changes can be written to the state file, 0 while they cannot; absent "
                "where no state is kept.");
    if (snapshot.state_kept) text.Count(snapshot.state_failing ? 0 : 1);
    const TcrCounters& counters = snapshot.counters;
    text.Family("tamvo_tcr_events_total", "counter", "What the central router counts, by name.");
    text.Count(counters.received, {{"name", "received"}});
    text.Count(counters.relayed, {{"name", "relayed"}});
    text.Count(counters.answered, {{"name", "answered"}});
    text.Count(counters.pings, {{"name", "pings"}});
    text.Family("tamvo_tcr_dropped_total", "counter", "Datagrams dropped, by reason.");
    for (const TcrNamedCount& drop : tcr_drops(counters))
        text.Count(drop.count, {{"reason", drop.name}});
}

void AddSealed(CTMetricsText& text, const TcrSnapshot& snapshot) {
    if (!snapshot.sealed) return;
    text.Family("tamvo_tcr_sealed_info", "gauge",
                "The key of sealed channels; absent where there are none. Always 1.");
    text.Count(1, {{"key", snapshot.sealed->key.Text()}});
    text.Family("tamvo_tcr_sealed_channels", "gauge",
                "Sealed channels: those that edges have, and those of strangers.");
    text.Count(snapshot.sealed->channels, {{"of", "edges"}});
    text.Count(snapshot.sealed->strangers, {{"of", "strangers"}});
    text.Family("tamvo_tcr_sealed_events_total", "counter", "What sealed channels count, by name.");
    for (const TcrNamedCount& count : tcr_channel_counts(snapshot.sealed->counters))
        text.Count(count.count, {{"name", count.name}});
}

uint64_t CountIn(const TcrSnapshot& snapshot, const TcrSnapshotSubnet& subnet, TcrEdgeState state) {
    uint64_t count = 0;
    for (size_t i = 0; i < subnet.edge_count; ++i)
        count += snapshot.edges[subnet.first_edge + i].state == state;
    return count;
}

// Two names that differ only in bytes that are not UTF-8 look the same here: the index keeps their
// samples apart, and an edge's identifier those of edges.
void AddSubnets(CTMetricsText& text, const TcrSnapshot& snapshot) {
    text.Family("tamvo_tcr_subnet_edges", "gauge", "Edges that have a slot, by state.");
    for (const TcrSnapshotSubnet& subnet : snapshot.subnets) {
        std::string index = std::to_string(subnet.index);
        for (TcrEdgeState state : kStates)
            text.Count(
                CountIn(snapshot, subnet, state),
                {{"index", index}, {"subnet", subnet.name}, {"state", tcr_state_name(state)}});
    }
    text.Family("tamvo_tcr_subnet_slots", "gauge", "Edges that the subnet takes.");
    for (const TcrSnapshotSubnet& subnet : snapshot.subnets)
        text.Count(kTcrSlots, {{"index", std::to_string(subnet.index)}, {"subnet", subnet.name}});
}

// One family after the other, each with a sample for every edge: the format wants it so.
template <typename Add>
void ForEachEdge(CTMetricsText& text, const TcrSnapshot& snapshot, const char* name,
                 const char* type, const char* help, Add add) {
    text.Family(name, type, help);
    for (const TcrSnapshotSubnet& subnet : snapshot.subnets) {
        for (size_t i = 0; i < subnet.edge_count; ++i) {
            const TcrSnapshotEdge& edge = snapshot.edges[subnet.first_edge + i];
            std::string identifier = std::to_string(edge.identifier);
            std::string serial = std::to_string(edge.serial);
            add(edge, {{"subnet", subnet.name},
                       {"identifier", identifier},
                       {"serial", serial},
                       {"label", edge.label}});
        }
    }
}

using Labels = std::initializer_list<CTMetricsText::Label>;

void AddEdgeStates(CTMetricsText& text, const TcrSnapshot& snapshot) {
    ForEachEdge(text, snapshot, "tamvo_tcr_edge_up", "gauge",
                "1 while the edge is joined, 0 while it is joining, silent or away.",
                [&](const TcrSnapshotEdge& edge, Labels labels) {
                    text.Count(edge.state == TcrEdgeState::kJoined ? 1 : 0, labels);
                });
    ForEachEdge(text, snapshot, "tamvo_tcr_edge_sealed", "gauge",
                "1 for an edge that speaks through a sealed channel, 0 for one in the open.",
                [&](const TcrSnapshotEdge& edge, Labels labels) {
                    text.Count(edge.is_sealed ? 1 : 0, labels);
                });
    ForEachEdge(text, snapshot, "tamvo_tcr_edge_silent", "gauge",
                "1 while the edge is not heard of and did not log out.",
                [&](const TcrSnapshotEdge& edge, Labels labels) {
                    text.Count(edge.state == TcrEdgeState::kSilent ? 1 : 0, labels);
                });
    ForEachEdge(text, snapshot, "tamvo_tcr_edge_state_seconds", "gauge",
                "For how long the edge has been in its state.",
                [&](const TcrSnapshotEdge& edge, Labels labels) {
                    text.Value(Seconds(edge.since_ms), labels);
                });
    ForEachEdge(text, snapshot, "tamvo_tcr_edge_heard_seconds", "gauge",
                "Since anything came from the edge.",
                [&](const TcrSnapshotEdge& edge, Labels labels) {
                    text.Value(Seconds(edge.heard_ms), labels);
                });
    ForEachEdge(text, snapshot, "tamvo_tcr_edge_round_trip_seconds", "gauge",
                "Of the last announcement that the edge acknowledged at the first attempt.",
                [&](const TcrSnapshotEdge& edge, Labels labels) {
                    if (edge.round_trip_us < 0) return;
                    text.Value(static_cast<double>(edge.round_trip_us) / kMicrosPerSecond, labels);
                });
}

void AddEdgeTraffic(CTMetricsText& text, const TcrSnapshot& snapshot) {
    struct Column {
        const char* name;
        const char* help;
        uint64_t (*value)(const TcrSnapshotEdge&);
    };
    constexpr Column kColumns[] = {
        {"tamvo_tcr_edge_from_packets_total", "Network packets that the edge sent.",
         [](const TcrSnapshotEdge& edge) { return edge.from_edge.packets; }},
        {"tamvo_tcr_edge_from_bytes_total", "Their bytes.",
         [](const TcrSnapshotEdge& edge) { return edge.from_edge.bytes; }},
        {"tamvo_tcr_edge_to_packets_total", "Network packets that were passed on to the edge.",
         [](const TcrSnapshotEdge& edge) { return edge.to_edge.packets; }},
        {"tamvo_tcr_edge_to_bytes_total", "Their bytes.",
         [](const TcrSnapshotEdge& edge) { return edge.to_edge.bytes; }}};
    for (const Column& column : kColumns) {
        ForEachEdge(text, snapshot, column.name, "counter", column.help,
                    [&](const TcrSnapshotEdge& edge, Labels labels) {
                        text.Count(column.value(edge), labels);
                    });
    }
}

}  // namespace

std::string tcr_metrics(const TcrSnapshot& snapshot) {
    CTMetricsText text;
    AddProgram(text, snapshot);
    AddSealed(text, snapshot);
    AddSubnets(text, snapshot);
    AddEdgeStates(text, snapshot);
    AddEdgeTraffic(text, snapshot);
    return text.Text();
}
