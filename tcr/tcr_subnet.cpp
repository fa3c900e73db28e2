#include "tcr/tcr_subnet.h"

std::vector<TcrDevice> TcrSubnet::DevicesOf(int slot) const {
    std::vector<TcrDevice> devices;
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

bool TcrSubnet::IsHostAddr(uint32_t ip) const {
    uint32_t mask = model.GetNetMask();
    uint32_t host = ip & ~mask;
    return (ip & mask) == (model.GetGateway() & mask) && ip != model.GetGateway() && host != 0 &&
           host != ~mask;
}
