// CTsdwSys: what operators are told on the control socket. The main thread keeps a copy of what it
// alone may read; everything else is atomic or read under the model's lock, for as short as copying
// takes.

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "base/pvu_event.h"
#include "base/pvu_log.h"
#include "base/pvu_stdout.h"
#include "base/pvu_tick.h"
#include "sys/tsdw_sys.h"

namespace {

int64_t Now() {
    return static_cast<int64_t>(pvu_get_current_tick());
}

int64_t UnixMillis() {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

CTEdgePeerSnapshot CopyPeer(const CTSdwanRouter& router, const CTP2pConnectList& peers,
                            int64_t now) {
    CTEdgePeerSnapshot copy;
    copy.slot = CTPeerTraffic::SlotOf(router.GetIdentifier());
    copy.identifier = router.GetIdentifier();
    copy.serial = router.GetSerialNumber();
    pvu_text_field_set(copy.label, router.GetLabel());
    copy.remote_ip = router.GetSstpAddr().GetIPv4();
    copy.remote_port = router.GetSstpAddr().GetPort();
    const CTSdwanDeviceList& devices = router.GetDeviceList();
    for (int i = 0; i < devices.Count(); ++i) {
        const CTSdwanDevice* device = devices.At(i);
        if (device) copy.addresses[copy.address_count++] = device->GetIPv4Addr().GetIP();
    }
    const CTP2PConnect* peer = peers.GetConnect(router.GetIdentifier());
    if (!peer) return copy;
    copy.state = peer->GetStat();
    copy.round_trip_us = peer->GetRoundTrip();
    if (peer->GetAnswered() >= 0) copy.answered_ms = now - peer->GetAnswered();
    return copy;
}

CTEdgeSealSnapshot CopySealed(const CTSealKey& key, const CTSealedLink& link) {
    CTEdgeSealSnapshot copy;
    copy.key = key.GetFingerprint().Text();
    copy.cipher = link.GetCipher();
    if (!copy.cipher.empty()) copy.central_key = link.GetCentralKey().Text();
    return copy;
}

}  // namespace

void CTsdwSys::StartControl() {
    std::string path = control_socket_path(m_config.GetControl());
    std::string fault;
    if (path.empty() || m_control_server.Start(path, m_control, fault)) return;
    // The edge goes on without.
    fprintf(stderr, "control socket not opened: %s\n", fault.c_str());
    flog_printf("control socket not opened: %s\n", fault.c_str());
    CTEvent(CTEventLevel::kWarning, "control socket not opened").Add("reason", fault).Log();
}

void CTsdwSys::NoteIdentity(bool joined) {
    int64_t now = Now();
    CTMutexGuard guard(m_identity_mutex);
    m_identity.subnet = m_config.GetSubnetName();
    m_identity.label = m_config.GetLocalRouterLabel();
    m_identity.interface = m_adapter.GetName();
    m_identity.mtu = m_adapter.GetMtu();
    m_identity.serial = m_config.GetSerialNumber();
    m_identity.identifier = m_client.GetIdentifier();
    m_identity.ip = m_config.GetLocalIPAddr();
    m_identity.mask = m_config.GetLocalNetMask();
    m_identity.gateway = m_config.GetSubnetGateway();
    m_identity.central_ip = m_config.GetCentralRouterIPAddr();
    m_identity.central_port = m_config.GetCentralRouterPort();
    m_identity.join_fault = joined ? "" : m_rejoin_fault.c_str();
    if (m_identity.started == 0) m_identity.started = now;
    if (joined) m_identity.joined = now;
}

// Routers that were fetched or announced: their counts are theirs.
void CTsdwSys::AssignPeers() {
    CTReadGuard guard(m_model_lock);
    const CTSdwanRouterList& routers = m_external_subnet.GetRouterList();
    for (int i = 0; i < routers.Count(); ++i) {
        const CTSdwanRouter* router = routers.At(i);
        if (router) m_peer_traffic.Assign(router->GetIdentifier(), router->GetSerialNumber());
    }
}

void CTsdwSys::TakeSnapshot(CTEdgeSnapshot& snapshot) {
    int64_t now = Now();
    {
        CTMutexGuard guard(m_identity_mutex);
        snapshot.identity = m_identity;
    }
    snapshot.unix_ms = UnixMillis();
    snapshot.uptime_ms = now - snapshot.identity.started;
    bool joined = snapshot.identity.joined != 0;
    snapshot.joined_ms = joined ? now - snapshot.identity.joined : -1;
    snapshot.heartbeats_unanswered = m_port.GetHeartBeatMisses();
    // The last reply of the join was an answer, too.
    if (joined) {
        snapshot.answered_ms = now - std::max(m_port.GetAnswered(), snapshot.identity.joined);
    }
    snapshot.round_trip_us = m_port.GetRoundTrip();
    CopyPeers(now, snapshot);
    for (CTEdgePeerSnapshot& peer : snapshot.peers)
        peer.traffic = m_peer_traffic.Get(peer.slot);
    snapshot.other = m_peer_traffic.Get(CTPeerTraffic::kOther);
    CopyCounts(snapshot);
    snapshot.sealed.reset();
    const CTSealedLink& link = m_client.GetSealedLink();
    if (link.IsOn()) snapshot.sealed = CopySealed(GetSealKey(), link);
}

void CTsdwSys::CopyPeers(int64_t now, CTEdgeSnapshot& snapshot) {
    snapshot.peers.clear();
    snapshot.peers.reserve(CTPeerTraffic::kSlots);
    CTReadGuard guard(m_model_lock);
    const CTSdwanRouterList& routers = m_external_subnet.GetRouterList();
    for (int i = 0; i < routers.Count(); ++i) {
        const CTSdwanRouter* router = routers.At(i);
        if (router) snapshot.peers.push_back(CopyPeer(*router, m_peers, now));
    }
}

void CTsdwSys::CopyCounts(CTEdgeSnapshot& snapshot) {
    const CTNetDevice::Counters& device = m_device.GetCounters();
    const CTForwardOutgress::Counters& outgress = m_outgress.GetCounters();
    const CTSstpPort::Counters& port = m_port.GetCounters();
    const CTSealedLink::Counters& sealed = m_client.GetSealedLink().GetCounters();
    snapshot.counters = {{"packets from the interface", device.read.Get()},
                         {"packets to the interface", device.written.Get()},
                         {"messages sent", port.sent.Get()},
                         {"messages received", port.received.Get()},
                         {"reads failed", device.read_failed.Get()},
                         {"interface waited for a buffer", device.pool_empty.Get()},
                         {"tunnel without a buffer", port.pool_empty.Get()},
                         {"segmented sending refused", m_client.GetSegmentsRefused()},
                         {"joined again", m_rejoins.Get()},
                         {"joining again failed", m_rejoins_failed.Get()},
                         {"sealed channels", sealed.channels.Get()},
                         {"sealed channels given up", sealed.failed.Get()},
                         {"lines left out", pvu_stdout_left_out()},
                         {"lines left out, caused by others", m_port.GetPrintLimit().GetLeftOut()}};
    snapshot.drops = {{"short read", device.short_read.Get()},
                      {"interface queue full", device.queue_full.Get()},
                      {"not IPv4", outgress.not_ipv4.Get()},
                      {"shorter than its length says", outgress.length_lie.Get()},
                      {"layer 2 frame", outgress.wrong_layer.Get()},
                      {"unknown destination", outgress.unknown_destination.Get()},
                      {"transmit queue full", port.tx_queue_full.Get()},
                      {"send refused", port.send_refused.Get()},
                      {"malformed datagram", port.malformed.Get()},
                      {"fragment without partner", m_port.GetFragmentsEvicted()},
                      {"fragment too old", m_port.GetFragmentsAged()},
                      {"too large when joined", port.merge_refused.Get()},
                      {"receive queue full", port.rx_queue_full.Get()},
                      {"flood of commands", port.flooded.Get()},
                      {"of an old session", port.old_session.Get()},
                      {"malformed command", m_ingress.GetMalformedCount()},
                      {"strict source", port.foreign.Get() + m_ingress.GetForeignCount()},
                      {"outside the sealed channel", sealed.outside.Get()},
                      {"sealed record not opened", sealed.unopened.Get()},
                      {"interface write failed", device.write_failed.Get()}};
    auto queue = [](const char* name, CTXmitPktMtFifo& fifo) {
        return CTEdgeQueueSnapshot{name, fifo.Count(), fifo.HighWater()};
    };
    snapshot.queues = {queue("interface", m_device.GetQueue()),
                       queue("transmit", m_port.GetTxQueue()),
                       queue("receive", m_port.GetRxQueue())};
}
