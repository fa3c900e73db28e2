#include "tcr/tcr_subnet.h"

#include <algorithm>

#include "tcr/tcr_network.h"

TcrSubnet::TcrSubnet(const TcrSubnetConfig& served, int index) {
    model.SetIndex(index);
    model.SetSubnetName(served.name.c_str());
    model.SetGateway(served.gateway);
    model.SetNetMask(served.mask);
    // All slots at once: an edge may have to stand in any of them from the start.
    model.GetRouterList().Create(kTcrSlots);
    SetLimits(served);
}

void TcrSubnet::SetLimits(const TcrSubnetConfig& served) {
    model.SetSubnetPassword(served.password.c_str());
    serials = served.edges;
    seal = served.seal;
    keys = served.keys;
}

void TcrSubnet::FreeSlot(int slot) {
    model.DelRouter(Identifier(slot));
    sessions[slot] = TcrSession();
    traffic[slot] = TcrEdgeTraffic();
}

bool TcrSubnet::LetsIn(uint32_t serial) const {
    return !serials || std::binary_search(serials->begin(), serials->end(), serial);
}

bool TcrSubnet::LetsInBy(uint32_t serial, bool sealed, const CTSealFingerprint* key) const {
    if (seal == TcrSeal::kRequired && !sealed) return false;
    if (seal == TcrSeal::kOff && sealed) return false;
    auto wanted = keys.find(serial);
    return wanted == keys.end() || (sealed && key && *key == wanted->second);
}

TcrDevices TcrSubnet::DevicesOf(int slot) const {
    TcrDevices devices;
    CTSdwanRouter* router = Router(slot);
    if (!router) return devices;
    CTSdwanDeviceList& list = router->GetDeviceList();
    for (int i = 0; i < list.Count(); ++i) {
        CTSdwanDevice* device = list.At(i);
        if (!device || device->GetStatus() != kDeviceStatusOn) continue;
        devices.push_back({device->GetIPv4Addr().GetIP(), *device->GetEtherAddr().GetAddr()});
    }
    return devices;
}

TcrRoster TcrSubnet::Roster() const {
    TcrRoster roster;
    for (int slot = 0; slot < kTcrSlots; ++slot) {
        const TcrSession& session = sessions[slot];
        if (!session.listed || !session.settled || !Router(slot)) continue;
        roster.entries[slot] = {true, session.version, DevicesOf(slot)};
    }
    return roster;
}

bool TcrSubnet::IsHostAddr(uint32_t ip) const {
    return tcr_is_host_addr(ip, model.GetGateway(), model.GetNetMask());
}

bool TcrSubnet::HasFreeAddr() const {
    // All host parts but the network's, the broadcast and the gateway's.
    uint32_t usable = ~model.GetNetMask() - 2;
    return static_cast<uint32_t>(model.GetRouterMap().Count()) < usable;
}
