#include "sys/edge_metrics.h"

#include "inet/tnet_ip.h"
#include "ops/metrics_text.h"
#include "sstp/p2p_connect.h"

namespace {

constexpr double kMillisPerSecond = 1000;
constexpr double kMicrosPerSecond = 1e6;

double Seconds(int64_t ms) {
    return static_cast<double>(ms) / kMillisPerSecond;
}

std::string IpText(uint32_t ip) {
    CTString text;
    CIPv4Addr(ip).Print(text);
    return text.c_str();
}

void AddEdge(CTMetricsText& text, const CTEdgeSnapshot& snapshot) {
    const CTEdgeIdentity& identity = snapshot.identity;
    text.Family("tamvo_edge_info", "gauge", "What the edge is; always 1.");
    text.Count(1, {{"version", "0.1.5"},
                   {"subnet", identity.subnet},
                   {"label", identity.label},
                   {"serial", std::to_string(identity.serial)},
                   {"identifier", std::to_string(identity.identifier)},
                   {"address", IpText(identity.ip)}});
    text.Family("tamvo_edge_uptime_seconds", "gauge", "Since the edge joined first.");
    text.Value(Seconds(snapshot.uptime_ms));
    text.Family("tamvo_edge_session_seconds", "gauge", "Since the edge joined last.");
    text.Value(Seconds(snapshot.joined_ms));
}

void AddCentralRouter(CTMetricsText& text, const CTEdgeSnapshot& snapshot) {
    text.Family("tamvo_edge_central_router_up", "gauge",
                "1 while the central router answers heartbeats.");
    text.Count(edge_is_central_silent(snapshot) ? 0 : 1);
    text.Family("tamvo_edge_central_router_heartbeats_unanswered", "gauge",
                "Heartbeats since the last answer, the one under way included.");
    text.Count(snapshot.heartbeats_unanswered);
    text.Family("tamvo_edge_central_router_answered_seconds", "gauge",
                "Since the central router last answered.");
    text.Value(Seconds(snapshot.answered_ms));
    text.Family("tamvo_edge_central_router_round_trip_seconds", "gauge",
                "Of the last heartbeat that was answered.");
    if (snapshot.round_trip_us >= 0) {
        text.Value(static_cast<double>(snapshot.round_trip_us) / kMicrosPerSecond);
    }
}

// One family after the other, each with a sample for every peer: the format wants it so.
template <typename Add>
void ForEachPeer(CTMetricsText& text, const CTEdgeSnapshot& snapshot, const char* name,
                 const char* type, const char* help, Add add) {
    text.Family(name, type, help);
    for (const CTEdgePeerSnapshot& peer : snapshot.peers)
        add(peer, std::to_string(peer.serial), peer.label);
}

void AddPeers(CTMetricsText& text, const CTEdgeSnapshot& snapshot) {
    ForEachPeer(text, snapshot, "tamvo_edge_peer_up", "gauge",
                "1 while the direct road to the peer works.",
                [&](const auto& peer, const std::string& serial, const char* label) {
                    text.Count(peer.state == CTP2PConnect::kOn ? 1 : 0,
                               {{"serial", serial}, {"label", label}});
                });
    ForEachPeer(text, snapshot, "tamvo_edge_peer_round_trip_seconds", "gauge",
                "Of the last heartbeat that the peer answered.",
                [&](const auto& peer, const std::string& serial, const char* label) {
                    if (peer.round_trip_us < 0) return;
                    text.Value(static_cast<double>(peer.round_trip_us) / kMicrosPerSecond,
                               {{"serial", serial}, {"label", label}});
                });
    struct Column {
        const char* name;
        const char* help;
        uint64_t (*value)(const CTPeerTraffic::Counts&);
    };
    constexpr Column kColumns[] = {
        {"tamvo_edge_peer_sent_packets_total", "Packets of this host to the peer's.",
         [](const CTPeerTraffic::Counts& counts) { return counts.sent.packets; }},
        {"tamvo_edge_peer_sent_bytes_total", "Their bytes.",
         [](const CTPeerTraffic::Counts& counts) { return counts.sent.bytes; }},
        {"tamvo_edge_peer_received_packets_total", "Packets of the peer's host to this one.",
         [](const CTPeerTraffic::Counts& counts) { return counts.received.packets; }},
        {"tamvo_edge_peer_received_bytes_total", "Their bytes.",
         [](const CTPeerTraffic::Counts& counts) { return counts.received.bytes; }}};
    for (const Column& column : kColumns) {
        ForEachPeer(
            text, snapshot, column.name, "counter", column.help,
            [&](const auto& peer, const std::string& serial, const char* label) {
                text.Count(column.value(peer.traffic), {{"serial", serial}, {"label", label}});
            });
    }
}

void AddCounts(CTMetricsText& text, const CTEdgeSnapshot& snapshot) {
    text.Family("tamvo_edge_events_total", "counter", "What the edge counts, by name.");
    for (const CTNamedCount& count : snapshot.counters)
        text.Count(count.count, {{"name", count.name}});
    text.Family("tamvo_edge_dropped_total", "counter", "Packets and datagrams dropped, by reason.");
    for (const CTNamedCount& count : snapshot.drops)
        text.Count(count.count, {{"reason", count.name}});
    text.Family("tamvo_edge_queue_length", "gauge", "What waits in each queue.");
    for (const CTEdgeQueueSnapshot& queue : snapshot.queues)
        text.Value(queue.length, {{"queue", queue.name}});
}

}  // namespace

std::string edge_metrics(const CTEdgeSnapshot& snapshot) {
    CTMetricsText text({{"interface", snapshot.identity.interface}});
    AddEdge(text, snapshot);
    AddCentralRouter(text, snapshot);
    AddPeers(text, snapshot);
    AddCounts(text, snapshot);
    return text.Text();
}
