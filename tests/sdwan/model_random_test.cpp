#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <random>

#include "sdwan/sdwan_subnet.h"

namespace {

constexpr unsigned char kMac[] = {0x02, 0, 0, 0, 0, 0x01};
constexpr uint32_t kNet = 0xC0A80F00;  // 192.168.15.0
constexpr uint32_t kAddresses = 60;    // few, so that routers often claim the same one

// A subnet of plain tables, with no thought for speed: what the real one is compared with.
struct ReferenceSubnet {
    using Devices = std::array<uint32_t, 8>;  // addresses, 0 for none
    struct Router {
        uint32_t serial = 0;
        Devices devices = {};
    };

    // The slot, or -1.
    int AddRouter(uint32_t serial) {
        auto known = std::find_if(m_routers.begin(), m_routers.end(),
                                  [serial](const auto& r) { return r.second.serial == serial; });
        int slot = 0;
        while (m_routers.contains(slot))
            ++slot;
        if (known != m_routers.end()) slot = known->first;
        if (slot == 16) return -1;
        m_routers[slot].serial = serial;
        return slot;
    }
    bool ReplaceRouter(int slot) {
        DelRouter(slot);
        if (slot >= 16) return false;
        m_routers[slot] = {};
        return true;
    }
    void DelRouter(int slot) {
        if (!m_routers.contains(slot)) return;
        for (uint32_t ip : m_routers[slot].devices)
            m_map.erase(ip);
        m_routers.erase(slot);
    }
    bool AddDevice(int slot, uint32_t ip) {
        if (!m_routers.contains(slot)) return false;
        Devices& devices = m_routers[slot].devices;
        auto place = std::find(devices.begin(), devices.end(), ip);
        if (place == devices.end()) place = std::find(devices.begin(), devices.end(), 0U);
        if (place == devices.end()) return false;
        *place = ip;
        m_map.try_emplace(ip, slot);
        return true;
    }
    void DelDevice(int slot, uint32_t ip) {
        if (!m_routers.contains(slot)) return;
        m_map.erase(ip);
        Devices& devices = m_routers[slot].devices;
        std::replace(devices.begin(), devices.end(), ip, 0U);
    }
    void DelDevice(uint32_t ip) {
        if (m_map.contains(ip)) DelDevice(m_map.at(ip), ip);
    }

    std::map<int, Router> m_routers;
    std::map<uint32_t, int> m_map;
};

uint32_t AddressOf(const CTSdwanDevice* device) {
    return device ? device->GetIPv4Addr().GetIP() : 0;
}

void Compare(CTSdwanSubnet& subnet, const ReferenceSubnet& reference) {
    ASSERT_EQ(subnet.GetRouterMap().Count(), static_cast<int>(reference.m_map.size()));
    for (const auto& [ip, slot] : reference.m_map) {
        ASSERT_EQ(AddressOf(subnet.GetDevice(ip)), ip);
        ASSERT_EQ(subnet.GetRouterByIPv4Addr(ip), subnet.GetRouterList().At(slot));
    }
    const auto& routers = reference.m_routers;
    ASSERT_EQ(subnet.GetRouterList().Count(), routers.empty() ? 0 : routers.rbegin()->first + 1);
    for (int slot = 0; slot < 16; ++slot) {
        const CTSdwanRouter* router = subnet.GetRouterList().At(slot);
        ASSERT_EQ(router != nullptr, routers.contains(slot));
        if (!router) continue;
        ASSERT_EQ(router->GetSerialNumber(), routers.at(slot).serial);
        const CTSdwanDeviceList& devices = router->GetDeviceList();
        for (int i = 0; i < 8; ++i)
            ASSERT_EQ(AddressOf(devices.At(i)), routers.at(slot).devices[static_cast<size_t>(i)]);
        ASSERT_TRUE(devices.Count() == 0 || devices.At(devices.Count() - 1));
    }
}

TEST(ModelRandom, ASubnetAgreesWithItsReference) {
    std::mt19937 random(1);
    auto below = [&random](uint32_t n) { return static_cast<uint32_t>(random()) % n; };
    CTSdwanSubnet subnet;
    ReferenceSubnet reference;
    subnet.GetRouterList().Create(16);
    for (int step = 0; step < 12000; ++step) {
        uint32_t identifier = below(8) << 8 | below(20);
        int slot = static_cast<int>(identifier & 0xFF);
        uint32_t ip = kNet + 1 + below(kAddresses);
        uint32_t action = below(100);
        if (action < 10) {
            uint32_t serial = 1 + below(20);
            const CTSdwanRouter* router = subnet.AddRouter(serial);
            ASSERT_EQ(router ? router->GetIndex() : -1, reference.AddRouter(serial));
        } else if (action < 14) {
            ASSERT_EQ(subnet.ReplaceRouter(identifier) != nullptr, reference.ReplaceRouter(slot));
        } else if (action < 18) {
            subnet.DelRouter(identifier);
            reference.DelRouter(slot);
        } else if (action < 80) {
            ASSERT_EQ(subnet.AddDevice(identifier, ip, kMac) != nullptr,
                      reference.AddDevice(slot, ip));
        } else if (action < 90) {
            subnet.DelDevice(identifier, ip);
            reference.DelDevice(slot, ip);
        } else {
            subnet.DelDevice(ip);
            reference.DelDevice(ip);
        }
        ASSERT_NO_FATAL_FAILURE(Compare(subnet, reference));
    }
}

}  // namespace
