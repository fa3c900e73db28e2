#include "sys/edge_snapshot_json.h"

#include "base/pvu_sockaddr.h"
#include "inet/tnet_ip.h"

namespace {

constexpr int kSchema = 1;
constexpr double kMicrosPerMilli = 1000;

std::string IpText(uint32_t ip) {
    CTString text;
    CIPv4Addr(ip).Print(text);
    return text.c_str();
}

std::string EndpointText(uint32_t ip, uint16_t port) {
    CTString text;
    CTSockAddr(ip, port).Print(text);
    return text.c_str();
}

// Null where it is negative.
void AddKnownSeconds(cJSON* object, const char* key, int64_t ms) {
    if (ms < 0) return control_add_null(object, key);
    control_add_seconds(object, key, ms);
}

void AddRoundTrip(cJSON* object, int64_t us) {
    if (us < 0) return control_add_null(object, "round_trip_ms");
    control_add_decimal(object, "round_trip_ms", static_cast<double>(us) / kMicrosPerMilli, 3);
}

void AddHead(cJSON* root, const CTEdgeSnapshot& snapshot) {
    control_add_number(root, "schema", kSchema);
    control_add_text(root, "program", "tamvo");
    control_add_text(root, "version", "0.1.5");
    control_add_seconds(root, "time", snapshot.unix_ms);
    control_add_seconds(root, "uptime_seconds", snapshot.uptime_ms);
}

void AddIdentity(cJSON* root, const CTEdgeSnapshot& snapshot) {
    const CTEdgeIdentity& identity = snapshot.identity;
    bool joined = edge_has_joined(snapshot);
    control_add_text(root, "state", joined ? "joined" : "joining");
    control_add_known_text(root, "join_fault", identity.join_fault);
    control_add_text(root, "subnet", identity.subnet);
    control_add_text(root, "label", identity.label);
    control_add_number(root, "serial", identity.serial);
    if (joined) {
        control_add_number(root, "identifier", identity.identifier);
    } else {
        control_add_null(root, "identifier");
    }
    control_add_known_text(root, "address", joined ? IpText(identity.ip) : "");
    control_add_known_text(root, "netmask", joined ? IpText(identity.mask) : "");
    control_add_known_text(root, "gateway", joined ? IpText(identity.gateway) : "");
    control_add_text(root, "interface", identity.interface);
    control_add_number(root, "mtu", identity.mtu);
    AddKnownSeconds(root, "joined_seconds", snapshot.joined_ms);
}

void AddCentralRouter(cJSON* root, const CTEdgeSnapshot& snapshot) {
    cJSON* central = control_add_object(root, "central_router");
    const CTEdgeIdentity& identity = snapshot.identity;
    control_add_text(central, "endpoint", EndpointText(identity.central_ip, identity.central_port));
    control_add_text(central, "state", edge_is_central_silent(snapshot) ? "silent" : "answers");
    control_add_number(central, "heartbeats_unanswered", snapshot.heartbeats_unanswered);
    AddKnownSeconds(central, "answered_seconds", snapshot.answered_ms);
    AddRoundTrip(central, snapshot.round_trip_us);
    control_add_traffic(central, "sent", snapshot.other.sent, snapshot.other_sent_rate);
    control_add_traffic(central, "received", snapshot.other.received, snapshot.other_received_rate);
}

void AddSealed(cJSON* root, const CTEdgeSnapshot& snapshot) {
    if (!snapshot.sealed) return control_add_null(root, "sealed");
    cJSON* sealed = control_add_object(root, "sealed");
    control_add_text(sealed, "key", snapshot.sealed->key);
    control_add_known_text(sealed, "central_router_key", snapshot.sealed->central_key);
    control_add_known_text(sealed, "cipher", snapshot.sealed->cipher);
}

void AddPeer(cJSON* peers, const CTEdgePeerSnapshot& peer) {
    cJSON* object = control_append_object(peers);
    control_add_number(object, "identifier", peer.identifier);
    control_add_number(object, "serial", peer.serial);
    control_add_known_text(object, "label", peer.label);
    cJSON* addresses = control_add_array(object, "addresses");
    for (int i = 0; i < peer.address_count; ++i)
        cJSON_AddItemToArray(addresses, cJSON_CreateString(IpText(peer.addresses[i]).c_str()));
    control_add_known_text(
        object, "endpoint",
        peer.remote_port == 0 ? "" : EndpointText(peer.remote_ip, peer.remote_port));
    control_add_text(object, "state", edge_peer_state_name(peer.state));
    AddRoundTrip(object, peer.round_trip_us);
    AddKnownSeconds(object, "answered_seconds", peer.answered_ms);
    control_add_traffic(object, "sent", peer.traffic.sent, peer.sent_rate);
    control_add_traffic(object, "received", peer.traffic.received, peer.received_rate);
}

void AddNamedCounts(cJSON* root, const char* key, const std::vector<CTNamedCount>& counts) {
    cJSON* object = control_add_object(root, key);
    for (const CTNamedCount& count : counts)
        control_add_count(object, count.name, count.count);
}

}  // namespace

std::string edge_snapshot_json(const CTEdgeSnapshot& snapshot) {
    CTJsonTree tree(cJSON_CreateObject());
    cJSON* root = tree.get();
    AddHead(root, snapshot);
    AddIdentity(root, snapshot);
    AddCentralRouter(root, snapshot);
    AddSealed(root, snapshot);
    cJSON* peers = control_add_array(root, "peers");
    for (const CTEdgePeerSnapshot& peer : snapshot.peers)
        AddPeer(peers, peer);
    AddNamedCounts(root, "counters", snapshot.counters);
    AddNamedCounts(root, "drops", snapshot.drops);
    cJSON* queues = control_add_object(root, "queues");
    for (const CTEdgeQueueSnapshot& queue : snapshot.queues) {
        cJSON* object = control_add_object(queues, queue.name);
        control_add_number(object, "length", queue.length);
        control_add_number(object, "most", queue.most);
    }
    return control_print(root);
}
