#include "tcr/next_announcement.h"

#include <algorithm>

#include "sstp/sstp_del_device.h"
#include "sstp/sstp_message.h"

namespace {

// One edge's look at the subnet; each operation looks for one kind of announcement.
struct Choice {
    const TcrRoster& roster;
    const TcrTopology& topology;
    int edge;

    const TcrRoster::Entry& Present(int slot) const { return roster.entries[slot]; }
    const TcrPeerView& View(int slot) const { return topology.views[slot]; }
    TcrAnnouncement Of(uint8_t sub_type, int slot) const {
        return {.sub_type = sub_type, .slot = slot, .version = Present(slot).version};
    }
    // What the edge may have behind the router and must not.
    TcrDevices Gone(int slot) const {
        return tcr_difference(View(slot).may_devices, Present(slot).devices);
    }
    bool HasRouter(int slot) const {
        return !View(slot).unknown && View(slot).sure_version == Present(slot).version;
    }
    // An edge finds the router of an address that ends by its map alone. So the address must surely
    // lead to this router, and no other may claim it.
    bool CanTakeBack(int slot, const TcrDevice& device) const {
        if (!tcr_contains_address(View(slot).sure_devices, device.ip)) return false;
        for (int other = 0; other < kTcrSlots; ++other) {
            if (other != slot && View(other).MayHold(device.ip)) return false;
        }
        return true;
    }
    bool CanTakeBack(int slot, const TcrDevices& devices) const {
        return std::all_of(devices.begin(), devices.end(),
                           [&](const TcrDevice& device) { return CanTakeBack(slot, device); });
    }

    TcrAnnouncement RouterEnd(int slot) const {
        if (Present(slot).visible || !View(slot).may_know) return {};
        return Of(kSstpCmmDelRouter, slot);
    }
    // The rest follows when these are acknowledged, where there are more than a message takes.
    TcrAnnouncement DeviceEnd(int slot) const {
        if (!Present(slot).visible || !HasRouter(slot)) return {};
        TcrDevices gone = Gone(slot);
        if (gone.empty() || !CanTakeBack(slot, gone)) return {};
        if (gone.size() > kSstpDelDeviceMaxAddrs) gone.resize(kSstpDelDeviceMaxAddrs);
        TcrAnnouncement announcement = Of(kSstpCmmDelDevice, slot);
        announcement.devices = gone;
        return announcement;
    }
    TcrAnnouncement Router(int slot) const {
        if (!Present(slot).visible) return {};
        if (HasRouter(slot) && Gone(slot).empty()) return {};
        TcrAnnouncement announcement = Of(kSstpCmmAddRouter, slot);
        if (View(slot).may_know) announcement.devices = Present(slot).devices;
        return announcement;
    }
    TcrAnnouncement Devices(int slot) const {
        if (!Present(slot).visible) return {};
        TcrAnnouncement announcement = Of(kSstpCmmAddDevice, slot);
        announcement.devices = tcr_difference(Present(slot).devices, View(slot).sure_devices);
        return announcement.devices.empty() ? TcrAnnouncement() : announcement;
    }
    TcrAnnouncement Refresh(int slot, TcrTime now) const {
        if (Present(slot).devices.empty() || View(slot).refresh_at > now) return {};
        TcrAnnouncement announcement = Of(kSstpCmmAddDevice, slot);
        announcement.devices = Present(slot).devices;
        return announcement;
    }

    template <typename Look>
    TcrAnnouncement First(Look look) const {
        for (int slot = 0; slot < kTcrSlots; ++slot) {
            if (slot == edge) continue;
            TcrAnnouncement announcement = look(slot);
            if (announcement.sub_type != 0) return announcement;
        }
        return {};
    }
};

}  // namespace

TcrAnnouncement tcr_next_announcement(const TcrRoster& roster, const TcrTopology& topology,
                                      int slot, TcrTime now) {
    Choice choice{roster, topology, slot};
    TcrAnnouncement next = choice.First([&](int other) { return choice.RouterEnd(other); });
    if (next.sub_type != 0) return next;
    next = choice.First([&](int other) { return choice.DeviceEnd(other); });
    if (next.sub_type != 0) return next;
    next = choice.First([&](int other) { return choice.Router(other); });
    if (next.sub_type != 0) return next;
    next = choice.First([&](int other) { return choice.Devices(other); });
    if (next.sub_type != 0) return next;
    return choice.First([&](int other) { return choice.Refresh(other, now); });
}
