#include "tcr/state_journal.h"

#include <algorithm>

#include "base/pvu_text_field.h"

namespace {

constexpr TcrTime kMillisPerSecond = 1000;

std::vector<TcrDeviceRecord> DevicesOf(CTSdwanRouter& router) {
    std::vector<TcrDeviceRecord> records;
    CTSdwanDeviceList& devices = router.GetDeviceList();
    for (int i = 0; i < devices.Count(); ++i) {
        CTSdwanDevice* device = devices.At(i);
        if (!device) continue;
        records.push_back({device->GetIPv4Addr().GetIP(), *device->GetEtherAddr().GetAddr(),
                           device->GetStatus()});
    }
    return records;
}

}  // namespace

bool TcrStateJournal::Marks::IsUrgent() const {
    return !removed_subnets.empty() || !subnets.empty() ||
           std::any_of(edges.begin(), edges.end(), [](const auto& mark) { return mark.second; });
}

void TcrStateJournal::Mark(const TcrEdge& edge, bool awaited) {
    if (!m_sink) return;
    bool& mark = m_waiting.edges[{edge.subnet->model.GetIndex(), edge.slot}];
    mark = mark || awaited;
    if (awaited) edge.Session().unsaved = true;
}

void TcrStateJournal::SubnetChanged(int index) {
    if (m_sink) m_waiting.subnets.insert(index);
}

void TcrStateJournal::SubnetRemoved(int index) {
    if (!m_sink) return;
    m_waiting.removed_subnets.insert(index);
    m_waiting.subnets.erase(index);
    std::erase_if(m_waiting.edges, [&](const auto& mark) { return mark.first.first == index; });
}

void TcrStateJournal::Clear() {
    m_waiting = Marks();
}

void TcrStateJournal::Submit(TcrTime now) {
    if (!m_sink || IsInFlight() || m_waiting.IsEmpty()) return;
    bool pause = m_failing || (!m_waiting.IsUrgent() && !m_hurry);
    if (pause && now - m_last_submit < kPauseMs) return;
    m_last_submit = now;
    TcrStateBatch batch = MakeBatch(now);
    m_written = std::move(m_waiting);
    m_waiting = Marks();
    m_in_flight = ++m_last_ticket;
    m_sink->Save(std::move(batch), m_in_flight);
}

std::vector<TcrEdge> TcrStateJournal::Awaited() const {
    std::vector<TcrEdge> edges;
    for (const auto& [key, awaited] : m_written.edges) {
        TcrEdge edge = EdgeOf(key);
        if (awaited && edge.subnet) edges.push_back(edge);
    }
    return edges;
}

std::vector<TcrEdge> TcrStateJournal::Saved(uint64_t ticket) {
    if (!IsInFlight() || ticket != m_in_flight) return {};
    std::vector<TcrEdge> saved = Awaited();
    // What changed again meanwhile waits for the next batch.
    std::erase_if(saved, [&](const TcrEdge& edge) {
        auto again = m_waiting.edges.find({edge.subnet->model.GetIndex(), edge.slot});
        return again != m_waiting.edges.end() && again->second;
    });
    for (const TcrEdge& edge : saved)
        edge.Session().unsaved = false;
    m_written = Marks();
    m_in_flight = 0;
    m_failing = false;
    return saved;
}

std::vector<TcrEdge> TcrStateJournal::Failed(uint64_t ticket, TcrTime now) {
    if (!IsInFlight() || ticket != m_in_flight) return {};
    std::vector<TcrEdge> dropped = Awaited();
    // A subnet that was removed meanwhile takes its own marks along: batches are of what is true.
    m_waiting.removed_subnets.merge(m_written.removed_subnets);
    m_waiting.subnets.merge(m_written.subnets);
    for (const auto& [key, awaited] : m_written.edges) {
        bool& mark = m_waiting.edges[key];
        mark = mark || awaited;
    }
    m_written = Marks();
    m_in_flight = 0;
    m_failing = true;
    m_last_submit = now;
    return dropped;
}

TcrStateBatch TcrStateJournal::MakeBatch(TcrTime now) const {
    TcrStateBatch batch;
    batch.removed_subnets.assign(m_waiting.removed_subnets.begin(),
                                 m_waiting.removed_subnets.end());
    for (int index : m_waiting.subnets) {
        TcrSubnet* subnet = m_subnets.At(index);
        if (!subnet) continue;
        batch.subnets.push_back({index, subnet->model.GetName(), subnet->model.GetGateway(),
                                 subnet->model.GetNetMask()});
    }
    for (const auto& [key, awaited] : m_waiting.edges) {
        TcrEdge edge = EdgeOf(key);
        if (!edge.subnet) continue;  // its edges went with it
        if (edge.Router()) {
            batch.edges.push_back(RecordOf(edge, now));
        } else {
            batch.removed_edges.push_back(key);
        }
    }
    return batch;
}

TcrEdgeRecord TcrStateJournal::RecordOf(const TcrEdge& edge, TcrTime now) const {
    const TcrSession& session = edge.Session();
    CTSdwanRouter& router = *edge.Router();
    TcrEdgeRecord record;
    record.subnet = edge.subnet->model.GetIndex();
    record.slot = edge.slot;
    record.serial = router.GetSerialNumber();
    record.label = pvu_text_field_get(router.GetLabel());
    record.type = router.GetType();
    record.layer = router.GetNetLayer();
    record.remote = session.path.remote;
    record.local = session.path.local;
    record.sealed = session.path.IsSealed();
    record.lease = session.lease;
    record.presence = session.presence;
    record.listed = session.listed;
    record.registered = session.registered;
    record.settled = session.settled;
    record.devices = DevicesOf(router);
    int64_t heard = m_unix_at_zero + std::min(session.heard_tick, now) / kMillisPerSecond;
    record.heard = std::max<int64_t>(0, heard);  // the wall clock may be wrong altogether
    return record;
}
