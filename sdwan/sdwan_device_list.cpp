#include "sdwan/sdwan_device_list.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace {

constexpr int kGrowth = 8;

}  // namespace

CTSdwanDeviceList::CTSdwanDeviceList() {
    Create(kMaxDevices);
}

int CTSdwanDeviceList::Create(int n) {
    return Allocate(std::min(n, kMaxDevices), Count()) ? 1 : 0;
}

int CTSdwanDeviceList::Resize() {
    if (!IsFull()) return 1;
    if (Capacity() >= kMaxDevices) return 0;
    return Reallocate(std::min(Capacity() + kGrowth, kMaxDevices)) ? 1 : 0;
}

int CTSdwanDeviceList::Find(unsigned int ip) const {
    return FindIf([ip](const CTSdwanDevice& device) { return device.GetIPv4Addr().GetIP() == ip; });
}

int CTSdwanDeviceList::Find(const unsigned char* mac) const {
    CEtherAddr wanted;
    if (wanted.Set(mac) != 0) return -1;
    return FindIf([&](const CTSdwanDevice& device) { return device.GetEtherAddr() == wanted; });
}

CTSdwanDevice* CTSdwanDeviceList::Append(unsigned int ip, const unsigned char* mac) {
    if (CTSdwanDevice* present = At(Find(ip))) return present;

    int slot = FindIdle();
    if (slot < 0) {
        // A list without slots is full too and gets its 8 here.
        if (Resize() == 0) return nullptr;
        slot = Count();
    }
    std::unique_ptr<CTSdwanDevice> device(new (std::nothrow) CTSdwanDevice);
    if (!device) return nullptr;
    CEtherAddr ether;
    if (ether.Set(mac) != 0) ether.SetRandom();
    device->SetEtherAddr(ether);
    device->SetIPv4Addr(CIPv4Addr(ip));
    device->SetTypeIPv4();
    device->SetStatusOn();
    return Put(slot, std::move(device));
}

int CTSdwanDeviceList::Remove(int i) {
    Erase(i);
    return 0;
}

int CTSdwanDeviceList::Print(CTString& text) const {
    for (int i = 0; i < Count(); ++i) {
        const CTSdwanDevice* device = At(i);
        if (!device) {
            text.Append("        %d. NULL\n", i + 1);
            continue;
        }
        text.Append("        %d. ", i + 1);
        device->Print(text);
        text.Append("\n");
    }
    return text.GetLength();
}
