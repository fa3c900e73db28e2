#include "tcr/snapshot_json.h"

#include "base/pvu_sockaddr.h"
#include "tcr/tcr_text.h"

namespace {

constexpr double kMicrosPerMilli = 1000;

const char* DeviceState(uint16_t status) {
    switch (status) {
        case kDeviceStatusOn:
            return "on";
        case kDeviceStatusIdle:
            return "idle";
        default:
            return "off";
    }
}

std::string MacText(const tnet_ether_addr& mac) {
    char text[sizeof "00:00:00:00:00:00"];
    CEtherAddr::Format(&mac, text, sizeof text);
    return text;
}

void AddHead(cJSON* root, const TcrSnapshot& snapshot) {
    control_add_number(root, "schema", kTcrSchema);
    control_add_text(root, "program", kTcrProgram);
    control_add_text(root, "version", "0.1.5");
    control_add_seconds(root, "time", snapshot.unix_ms);
    control_add_seconds(root, "uptime_seconds", snapshot.uptime_ms);
}

void AddCounters(cJSON* root, const TcrCounters& counters) {
    cJSON* counts = control_add_object(root, "counters");
    control_add_count(counts, "received", counters.received);
    control_add_count(counts, "relayed", counters.relayed);
    control_add_count(counts, "answered", counters.answered);
    control_add_count(counts, "pings", counters.pings);
    cJSON* drops = control_add_object(root, "drops");
    for (const TcrNamedCount& drop : tcr_drops(counters))
        control_add_count(drops, drop.name, drop.count);
}

void AddDevices(cJSON* parent, const TcrSnapshotEdge& edge) {
    cJSON* devices = control_add_array(parent, "devices");
    for (int i = 0; i < edge.device_count; ++i) {
        cJSON* device = control_append_object(devices);
        control_add_text(device, "address", tcr_ip_text(edge.devices[i].ip));
        control_add_text(device, "mac", MacText(edge.devices[i].mac));
        control_add_text(device, "state", DeviceState(edge.devices[i].status));
    }
}

void AddEdge(cJSON* edges, const TcrSnapshotEdge& edge) {
    cJSON* object = control_append_object(edges);
    CTSockAddr remote(edge.remote_ip, edge.remote_port);
    control_add_number(object, "identifier", edge.identifier);
    control_add_number(object, "serial", edge.serial);
    control_add_known_text(object, "label", edge.label);
    control_add_text(object, "state", tcr_state_name(edge.state));
    control_add_seconds(object, "since_seconds", edge.since_ms);
    control_add_seconds(object, "heard_seconds", edge.heard_ms);
    control_add_known_text(object, "endpoint", edge.remote_port == 0 ? "" : tcr_addr_text(remote));
    control_add_known_text(object, "lease", edge.lease == 0 ? "" : tcr_ip_text(edge.lease));
    control_add_flag(object, "sealed", edge.is_sealed);
    control_add_known_text(object, "key", edge.key ? edge.key->Text() : "");
    AddDevices(object, edge);
    if (edge.round_trip_us < 0) {
        control_add_null(object, "round_trip_ms");
    } else {
        control_add_decimal(object, "round_trip_ms",
                            static_cast<double>(edge.round_trip_us) / kMicrosPerMilli, 3);
    }
    control_add_traffic(object, "from_edge", edge.from_edge, edge.from_rate);
    control_add_traffic(object, "to_edge", edge.to_edge, edge.to_rate);
}

void AddSealed(cJSON* root, const TcrSnapshot& snapshot) {
    if (!snapshot.sealed) return control_add_null(root, "sealed");
    cJSON* sealed = control_add_object(root, "sealed");
    control_add_text(sealed, "key", snapshot.sealed->key.Text());
    control_add_count(sealed, "channels", snapshot.sealed->channels);
    control_add_count(sealed, "strangers", snapshot.sealed->strangers);
    cJSON* counters = control_add_object(sealed, "counters");
    for (const TcrNamedCount& count : tcr_channel_counts(snapshot.sealed->counters))
        control_add_count(counters, count.name, count.count);
}

cJSON* AddSubnet(cJSON* subnets, const TcrSnapshotSubnet& subnet) {
    cJSON* object = control_append_object(subnets);
    control_add_number(object, "index", subnet.index);
    control_add_text(object, "name", subnet.name);
    control_add_text(object, "gateway", tcr_ip_text(subnet.gateway));
    control_add_text(object, "netmask", tcr_ip_text(subnet.mask));
    control_add_number(object, "slots", kTcrSlots);
    control_add_flag(object, "limited", subnet.is_limited);
    return object;
}

void AddEdgeCounts(cJSON* object, const TcrSnapshot& snapshot, const TcrSnapshotSubnet& subnet) {
    constexpr TcrEdgeState kStates[] = {TcrEdgeState::kJoined, TcrEdgeState::kJoining,
                                        TcrEdgeState::kSilent, TcrEdgeState::kAway};
    for (TcrEdgeState state : kStates) {
        int64_t count = 0;
        for (size_t i = 0; i < subnet.edge_count; ++i) {
            if (snapshot.edges[subnet.first_edge + i].state == state) ++count;
        }
        control_add_number(object, tcr_state_name(state), count);
    }
}

}  // namespace

std::vector<TcrNamedCount> tcr_drops(const TcrCounters& counters) {
    return {{"malformed", counters.malformed},
            {"foreign", counters.foreign},
            {"wrong", counters.wrong},
            {"unknown destination", counters.unknown_destination},
            {"logins refused", counters.refused_logins},
            {"logins not looked at", counters.ignored_logins},
            {"send refused", counters.send_refused},
            {"replies without state", counters.replies_dropped}};
}

std::vector<TcrNamedCount> tcr_channel_counts(const TcrChannels::Counters& counters) {
    return {{"handshakes", counters.handshakes},
            {"handshakes failed", counters.failed},
            {"handshakes refused", counters.refused},
            {"records not opened", counters.unopened}};
}

CTJsonTree tcr_snapshot_tree(const TcrSnapshot& snapshot) {
    CTJsonTree root(cJSON_CreateObject());
    AddHead(root.get(), snapshot);
    const char* state = snapshot.state_failing ? "failing" : "written";
    control_add_text(root.get(), "state_file", snapshot.state_kept ? state : "none");
    AddCounters(root.get(), snapshot.counters);
    AddSealed(root.get(), snapshot);
    cJSON* subnets = control_add_array(root.get(), "subnets");
    for (const TcrSnapshotSubnet& subnet : snapshot.subnets) {
        cJSON* edges = control_add_array(AddSubnet(subnets, subnet), "edges");
        for (size_t i = 0; i < subnet.edge_count; ++i)
            AddEdge(edges, snapshot.edges[subnet.first_edge + i]);
    }
    return root;
}

std::string tcr_snapshot_json(const TcrSnapshot& snapshot) {
    return control_print(tcr_snapshot_tree(snapshot).get());
}

CTJsonTree tcr_subnets_tree(const TcrSnapshot& snapshot) {
    CTJsonTree root(cJSON_CreateObject());
    AddHead(root.get(), snapshot);
    cJSON* subnets = control_add_array(root.get(), "subnets");
    for (const TcrSnapshotSubnet& subnet : snapshot.subnets)
        AddEdgeCounts(AddSubnet(subnets, subnet), snapshot, subnet);
    return root;
}
