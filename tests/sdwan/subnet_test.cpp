#include "sdwan/sdwan_subnet.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ranges>
#include <set>
#include <string>

#include "tests/sdwan/printed.h"
#include "tests/support/captured_output.h"

namespace {

constexpr unsigned char kMac[] = {0x02, 0, 0, 0, 0, 0x01};
constexpr unsigned char kOtherMac[] = {0x02, 0, 0, 0, 0, 0x02};
constexpr const unsigned char* kNoMac = nullptr;
constexpr unsigned int kNet = 0xC0A80F00;  // 192.168.15.0

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
    subnet.DelRouter(0x301);
    EXPECT_EQ(subnet.AddRouter(0x11, nullptr), first);
    std::string routers =
        "    1. %s%n: ident=0x00000300, index=0, sn=0x00000011, sstp: 0.0.0.0:0\n"
        "    2. NULL\n"
        "    3. right: ident=0x00000302, index=2, sn=0x00000033, sstp: 0.0.0.0:0\n"
        "        1. 10.0.1.5, 02:00:00:00:00:01, on(1), ipv4(1)\n";
    std::string text =
        full + " net: index=3, gw=10.0.0.1, mask=255.255.0.0, router count=3\n" + routers;
    int length = 0;
    EXPECT_EQ(CapturedOutput([&] { length = subnet.Print(); }), text + "\n");
    EXPECT_EQ(length, static_cast<int>(text.size()));

    EXPECT_EQ(subnet.GetRouter(0x300), first);
    for (unsigned int foreign : {0x200U, 0x01000300U, 0x301U, 0x3FFU, 0xFFFFFFFFU})
        EXPECT_EQ(subnet.GetRouter(foreign), nullptr);

    // The values go back to a new subnet's, the routers stay.
    EXPECT_EQ(subnet.Init(), 0);
    EXPECT_EQ(Printed(subnet),
              " net: index=0, gw=192.168.15.5, mask=255.255.255.0, router count=3\n" + routers);
    EXPECT_STREQ(subnet.GetSubnetPassword(), "");
    EXPECT_TRUE(subnet.IsSame(0xFFFFU));
}

TEST(Subnet, AnAddressOfTwoRoutersLeavesTheMapWithTheFirstDeviceThatGoes) {
    CTSdwanSubnet subnet;
    CTSdwanRouter* a = subnet.AddRouter(1);
    CTSdwanRouter* b = subnet.AddRouter(2);
    CTSdwanRouter* nobody = nullptr;
    const tnet_ether_addr* no_addr = nullptr;
    EXPECT_EQ(subnet.AddDevice(nobody, kNet + 7, kMac), nullptr);
    EXPECT_EQ(subnet.AddDevice(a, kNet + 7, no_addr), nullptr);
    EXPECT_EQ(subnet.AddDevice(0U, kNet + 7, no_addr), nullptr);
    // A given router is mapped by its slot, whatever identifier it was told.
    a->SetIdentifier(0xFFFFFFFF);
    EXPECT_NE(subnet.AddDevice(a, kNet + 7, kNoMac), nullptr);
    subnet.AddDevice(b, kNet + 7, kOtherMac);
    EXPECT_EQ(subnet.GetRouterByIPv4Addr(kNet + 7), a);
    subnet.DelDevice(nobody, kNet + 7);
    subnet.DelDevice(b, kNet + 7);
    EXPECT_FALSE(subnet.HasDevice(kNet + 7));
    // A host still has it: nobody else gets it.
    unsigned int ip = 0;
    CapturedOutput([&] { ip = subnet.DynamicAllocationIPAddr(kNet + 7, kOtherMac); });
    EXPECT_NE(ip, kNet + 7);
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

TEST_F(SubnetAllocator, AMaskWithoutHostsGivesNothingAndOneWithHolesWhatIsRequested) {
    for (unsigned int mask : {0xFFFFFFFFU, 0xFFFFFFFEU, 0xFFFF00FFU, 0x0000FFFFU, 0xFFFFFF01U}) {
        m_subnet.SetNetMask(mask);
        EXPECT_EQ(Allocate(0, kMac), "Dynamic Allocation IP: 0.0.0.0\n");
        EXPECT_EQ(m_ip, 0U);
        bool granted = Allocate(m_subnet.GetGateway(), kMac).empty();
        EXPECT_EQ(granted, mask < 0xFFFFFFFE) << mask;
        EXPECT_EQ(m_ip, granted ? m_subnet.GetGateway() : 0);
    }
}

}  // namespace
