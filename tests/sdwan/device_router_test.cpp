#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <tuple>

#include "sdwan/ipv4_router_map.h"
#include "sdwan/sdwan_router_list.h"
#include "tests/sdwan/printed.h"

namespace {

constexpr unsigned char kMac[] = {0x02, 0, 0, 0, 0, 0x01};
constexpr unsigned char kOtherMac[] = {0x02, 0, 0, 0, 0, 0xAB};
constexpr unsigned char kZeroMac[] = {0, 0, 0, 0, 0, 0};
constexpr const unsigned char* kNoMac = nullptr;

TEST(Device, PrintsItsAddressesAndTheNamesOfItsCodes) {
    CTSdwanDevice device;
    std::string lines = Printed(device) + '\n';
    for (uint16_t code : std::initializer_list<uint16_t>{0, 1, 2, 3, 65535}) {
        device.SetStatus(code);
        device.SetType(code);
        lines += Printed(device) + '\n';
    }
    EXPECT_EQ(lines,
              "2.2.2.2, 00:00:00:00:00:00, idle(2), ipv4(1)\n"
              "2.2.2.2, 00:00:00:00:00:00, off(0), unknow(0)\n"
              "2.2.2.2, 00:00:00:00:00:00, on(1), ipv4(1)\n"
              "2.2.2.2, 00:00:00:00:00:00, idle(2), ipv6(2)\n"
              "2.2.2.2, 00:00:00:00:00:00, unknow(3), echo(3)\n"
              "2.2.2.2, 00:00:00:00:00:00, unknow(65535), unknow(65535)\n");
}

TEST(DeviceList, TakesEightDevicesAndARepeatedOneAsItIsAndPrintsHoles) {
    CTSdwanDeviceList list;
    for (const unsigned char* mac : {kMac, kOtherMac, kZeroMac, kMac, kNoMac, kNoMac, kMac, kMac})
        list.Append(static_cast<unsigned int>(list.Count()) + 1, mac);
    EXPECT_EQ(list.Append(9, kMac), nullptr);
    list.At(0)->SetStatus(0);
    EXPECT_EQ(list.Append(1, kOtherMac), list.At(0));
    // A random MAC for each that came without.
    EXPECT_EQ(list.At(4)->GetEtherAddr().GetBytes()[0] & 0x03, 0x02);
    EXPECT_FALSE(list.At(4)->GetEtherAddr() == list.At(5)->GetEtherAddr());

    EXPECT_EQ(list.Find(kMac), 0);
    for (unsigned int ip : {4U, 5U, 6U, 7U, 8U, 9U})
        EXPECT_EQ(list.Delete(ip), 0);
    EXPECT_EQ(list.Delete(kOtherMac) + list.Delete(kNoMac) + list.Remove(-1) + list.Remove(8), 0);
    EXPECT_EQ(Printed(list),
              "        1. 0.0.0.1, 02:00:00:00:00:01, off(0), ipv4(1)\n"
              "        2. NULL\n"
              "        3. 0.0.0.3, 00:00:00:00:00:00, on(1), ipv4(1)\n");
    list.Reset();
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(list.Capacity(), 8);
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
    EXPECT_EQ(Printed(router, "\n"),
              full + ": ident=0x00012a03, index=3, sn=0x0000beef, sstp: 10.1.2.3:1922\n" + device);
    // The values go back to a new router's, the devices stay.
    EXPECT_EQ(router.Init(), 0);
    EXPECT_EQ(Printed(router, "\n"),
              ": ident=0x0000ffff, index=255, sn=0x00000000, sstp: 0.0.0.0:0\n" + device);
    EXPECT_TRUE(router.IsIdle() && router.GetType() == 0 && router.GetNetLayer() == 2);
    EXPECT_EQ(std::string(router.GetUserName()) + router.GetUserPwd(), "");
}

TEST(Tables, AreCreatedGrownAndCutEachByItsRule) {
    CTSdwanDeviceList devices;
    CTSdwanRouterList routers;
    CTIPv4RouterMap map;
    for (auto [n, device_slots, router_slots, entries] :
         {std::tuple(9, 8, 9, 9), {17, 8, 16, 17}, {1, 1, 1, 1}, {0, 0, 8, 64}, {-1, 0, 8, 64}}) {
        routers.Append(1);
        map.Map(1, 1);
        EXPECT_EQ(devices.Create(n), n < 0 ? 0 : 1);
        EXPECT_EQ(routers.Create(n) + map.Create(n), 2);
        EXPECT_EQ(std::tuple(devices.Capacity(), routers.Capacity(), map.Capacity()),
                  std::tuple(device_slots, router_slots, entries));
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
    struct {
        int before;  // slots; 0 for none
        int index;
        int after;  // slots; 0 where it is refused
    } const kInserts[] = {{0, 0, 8},  {0, 5, 8},   {0, 8, 12},  {0, 16, 0},
                          {4, 4, 8},  {4, 11, 12}, {4, 12, 0},  {4, 13, 16},
                          {4, 16, 0}, {8, 16, 0},  {16, 16, 0}, {16, 255, 0}};
    for (const auto& i : kInserts) {
        SCOPED_TRACE(std::to_string(i.before) + ' ' + std::to_string(i.index));
        CTSdwanRouterList list;
        list.Destroy();
        if (i.before > 0) list.Create(i.before);
        unsigned int identifier = 0xABCD00U + static_cast<unsigned int>(i.index);
        CTSdwanRouter* router = list.Insert(identifier);
        ASSERT_EQ(router != nullptr, i.after > 0);
        if (!router) continue;
        EXPECT_EQ(router->GetIndex(), i.index);
        EXPECT_EQ(list.Count(), i.index + 1);
        EXPECT_EQ(list.Insert(identifier & 0xFF), router);
        EXPECT_EQ(list.Capacity(), i.after);
    }
}

TEST(RouterMap, SortsUnsignedPrintsFromZeroAndForgetsAWholeRouter) {
    CTIPv4RouterMap map;
    EXPECT_EQ(map.Map(0xFFFFFFFF, 4), 0);
    EXPECT_EQ(map.Map(0x80000000, 3), 0);
    EXPECT_EQ(map.Map(0, 4), 0);
    EXPECT_EQ(map.Map(0x7FFFFFFF, 0xFFFF), 1);
    EXPECT_EQ(map.GetRouterIndex(0x7FFFFFFF), 0xFFFF);
    EXPECT_TRUE(map.IsValidIndex(0) && map.IsValidIndex(3));
    EXPECT_FALSE(map.IsValidIndex(-1) || map.IsValidIndex(4));
    EXPECT_EQ(Printed(map),
              "    0. ip=0.0.0.0, router=4\n"
              "    1. ip=127.255.255.255, router=65535\n"
              "    2. ip=128.0.0.0, router=3\n"
              "    3. ip=255.255.255.255, router=4\n");
    EXPECT_EQ(map.UnMap(uint16_t{4}), 0);
    std::string rest = "    0. ip=127.255.255.255, router=65535\n    1. ip=128.0.0.0, router=3\n";
    EXPECT_EQ(CapturedOutput([&] { EXPECT_EQ(map.Print(), rest.size() + 1); }), rest + '\n');
}

TEST(RouterMap, AnEmptyOrDestroyedOneFindsNothingAndGrowsBy64) {
    CTIPv4RouterMap map;
    for (int capacity : {64, 0}) {
        EXPECT_EQ(map.Capacity(), capacity);
        EXPECT_EQ(map.GetRouterIndex(0), -1);
        EXPECT_EQ(map.UnMap(7U) + map.UnMap(uint16_t{7}), 0);
        EXPECT_EQ(CapturedOutput([&] { EXPECT_EQ(map.Print(), 1); }), "\n");
        map.Destroy();
    }
    for (int ip = 0; ip < 129; ++ip) {
        EXPECT_EQ(map.Map(static_cast<unsigned int>(ip), 1), ip);
        EXPECT_EQ(map.Map(static_cast<unsigned int>(ip), 2), ip);
        EXPECT_EQ(map.Capacity(), ip / 64 * 64 + 64);
    }
}

}  // namespace
