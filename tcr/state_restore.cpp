#include "tcr/state_restore.h"

#include <algorithm>

#include "tcr/subnet_reload.h"
#include "tcr/tcr_text.h"

namespace {

constexpr TcrTime kMillisPerSecond = 1000;

}  // namespace

void TcrStateRestore::Run(const TcrStateImage& image) {
    m_core.journal.Clear();
    m_core.journal.SetClock(m_unix_now - m_now / kMillisPerSecond);
    std::vector<TcrSubnetConfig> fresh = PlaceSubnets(image);
    for (const TcrEdgeRecord& record : image.edges)
        PlaceEdge(record);
    // Last: a subnet that is new may get the index of one that went, but none of its edges.
    for (const TcrSubnetConfig& served : fresh)
        m_core.journal.SubnetChanged(m_core.subnets.Add(served).model.GetIndex());
}

// Those that were served keep their index. The others are returned.
std::vector<TcrSubnetConfig> TcrStateRestore::PlaceSubnets(const TcrStateImage& image) {
    m_core.subnets.Clear();
    std::vector<TcrSubnetConfig> served = m_core.config.subnets;
    for (const TcrSubnetRecord& record : image.subnets) {
        auto found = std::find_if(served.begin(), served.end(), [&](const TcrSubnetConfig& one) {
            return one.name == record.name && one.gateway == record.gateway &&
                   one.mask == record.mask;
        });
        bool placed = found != served.end() && record.index >= 0 && record.index < kTcrMaxSubnets &&
                      !m_core.subnets.At(record.index);
        if (!placed) {
            m_core.log.Line("state: subnet %d \"%s\" left out: not served any more", record.index,
                            tcr_printable(record.name.c_str()).c_str());
            CTEvent(CTEventLevel::kWarning, "subnet left out of the state")
                .Add("subnet", record.name)
                .Add("reason", "not served any more")
                .Log();
            if (!m_core.subnets.At(record.index)) m_core.journal.SubnetRemoved(record.index);
            continue;
        }
        m_core.subnets.Add(*found, record.index);
        served.erase(found);
    }
    return served;
}

const char* TcrStateRestore::FaultOf(TcrSubnet& subnet, const TcrEdgeRecord& record) {
    if (record.slot < 0 || record.slot >= kTcrSlots) return "no such slot";
    if (subnet.Router(record.slot)) return "slot taken";
    if (subnet.model.HasRouter(record.serial)) return "serial number taken";
    if (record.devices.size() > CTSdwanDeviceList::kMaxDevices) return "too many devices";
    for (const TcrDeviceRecord& device : record.devices) {
        if (!subnet.IsHostAddr(device.ip)) return "device outside the subnet";
        if (subnet.model.HasDevice(device.ip)) return "device of another edge";
    }
    bool held = std::any_of(record.devices.begin(), record.devices.end(),
                            [&](const TcrDeviceRecord& one) { return one.ip == record.lease; });
    if (record.lease != 0 && !held) return "address without a device";
    return nullptr;
}

void TcrStateRestore::PlaceEdge(const TcrEdgeRecord& record) {
    TcrSubnet* subnet = m_core.subnets.At(record.subnet);
    if (!subnet) return;  // went with its subnet
    const char* fault = FaultOf(*subnet, record);
    TcrEdge edge{subnet, record.slot};
    if (!fault && !subnet->model.GetRouterList().Insert(edge.Identifier())) fault = "no memory";
    if (fault) {
        m_core.log.Line("state: edge of subnet %d, slot %d, left out: %s", record.subnet,
                        record.slot, fault);
        CTEvent(CTEventLevel::kWarning, "edge left out of the state")
            .AddHex("serial", record.serial)
            .Add("reason", fault)
            .Log();
        bool free = record.slot >= 0 && record.slot < kTcrSlots && !edge.Router();
        if (free) m_core.journal.EdgeNoted(edge);  // goes from the state, too
        return;
    }
    FillRouter(edge, record);
    FillSession(edge, record);
}

void TcrStateRestore::FillRouter(const TcrEdge& edge, const TcrEdgeRecord& record) {
    CTSdwanRouter& router = *edge.Router();
    router.SetIdentifier(edge.Identifier());
    router.SetSerialNumber(record.serial);
    router.SetLabel(record.label.c_str());
    router.SetType(record.type);
    router.SetNetLayer(record.layer);
    for (const TcrDeviceRecord& device : record.devices) {
        CTSdwanDevice* added = edge.subnet->model.AddDevice(&router, device.ip, &device.mac);
        if (added) added->SetStatus(device.status);
    }
}

// An edge that was there counts as heard just now: it may have sent while nobody listened. One that
// was not was last heard when its record says, so that the order of those that are away holds.
void TcrStateRestore::FillSession(const TcrEdge& edge, const TcrEdgeRecord& record) {
    TcrSession& session = edge.Session();
    session.presence = record.presence;
    session.path = {record.remote, record.local,
                    record.sealed ? TcrPath::kLostChannel : TcrPath::kOpen};
    session.lease = record.lease;
    TcrTime ago = std::max<TcrTime>(0, m_unix_now - record.heard) * kMillisPerSecond;
    bool there = record.presence == TcrPresence::kLoggedIn;
    session.heard_tick = there ? m_now : m_now - ago;
    session.gone_tick = session.heard_tick;
    session.since_tick = session.heard_tick;
    session.registered = record.registered && record.presence != TcrPresence::kAbsent;
    session.topology.Forget();
    if (!there || !record.listed) return;
    m_sessions.List(edge);
    session.settled = record.settled && record.registered;
    session.settle_tick = m_now + kTcrSettleMs;
}
