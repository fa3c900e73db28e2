#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <set>

#include "sdwan/sdwan_subnet.h"

namespace {

constexpr unsigned char kMac[] = {0x02, 0, 0, 0, 0, 0x01};
constexpr uint32_t kFirst = 0xC0A80F01;  // 192.168.15.1
constexpr uint32_t kAddresses = 60;      // few, so that routers often claim the same one
constexpr int kRouters = 16;

// What a subnet should hold: the addresses behind the router in each slot, and the slot to which
// each address is mapped.
struct ReferenceSubnet {
    std::map<int, std::set<uint32_t>> routers;
    std::map<uint32_t, int> map;
};

void Compare(CTSdwanSubnet& subnet, const ReferenceSubnet& reference) {
    const CTSdwanRouterList& routers = subnet.GetRouterList();
    ReferenceSubnet real;
    for (int slot = 0; slot < routers.Count(); ++slot) {
        if (!routers.At(slot)) continue;
        const CTSdwanDeviceList& devices = routers.At(slot)->GetDeviceList();
        std::set<uint32_t>& held = real.routers[slot];
        for (int i = 0; i < devices.Count(); ++i) {
            if (devices.At(i)) held.insert(devices.At(i)->GetIPv4Addr().GetIP());
        }
        ASSERT_TRUE(devices.Count() == 0 || devices.At(devices.Count() - 1));
    }
    ASSERT_TRUE(routers.Count() == 0 || routers.At(routers.Count() - 1));
    ASSERT_EQ(real.routers, reference.routers);
    for (uint32_t ip = kFirst; ip < kFirst + kAddresses; ++ip) {
        if (const CTSdwanRouter* router = subnet.GetRouterByIPv4Addr(ip)) {
            real.map[ip] = router->GetIndex();
            ASSERT_EQ(subnet.GetDevice(ip), router->FindDevice(ip));
        }
    }
    ASSERT_EQ(real.map, reference.map);
    ASSERT_EQ(subnet.GetRouterMap().Count(), static_cast<int>(reference.map.size()));
}

TEST(ModelRandom, ASubnetAgreesWithItsReference) {
    std::mt19937 random(1);
    auto below = [&random](uint32_t n) { return static_cast<uint32_t>(random()) % n; };
    CTSdwanSubnet subnet;
    ReferenceSubnet reference;
    auto& [routers, map] = reference;
    subnet.GetRouterList().Create(kRouters);
    for (uint32_t step = 0; step < 8000; ++step) {
        uint32_t identifier = below(8) << 8 | below(kRouters + 4);
        int slot = static_cast<int>(identifier & 0xFF);
        uint32_t ip = kFirst + below(kAddresses);
        uint32_t action = below(100);
        if (action < 10) {
            for (slot = 0; routers.contains(slot);)
                ++slot;
            const CTSdwanRouter* router = subnet.AddRouter(1 + step);
            ASSERT_EQ(router ? router->GetIndex() : kRouters, slot);
            if (router) routers[slot] = {};
        } else if (action < 18) {
            bool replaced = action < 14 && subnet.ReplaceRouter(identifier);
            ASSERT_EQ(replaced, action < 14 && slot < kRouters);
            subnet.DelRouter(replaced ? kRouters : identifier);
            for (uint32_t held : routers[slot])
                map.erase(held);
            routers.erase(slot);
            if (replaced) routers[slot] = {};
        } else if (action < 80) {
            bool added = subnet.AddDevice(identifier, ip, kMac) != nullptr;
            ASSERT_EQ(added, routers.contains(slot) &&
                                 (routers[slot].contains(ip) || routers[slot].size() < 8));
            if (added) routers[slot].insert(ip);
            if (added) map.try_emplace(ip, slot);
        } else {
            if (action < 90) subnet.DelDevice(identifier, ip);
            if (action >= 90) subnet.DelDevice(ip);
            if (action >= 90) slot = map.contains(ip) ? map[ip] : -1;
            if (!routers.contains(slot)) continue;
            routers[slot].erase(ip);
            map.erase(ip);
        }
        ASSERT_NO_FATAL_FAILURE(Compare(subnet, reference)) << step;
    }
}

}  // namespace
