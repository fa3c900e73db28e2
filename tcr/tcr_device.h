#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <vector>

#include "inet/tnet_ether.h"

// A device as it is announced to edges.
struct TcrDevice {
    uint32_t ip = 0;  // host byte order
    tnet_ether_addr mac = {};

    bool operator==(const TcrDevice& other) const {
        return ip == other.ip && tnet_is_same_ether_addr(&mac, &other.mac) != 0;
    }
};

// Devices of one router, in no order, none twice.
using TcrDevices = std::vector<TcrDevice>;

inline bool tcr_contains(const TcrDevices& devices, const TcrDevice& wanted) {
    return std::find(devices.begin(), devices.end(), wanted) != devices.end();
}

inline bool tcr_contains_address(const TcrDevices& devices, uint32_t ip) {
    return std::any_of(devices.begin(), devices.end(),
                       [ip](const TcrDevice& device) { return device.ip == ip; });
}

// The devices of a that are not in b.
inline TcrDevices tcr_difference(const TcrDevices& a, const TcrDevices& b) {
    TcrDevices result;
    std::copy_if(a.begin(), a.end(), std::back_inserter(result),
                 [&](const TcrDevice& device) { return !tcr_contains(b, device); });
    return result;
}

inline void tcr_unite(TcrDevices& into, const TcrDevices& devices) {
    for (const TcrDevice& device : devices) {
        if (!tcr_contains(into, device)) into.push_back(device);
    }
}

// Takes away every device that has one of the addresses, whatever its MAC.
inline void tcr_erase_addresses(TcrDevices& from, const TcrDevices& devices) {
    std::erase_if(
        from, [&](const TcrDevice& device) { return tcr_contains_address(devices, device.ip); });
}
