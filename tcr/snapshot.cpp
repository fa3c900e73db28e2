#include "tcr/snapshot.h"

#include <cstring>

namespace {

TcrEdgeState StateOf(const TcrSession& session) {
    switch (session.presence) {
        case TcrPresence::kAbsent:
            return TcrEdgeState::kAway;
        case TcrPresence::kSilent:
            return TcrEdgeState::kSilent;
        case TcrPresence::kLoggedIn:
            break;
    }
    return session.settled ? TcrEdgeState::kJoined : TcrEdgeState::kJoining;
}

void CopyDevices(const CTSdwanRouter& router, TcrSnapshotEdge& copy) {
    const CTSdwanDeviceList& devices = router.GetDeviceList();
    for (int i = 0; i < devices.Count(); ++i) {
        const CTSdwanDevice* device = devices.At(i);
        if (!device) continue;
        copy.devices[copy.device_count++] = {
            device->GetIPv4Addr().GetIP(), *device->GetEtherAddr().GetAddr(), device->GetStatus()};
    }
}

void CopyEdge(const TcrLink& link, const TcrSubnet& subnet, int slot, TcrTime now,
              TcrSnapshotEdge& copy) {
    const CTSdwanRouter& router = *subnet.Router(slot);
    const TcrSession& session = subnet.sessions[slot];
    const TcrEdgeTraffic& traffic = subnet.traffic[slot];
    copy.identifier = subnet.Identifier(slot);
    copy.serial = router.GetSerialNumber();
    pvu_text_field_set(copy.label, router.GetLabel());
    copy.state = StateOf(session);
    copy.remote_ip = session.path.remote.GetIPv4();
    copy.remote_port = session.path.remote.GetPort();
    copy.lease = session.lease;
    copy.since_ms = now - session.since_tick;
    copy.heard_ms = now - session.heard_tick;
    copy.round_trip_us = session.round_trip_us;
    copy.from_edge = traffic.from_edge;
    copy.to_edge = traffic.to_edge;
    copy.from_rate = traffic.from_window.Rate(now, traffic.from_edge);
    copy.to_rate = traffic.to_window.Rate(now, traffic.to_edge);
    copy.is_sealed = session.path.IsSealed();
    const CTSealFingerprint* key = copy.is_sealed ? link.PeerOf(session.path) : nullptr;
    if (key) copy.key = *key;
    CopyDevices(router, copy);
}

}  // namespace

void tcr_take_snapshot(const TcrCore& core, TcrTime now, TcrSnapshot& snapshot) {
    snapshot.counters = core.counters;
    snapshot.state_kept = core.journal.HasSink();
    snapshot.state_failing = core.journal.IsFailing();
    snapshot.subnets.clear();
    snapshot.edges.clear();
    core.subnets.ForEach([&](const TcrSubnet& subnet) {
        TcrSnapshotSubnet& copy = snapshot.subnets.emplace_back();
        copy.index = subnet.model.GetIndex();
        copy.name = subnet.model.GetName();
        copy.gateway = subnet.model.GetGateway();
        copy.mask = subnet.model.GetNetMask();
        copy.is_limited = subnet.serials.has_value();
        copy.first_edge = snapshot.edges.size();
        for (int slot = 0; slot < kTcrSlots; ++slot) {
            if (!subnet.Router(slot)) continue;
            CopyEdge(core.link, subnet, slot, now, snapshot.edges.emplace_back());
        }
        copy.edge_count = snapshot.edges.size() - copy.first_edge;
    });
}

TcrSnapshotSeal tcr_snapshot_of(const TcrChannels& channels) {
    return {channels.GetKey(), channels.CountKept(), channels.CountStrangers(),
            channels.GetCounters()};
}

const char* tcr_state_name(TcrEdgeState state) {
    switch (state) {
        case TcrEdgeState::kJoining:
            return "joining";
        case TcrEdgeState::kJoined:
            return "joined";
        case TcrEdgeState::kSilent:
            return "silent";
        case TcrEdgeState::kAway:
            break;
    }
    return "away";
}
