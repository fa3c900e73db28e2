#include "sys/edge_control.h"

#include "base/pvu_tick.h"
#include "sys/edge_metrics.h"
#include "sys/edge_snapshot_json.h"
#include "sys/tsdw_sys.h"

namespace {

int64_t Now() {
    return static_cast<int64_t>(pvu_get_current_tick());
}

std::string MetricsReply(const CTEdgeSnapshot& snapshot) {
    CTJsonTree root(cJSON_CreateObject());
    control_add_number(root.get(), "schema", 1);
    control_add_text(root.get(), "program", "tamvo");
    control_add_text(root.get(), "metrics", edge_metrics(snapshot));
    return control_print(root.get());
}

std::string FingerprintReply(const CTSealKey& key) {
    if (!key.IsOpen()) {
        return control_error(
            "this edge speaks in the open and has no key: \"key\" in section \"central router\" of "
            "its configuration turns sealed channels on");
    }
    CTJsonTree root(cJSON_CreateObject());
    control_add_number(root.get(), "schema", 1);
    control_add_text(root.get(), "program", "tamvo");
    control_add_text(root.get(), "key", key.GetFingerprint().Text());
    return control_print(root.get());
}

}  // namespace

std::string CTEdgeControl::Reply(const CTControlRequest& request) {
    const std::string& command = request.GetCommand();
    if (command == "fingerprint") return FingerprintReply(m_sys.GetSealKey());
    if (command != "status" && command != "metrics") {
        return control_error("an edge has no such command");
    }
    CTEdgeSnapshot snapshot;
    m_sys.TakeSnapshot(snapshot);
    AddRates(snapshot);
    return command == "status" ? edge_snapshot_json(snapshot) : MetricsReply(snapshot);
}

void CTEdgeControl::EverySecond() {
    for (int slot = 0; slot <= CTPeerTraffic::kOther; ++slot) {
        CTPeerTraffic::Counts counts = m_sys.GetPeerTraffic().Get(slot);
        Windows& windows = m_windows[static_cast<size_t>(slot)];
        windows.sent.Sample(Now(), counts.sent);
        windows.received.Sample(Now(), counts.received);
    }
}

void CTEdgeControl::AddRates(CTEdgeSnapshot& snapshot) const {
    int64_t now = Now();
    for (CTEdgePeerSnapshot& peer : snapshot.peers) {
        const Windows& windows = m_windows[static_cast<size_t>(peer.slot)];
        peer.sent_rate = windows.sent.Rate(now, peer.traffic.sent);
        peer.received_rate = windows.received.Rate(now, peer.traffic.received);
    }
    const Windows& other = m_windows[CTPeerTraffic::kOther];
    snapshot.other_sent_rate = other.sent.Rate(now, snapshot.other.sent);
    snapshot.other_received_rate = other.received.Rate(now, snapshot.other.received);
}
