#include "sdwan/sdwan_subnet.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <random>
#include <ranges>
#include <set>
#include <string>

#include "tests/sdwan/printed.h"

namespace {

constexpr unsigned char kMac[] = {0x02, 0, 0, 0, 0, 0x01};
constexpr unsigned char kOtherMac[] = {0x02, 0, 0, 0, 0, 0x02};
constexpr const unsigned char* kNoMac = nullptr;
constexpr const tnet_ether_addr* kNoAddr = nullptr;
constexpr uint32_t kNet = 0xC0A80F00;  // 192.168.15.0
constexpr uint32_t kAddresses = 60;    // few, so that routers often claim the same one
constexpr int kRouters = 16;

TEST(Subnet, PrintsItsNameUpTo32CharactersItsRoutersAndDevices) {
    CTSdwanSubnet subnet;
    std::string full(32, 'N');
    subnet.SetSubnetPassword("secret");
    subnet.SetSubnetName((full + "tail").c_str());
    EXPECT_TRUE(subnet.IsSame(full.c_str()));
    EXPECT_FALSE(subnet.IsSame((full + "tail").c_str()));
    subnet.SetIndex(3);
    subnet.SetGateway(0x0A000001);
    subnet.SetNetMask(0xFFFF0000);
    CTSdwanRouter* first = subnet.AddRouter(0x11, "%s%n");
    subnet.AddRouter(0x22);
    subnet.AddDevice(subnet.AddRouter(0x33, "right"), 0x0A000105, kMac);
    EXPECT_EQ(subnet.AddDevice(first, 0x0A000106, kNoAddr), nullptr);
    EXPECT_EQ(subnet.AddDevice(0x300, 0x0A000106, kNoAddr), nullptr);
    subnet.DelRouter(0x301);
    EXPECT_EQ(subnet.AddRouter(0x11, nullptr), first);
    std::string routers =
        "    1. %s%n: ident=0x00000300, index=0, sn=0x00000011, sstp: 0.0.0.0:0\n"
        "    2. NULL\n"
        "    3. right: ident=0x00000302, index=2, sn=0x00000033, sstp: 0.0.0.0:0\n"
        "        1. 10.0.1.5, 02:00:00:00:00:01, on(1), ipv4(1)\n";
    EXPECT_EQ(Printed(subnet, "\n"),
              full + " net: index=3, gw=10.0.0.1, mask=255.255.0.0, router count=3\n" + routers);
    EXPECT_EQ(subnet.GetRouter(0x300), first);
    for (unsigned int foreign : {0x200U, 0x01000300U, 0x301U, 0x3FFU, 0xFFFFFFFFU})
        EXPECT_EQ(subnet.GetRouter(foreign), nullptr);

    // Everything changes places with another subnet's, and nothing is copied.
    CTSdwanSubnet taken;
    taken.Swap(subnet);
    EXPECT_EQ(Printed(subnet, "\n"),
              " net: index=0, gw=192.168.15.5, mask=255.255.255.0, router count=0\n");
    EXPECT_FALSE(subnet.HasDevice(0x0A000105));
    EXPECT_EQ(subnet.AddRouter(0x44)->GetIdentifier(), 0u);
    EXPECT_EQ(taken.GetRouter(0x300), first);
    EXPECT_EQ(taken.GetRouterByIPv4Addr(0x0A000105), taken.GetRouter(0x302));
    EXPECT_STREQ(taken.GetSubnetPassword(), "secret");
    taken.Swap(subnet);
    EXPECT_TRUE(taken.HasRouter(0x44));

    // The values go back to a new subnet's, the routers stay.
    EXPECT_EQ(subnet.Init(), 0);
    EXPECT_EQ(Printed(subnet, "\n"),
              " net: index=0, gw=192.168.15.5, mask=255.255.255.0, router count=3\n" + routers);
    EXPECT_STREQ(subnet.GetSubnetPassword(), "");
    EXPECT_TRUE(subnet.IsSame(0xFFFFU));
}

// What a subnet should hold: the addresses behind the router in each slot, and the slot to which
// each address is mapped.
struct Model {
    std::map<int, std::set<uint32_t>> routers;
    std::map<uint32_t, int> map;
};

// What the subnet holds.
Model Read(CTSdwanSubnet& subnet) {
    const CTSdwanRouterList& routers = subnet.GetRouterList();
    Model real;
    EXPECT_TRUE(routers.Count() == 0 || routers.At(routers.Count() - 1));
    for (int slot = 0; slot < routers.Count(); ++slot) {
        if (!routers.At(slot)) continue;
        const CTSdwanDeviceList& devices = routers.At(slot)->GetDeviceList();
        EXPECT_TRUE(devices.Count() == 0 || devices.At(devices.Count() - 1));
        real.routers[slot];
        for (int i = 0; i < devices.Count(); ++i)
            if (devices.At(i)) real.routers[slot].insert(devices.At(i)->GetIPv4Addr().GetIP());
    }
    for (uint32_t ip = kNet + 1; ip <= kNet + kAddresses; ++ip) {
        const CTSdwanRouter* router = subnet.GetRouterByIPv4Addr(ip);
        if (router) real.map[ip] = router->GetIndex();
        EXPECT_EQ(subnet.GetDevice(ip), router ? router->FindDevice(ip) : nullptr);
    }
    EXPECT_EQ(subnet.GetRouterMap().Count(), static_cast<int>(real.map.size()));
    return real;
}

TEST(Subnet, AgreesWithItsModelWhateverIsDone) {
    std::mt19937 random(1);
    auto below = [&random](uint32_t n) { return static_cast<uint32_t>(random()) % n; };
    CTSdwanSubnet subnet;
    Model model;
    auto& [routers, map] = model;
    subnet.GetRouterList().Create(kRouters);
    for (uint32_t step = 0; step < 8000 && !HasFailure(); ++step) {
        uint32_t identifier = below(8) << 8 | below(kRouters + 4);
        int slot = static_cast<int>(identifier & 0xFF);
        uint32_t ip = kNet + 1 + below(kAddresses);
        CTSdwanRouter* router = subnet.GetRouterList().At(slot);  // not all know their identifier
        uint32_t action = below(100);
        if (action < 10) {
            for (slot = 0; routers.contains(slot);)
                ++slot;
            router = subnet.AddRouter(1 + step);
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
            CTSdwanDevice* device = action < 50 ? subnet.AddDevice(identifier, ip, kMac)
                                                : subnet.AddDevice(router, ip, kMac);
            bool added = device != nullptr;
            ASSERT_EQ(added, routers.contains(slot) &&
                                 (routers[slot].contains(ip) || routers[slot].size() < 8));
            if (added) routers[slot].insert(ip);
            if (added) map.try_emplace(ip, slot);
        } else {
            if (action < 85) subnet.DelDevice(identifier, ip);
            if (action >= 85 && action < 90) subnet.DelDevice(router, ip);
            if (action >= 90) subnet.DelDevice(ip);
            if (action >= 90) slot = map.contains(ip) ? map[ip] : -1;
            if (!routers.contains(slot)) continue;
            routers[slot].erase(ip);
            map.erase(ip);
        }
        Model real = Read(subnet);
        ASSERT_EQ(real.routers, routers) << step;
        ASSERT_EQ(real.map, map) << step;
    }
}

// A subnet 192.168.15.0 in which one host has address 77.
class SubnetAllocator : public testing::Test {
  protected:
    SubnetAllocator() {
        srand(1);
        Take(77);
    }
    void Take(unsigned int part) {
        m_subnet.AddDevice(m_subnet.AddRouter(1 + m_taken++ / 8), kNet + part, kMac);
    }
    std::string Allocate(unsigned int requested, const unsigned char* mac) {
        return CapturedOutput([&] { m_ip = m_subnet.DynamicAllocationIPAddr(requested, mac); });
    }
    // The host parts that many draws give; 0 where nothing was found.
    std::set<unsigned int> Draw(unsigned int mask) {
        m_subnet.SetNetMask(mask);
        std::set<unsigned int> parts;
        CapturedOutput([&] {
            for (int i = 0; i < 3000; ++i)
                parts.insert(m_subnet.DynamicAllocationIPAddr(0, kOtherMac) & ~mask);
        });
        return parts;
    }
    static std::set<unsigned int> Range(unsigned int first, unsigned int last) {
        auto parts = std::views::iota(first, last + 1);
        return {parts.begin(), parts.end()};
    }

    CTSdwanSubnet m_subnet;
    unsigned int m_ip = 0;
    unsigned int m_taken = 0;
};

TEST_F(SubnetAllocator, GrantsAFreeOrOwnRequestSilentlyAndDrawsOtherwise) {
    for (unsigned int part : {0U, 1U, 5U, 76U, 77U, 255U}) {
        EXPECT_EQ(Allocate(kNet + part, kMac), "");
        EXPECT_EQ(m_ip, kNet + part);
    }
    for (unsigned int requested : {0U, 0x0A000001U, kNet + 77}) {
        std::string out = Allocate(requested, kOtherMac);
        EXPECT_EQ(out, "Dynamic Allocation IP: 192.168.15." + std::to_string(m_ip & 0xFF) + "\n");
        EXPECT_NE(m_ip, requested);
    }
    EXPECT_NE(Allocate(kNet + 77, kNoMac), "");
}

// Two routers had it, so the map lost it with the first device that went.
TEST_F(SubnetAllocator, AHostsAddressThatLeftTheMapGoesToNobodyElse) {
    CTSdwanRouter* other = m_subnet.AddRouter(100);
    m_subnet.AddDevice(other, kNet + 77, kNoMac);
    m_subnet.DelDevice(other, kNet + 77);
    EXPECT_FALSE(m_subnet.HasDevice(kNet + 77));
    EXPECT_NE(Allocate(kNet + 77, kOtherMac), "");
}

TEST_F(SubnetAllocator, KeepsOffTheReservedHostParts) {
    std::set<unsigned int> free = Range(10, 244);
    free.erase(77);
    EXPECT_EQ(Draw(0xFFFFFF00), free);
    EXPECT_EQ(Draw(0xFFFFFFE0), Range(10, 20));
    EXPECT_EQ(Draw(0xFFFFFFF0), Range(1, 14));
    EXPECT_EQ(Draw(0xFFFFFFFC), Range(1, 2));
    EXPECT_GE(*Draw(0).begin(), 10U);
}

TEST_F(SubnetAllocator, SearchesUpwardsWithoutWrappingRound) {
    for (unsigned int part = 11; part <= 20; ++part)
        Take(part);
    EXPECT_EQ(Draw(0xFFFFFFE0), (std::set<unsigned int>{0, 10}));
    Take(10);
    EXPECT_EQ(Draw(0xFFFFFFE0), std::set<unsigned int>{0});
    EXPECT_EQ(Allocate(0, kMac), "Dynamic Allocation IP: 0.0.0.0\n");
}

TEST_F(SubnetAllocator, AMaskWithoutHostsGivesNothing) {
    for (unsigned int mask : {0xFFFFFFFFU, 0xFFFFFFFEU}) {
        m_subnet.SetNetMask(mask);
        for (unsigned int requested : {0U, m_subnet.GetGateway()}) {
            EXPECT_EQ(Allocate(requested, kMac), "Dynamic Allocation IP: 0.0.0.0\n");
            EXPECT_EQ(m_ip, 0U);
        }
    }
}

TEST_F(SubnetAllocator, AMaskWithHolesIsSearchedLikeAnyOther) {
    m_subnet.SetNetMask(0xFFFFFF81);  // gateway 192.168.15.5: the last bit stands in every address
    EXPECT_EQ(Allocate(m_subnet.GetGateway(), kMac), "");
    std::set<unsigned int> parts;
    for (unsigned int part = 10; part < 116; part += 2)
        parts.insert(part);
    parts.erase(76);  // and with it 77, which is taken
    EXPECT_EQ(Draw(0xFFFFFF81), parts);
    // One address for two parts: the next one follows after both.
    m_subnet.SetGateway(kNet + 1);
    for (unsigned int part = 11; part <= 113; part += 2)
        if (part != 77) Take(part);
    EXPECT_EQ(Draw(0xFFFFFF81), (std::set<unsigned int>{114}));

    // Never the network's own address, which the lowest part gives here.
    m_subnet.SetNetMask(0xFFFFFF8A);
    m_subnet.SetGateway(kNet + 0x0A);
    for (int i = 0; i < 100; ++i) {
        Allocate(0, kOtherMac);
        EXPECT_NE(m_ip, kNet + 0x0A);
    }
}

// Where 2^23 parts give one address, those behind it are out of reach.
TEST_F(SubnetAllocator, TheSearchUnderAMaskWithHolesIsBounded) {
    m_subnet.SetGateway(0x007FFFFF);
    m_subnet.SetNetMask(0x007FFFFF);
    for (unsigned int high = 0; high < 120; ++high)
        m_subnet.AddDevice(m_subnet.AddRouter(1000 + high / 8), high << 23 | 0x007FFFFF, kMac);
    bool given_up = false;
    for (int i = 0; i < 10; ++i) {
        Allocate(0, kOtherMac);
        EXPECT_TRUE(m_ip == 0 || m_ip >> 23 >= 120) << m_ip;
        given_up |= m_ip == 0;
    }
    EXPECT_TRUE(given_up);
}

}  // namespace
