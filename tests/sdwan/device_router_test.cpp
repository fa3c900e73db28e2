#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "sdwan/ipv4_router_map.h"
#include "sdwan/sdwan_router_list.h"
#include "tests/sdwan/printed.h"
#include "tests/support/captured_output.h"

namespace {

constexpr unsigned char kMac[] = {0x02, 0, 0, 0, 0, 0x01};
constexpr unsigned char kOtherMac[] = {0x02, 0, 0, 0, 0, 0xAB};
constexpr unsigned char kZeroMac[] = {0, 0, 0, 0, 0, 0};
constexpr const unsigned char* kNoMac = nullptr;

TEST(Device, PrintsItsAddressesAndTheNamesOfItsCodes) {
    CTSdwanDevice device;
    EXPECT_EQ(Printed(device), "2.2.2.2, 00:00:00:00:00:00, idle(2), ipv4(1)");
    device.SetType(2);
    device.SetStatus(3);
    EXPECT_EQ(Printed(device), "2.2.2.2, 00:00:00:00:00:00, unknow(3), ipv6(2)");
    device.SetType(65535);
    EXPECT_EQ(Printed(device), "2.2.2.2, 00:00:00:00:00:00, unknow(3), unknow(65535)");
}

TEST(DeviceList, ARepeatedAddressGivesTheDeviceAsItIsAndTheNinthIsRefused) {
    CTSdwanDeviceList list;
    CTSdwanDevice* first = list.Append(1, kMac);
    first->SetStatus(0);
    first->SetType(3);
    EXPECT_EQ(list.Append(1, kOtherMac), first);
    EXPECT_EQ(Printed(list), "        1. 0.0.0.1, 02:00:00:00:00:01, off(0), echo(3)\n");
    for (unsigned int ip = 2; ip <= 8; ++ip)
        EXPECT_EQ(list.Append(ip, kNoMac)->GetEtherAddr().GetBytes()[0] & 0x03, 0x02);
    EXPECT_FALSE(list.At(1)->GetEtherAddr() == list.At(2)->GetEtherAddr());
    EXPECT_EQ(list.Append(9, kMac), nullptr);
    EXPECT_EQ(list.Append(1, kNoMac), first);
    list.Reset();
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(list.Capacity(), 8);
}

TEST(DeviceList, RemovesByMacAndPrintsHolesAndIgnoresWhatIsNotThere) {
    CTSdwanDeviceList list;
    for (const unsigned char* mac : {kMac, kOtherMac, kZeroMac, kMac})
        list.Append(static_cast<unsigned int>(list.Count()) + 1, mac);
    EXPECT_EQ(list.Find(kMac), 0);
    EXPECT_EQ(list.Delete(kOtherMac) + list.Delete(4U), 0);
    EXPECT_EQ(list.Delete(kNoMac) + list.Remove(-1) + list.Remove(3) + list.Remove(8), 0);
    EXPECT_EQ(Printed(list),
              "        1. 0.0.0.1, 02:00:00:00:00:01, on(1), ipv4(1)\n"
              "        2. NULL\n"
              "        3. 0.0.0.3, 00:00:00:00:00:00, on(1), ipv4(1)\n");
}

TEST(Router, PrintsItsLabelUpTo32CharactersAndTheIdentifiersLowByte) {
    CTSdwanRouter router;
    std::string full(32, 'L');
    router.SetLabel((full + "tail").c_str());
    router.SetLabel(nullptr);
    router.SetUserName("ann");
    router.SetUserPwd("secret");
    router.SetStatus(1);
    router.SetType(2);
    router.SetNetLayer(3);
    router.SetIndex(9);
    router.SetIdentifier(0x00012A03);
    router.SetSerialNumber(0xBEEF);
    router.SetSstpAddr(CTSockAddr("10.1.2.3", 1922));
    router.AppendDevice(0xC0A80F02, kMac);
    EXPECT_TRUE(router.IsOnline() && !router.IsIdle());
    std::string device = "        1. 192.168.15.2, 02:00:00:00:00:01, on(1), ipv4(1)\n";
    std::string text =
        full + ": ident=0x00012a03, index=3, sn=0x0000beef, sstp: 10.1.2.3:1922\n" + device;
    int length = 0;
    EXPECT_EQ(CapturedOutput([&] { length = router.Print(); }), text + "\n");
    EXPECT_EQ(length, static_cast<int>(text.size()));
    // The values go back to a new router's, the devices stay.
    EXPECT_EQ(router.Init(), 0);
    EXPECT_EQ(Printed(router),
              ": ident=0x0000ffff, index=255, sn=0x00000000, sstp: 0.0.0.0:0\n" + device);
    EXPECT_TRUE(router.IsIdle() && router.GetType() == 0 && router.GetNetLayer() == 2);
    EXPECT_EQ(std::string(router.GetUserName()) + router.GetUserPwd(), "");
}

TEST(Tables, AreCreatedGrownAndCutEachByItsRule) {
    CTSdwanDeviceList devices;
    CTSdwanRouterList routers;
    CTIPv4RouterMap map;
    for (auto [n, device_slots, router_slots, entries] :
         {std::tuple(9, 8, 9, 9), {17, 8, 16, 17}, {0, 0, 8, 64}, {-1, 0, 8, 64}}) {
        routers.Append(1);
        map.Map(1, 1);
        EXPECT_EQ(devices.Create(n), n < 0 ? 0 : 1);
        EXPECT_EQ(routers.Create(n) + map.Create(n), 2);
        EXPECT_EQ(devices.Capacity(), device_slots) << n;
        EXPECT_EQ(routers.Capacity(), router_slots) << n;
        EXPECT_EQ(map.Capacity(), entries) << n;
        EXPECT_EQ(routers.Count() + map.Count(), 0);
    }
    for (unsigned int ip = 1; ip <= 5; ++ip)
        devices.Append(ip, kMac);
    // The count stays, but no further than the slots.
    EXPECT_EQ(devices.Create(3), 1);
    EXPECT_EQ(devices.Count(), 3);
    EXPECT_EQ(devices.Find(5U), -1);
    for (unsigned int ip = 1; ip <= 4; ++ip)
        EXPECT_NE(devices.Append(ip, kMac), nullptr);
    EXPECT_EQ(devices.Capacity(), 8);
    devices.Destroy();
    routers.Destroy();
    EXPECT_TRUE(devices.Append(1, kMac) && routers.Append(1));
    EXPECT_EQ(devices.Capacity() + routers.Capacity(), 8 + 8);
    routers.Insert(3);
    EXPECT_EQ(routers.Resize(-5), 0);
    EXPECT_EQ(routers.Resize(2147483647), 1);
    EXPECT_EQ(routers.Resize(1), 0);
    EXPECT_EQ(routers.Capacity(), 16);
    EXPECT_NE(routers.At(3), nullptr);
}

TEST(RouterList, AppendGrowsByEightAndRefusesTheSeventeenth) {
    CTSdwanRouterList list;
    for (unsigned int serial = 1; serial <= 16; ++serial) {
        EXPECT_NE(list.Append(serial), nullptr);
        EXPECT_EQ(list.Capacity(), serial <= 4 ? 4 : serial <= 12 ? 12 : 16);
    }
    EXPECT_EQ(list.Append(17), nullptr);
}

TEST(RouterList, InsertGrowsByItsOwnRuleAndNeverPastTheMaximum) {
    // Slots before (0 for none), index, slots after (0 where it is refused).
    for (auto [before, index, after] : {std::tuple(0, 0, 8),
                                        {0, 5, 8},
                                        {0, 8, 12},
                                        {0, 16, 0},
                                        {4, 4, 8},
                                        {4, 11, 12},
                                        {4, 12, 0},
                                        {4, 13, 16},
                                        {4, 16, 0},
                                        {8, 16, 0},
                                        {16, 16, 0},
                                        {16, 255, 0}}) {
        CTSdwanRouterList list;
        list.Destroy();
        if (before > 0) list.Create(before);
        unsigned int identifier = 0xABCD00U + static_cast<unsigned int>(index);
        CTSdwanRouter* router = list.Insert(identifier);
        ASSERT_EQ(router != nullptr, after > 0) << before << ' ' << index;
        if (!router) continue;
        EXPECT_EQ(router->GetIndex(), index);
        EXPECT_EQ(list.Count(), index + 1);
        EXPECT_EQ(list.Insert(identifier & 0xFF), router);
        EXPECT_EQ(list.Capacity(), after) << before << ' ' << index;
    }
}

}  // namespace
