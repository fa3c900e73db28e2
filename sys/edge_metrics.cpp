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
    bool joined = edge_has_joined(snapshot);
    text.Family("tamvo_edge_info", "gauge", "What the edge is; always 1.");
    text.Count(1, {{"version", "0.1.5"},
                   {"subnet", identity.subnet},
                   {"label", identity.label},
                   {"serial", std::to_string(identity.serial)},
                   {"identifier", joined ? std::to_string(identity.identifier) : ""},
                   {"address", joined ? IpText(identity.ip) : ""}});
    text.Family("tamvo_edge_joined", "gauge", "0 until the edge has joined.");
    text.Count(joined ? 1 : 0);
    text.Family("tamvo_edge_uptime_seconds", "gauge", "Since the edge was started.");
    text.Value(Seconds(snapshot.uptime_ms));
    text.Family("tamvo_edge_session_seconds", "gauge", "Since the edge joined last.");
    if (joined) text.Value(Seconds(snapshot.joined_ms));
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
    if (snapshot.answered_ms >= 0) text.Value(Seconds(snapshot.answered_ms));
    text.Family("tamvo_edge_central_router_round_trip_seconds", "gauge",
                "Of the last heartbeat that was answered.");
    if (snapshot.round_trip_us >= 0) {
        text.Value(static_cast<double>(snapshot.round_trip_us) / kMicrosPerSecond);
    }
}

void AddSealed(CTMetricsText& text, const CTEdgeSnapshot& snapshot) {
    text.Family("tamvo_edge_sealed", "gauge",
                "1 while there is a sealed channel, 0 while there is none; absent where the edge "
                "speaks in the open.");
    if (!snapshot.sealed) return;
    text.Count(snapshot.sealed->cipher.empty() ? 0 : 1,
               {{"key", snapshot.sealed->key},
                {"central_router_key", snapshot.sealed->central_key},
                {"cipher", snapshot.sealed->cipher}});
}

// One family after the other, each with a sample for every peer: the format wants it so.
// Identifiers keep samples apart, whatever else the central router says of the peers.
template <typename Add>
void ForEachPeer(CTMetricsText& text, const CTEdgeSnapshot& snapshot, const char* name,
                 const char* type, const char* help, Add add) {
    text.Family(name, type, help);
    for (const CTEdgePeerSnapshot& peer : snapshot.peers) {
        std::string identifier = std::to_string(peer.identifier);
        std::string serial = std::to_string(peer.serial);
        add(peer, {{"identifier", identifier}, {"serial", serial}, {"label", peer.label}});
    }
}

using Labels = std::initializer_list<CTMetricsText::Label>;

void AddPeers(CTMetricsText& text, const CTEdgeSnapshot& snapshot) {
    using Peer = CTEdgePeerSnapshot;
    ForEachPeer(text, snapshot, "tamvo_edge_peer_up", "gauge",
                "1 while the direct road to the peer works.", [&](const Peer& peer, Labels labels) {
                    text.Count(peer.state == CTP2PConnect::kOn ? 1 : 0, labels);
                });
    ForEachPeer(text, snapshot, "tamvo_edge_peer_round_trip_seconds", "gauge",
                "Of the last heartbeat that the peer answered.",
                [&](const Peer& peer, Labels labels) {
                    if (peer.round_trip_us < 0) return;
                    text.Value(static_cast<double>(peer.round_trip_us) / kMicrosPerSecond, labels);
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
        ForEachPeer(text, snapshot, column.name, "counter", column.help,
                    [&](const Peer& peer, Labels labels) {
                        text.Count(column.value(peer.traffic), labels);
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
    AddSealed(text, snapshot);
    AddPeers(text, snapshot);
    AddCounts(text, snapshot);
    return text.Text();
}
