// The lists of routers and devices.

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "sstp/sstp_device_list.h"
#include "sstp/sstp_router_list.h"
#include "tests/support/captured_output.h"
#include "tests/support/wire_bytes.h"

namespace {

constexpr char kRouters[] =
    "0001 0002 03 00 0782 c0a86364 00000a05 1a2b3c4d"
    "ffff fffe fd 00 ffff ffffffff ffffffff ffffffff";
constexpr char kDevices[] =
    "0001 0002 0a010203 0211223344ff"
    "ffff fffe ffffffff aabbccddeeff";

const uint8_t kMac[] = {0x02, 0x11, 0x22, 0x33, 0x44, 0xff};

// A list built from another's records through getters and setters, then its bytes.
template <typename List, typename Copy>
WireBytes CopiedBytes(List& from, Copy copy) {
    List to;
    EXPECT_EQ(to.Create(from.GetCount()), 0);
    for (from.First(); !from.IsEnd(); from.Next()) {
        EXPECT_TRUE(to.Append());
        copy(to);
    }
    const uint8_t* at = static_cast<const uint8_t*>(to.GetDataPtr());
    return {at, at + to.GetDataLength()};
}

// The print-out, with its length as its result.
template <typename List>
std::string PrintOut(List& list) {
    int length = 0;
    std::string printed = CapturedOutput([&] { length = list.Print(); });
    EXPECT_EQ(length, static_cast<int>(printed.size()));
    EXPECT_TRUE(list.IsEnd()) << "printing walks the list";
    return printed;
}

template <typename List>
int Appends(List& list) {
    int appended = 0;
    while (list.Append())
        ++appended;
    return appended;
}

TEST(RouterList, RecordsLieAsOnTheWire) {
    WireBytes wire = Hex(kRouters);
    CTSstpGetRouterAckParamList list;
    ASSERT_TRUE(list.Attach(wire.data(), static_cast<int>(wire.size())));
    EXPECT_EQ(PrintOut(list),
              "GetRouterParam list: count: 2, length: 40\n"
              "serial:0x1A2B3C4D, ident: 2565, stat: 1, type: 2, layer: 3, "
              "ext addr: 192.168.99.100:1922\n"
              "serial:0xFFFFFFFF, ident: -1, stat: 65535, type: 65534, layer: 253, "
              "ext addr: 255.255.255.255:65535\n");
    EXPECT_EQ(CopiedBytes(list,
                          [&](CTSstpGetRouterAckParamList& to) {
                              CTSockAddr addr;
                              EXPECT_TRUE(list.GetExtSockaddr(addr));
                              to.SetExtSockAddr(addr);
                              to.SetStat(list.GetStat());
                              to.SetType(list.GetType());
                              to.SetNetLayer(list.GetNetLayer());
                              to.SetIdentifier(list.GetIdentifier());
                              to.SetSerialNumber(list.GetSerialNumber());
                          }),
              wire);
}

TEST(DeviceList, RecordsLieAsOnTheWire) {
    WireBytes wire = Hex(kDevices);
    CTSstpGetDeviceAckParamList list;
    ASSERT_TRUE(list.Attach(wire.data(), static_cast<int>(wire.size())));
    EXPECT_EQ(PrintOut(list),
              "GetDeviceParam list: count: 2, length: 28\n"
              "IP: 10.1.2.3, MAC: 02:11:22:33:44:FF, stat: 1, type: 2\n"
              "IP: 255.255.255.255, MAC: AA:BB:CC:DD:EE:FF, stat: 65535, type: 65534\n");
    EXPECT_EQ(CopiedBytes(list,
                          [&](CTSstpGetDeviceAckParamList& to) {
                              to.SetStat(list.GetStat());
                              to.SetType(list.GetType());
                              to.SetIPv4Addr(list.GetIPvAddr());
                              to.SetEtherAddr(list.GetEtherAddr());
                              to.SetEtherAddr(nullptr);
                          }),
              wire);
    // Attached records are written in place.
    list.First();
    list.SetIPv4Addr(0x0a010204);
    EXPECT_EQ(wire[7], 4);
}

TEST(ParamList, NothingIsReadOrWrittenBeyondTheLastRecord) {
    CTSstpGetDeviceAckParamList devices;
    CTSstpGetRouterAckParamList routers;
    EXPECT_EQ(PrintOut(devices), "GetDeviceParam list: count: 0, length: 0\n");
    ASSERT_EQ(devices.Create(1), 0);
    ASSERT_EQ(routers.Create(1), 0);
    devices.Append();
    devices.Next();
    devices.SetStat(1);
    devices.SetEtherAddr(kMac);
    EXPECT_EQ(devices.GetStat(), 0);
    EXPECT_EQ(devices.GetIPvAddr(), 0u);
    EXPECT_EQ(devices.GetEtherAddr(), nullptr);
    CTSockAddr addr("10.1.2.3", 4);
    routers.SetExtSockAddr(addr);
    EXPECT_FALSE(routers.GetExtSockaddr(addr));
    EXPECT_EQ(addr.GetPort(), 4);
    EXPECT_EQ(routers.GetNetLayer(), 0);
}

TEST(ParamList, GrowsToItsCreatedCapacityAndNoFurther) {
    CTSstpGetDeviceAckParamList devices;
    EXPECT_EQ(devices.Expand(8), 1);
    EXPECT_EQ(Appends(devices), 0) << "not before Create";
    EXPECT_EQ(devices.Create(10), 0);
    EXPECT_EQ(Appends(devices), 10);
    EXPECT_EQ(devices.GetCount(), 10);
    EXPECT_EQ(devices.Expand(8), 1);
    // Again: a new and empty array, with the default maximum as its only limit.
    EXPECT_EQ(devices.Create(960), 0);
    EXPECT_EQ(devices.GetDataLength(), 0);
    EXPECT_EQ(Appends(devices), 64);
    CTSstpGetRouterAckParamList routers;
    EXPECT_EQ(routers.Create(100), 0);
    EXPECT_EQ(Appends(routers), 40);
}

// The number of borrowed records stays the maximum, and once they are given up the list can grow
// into it.
TEST(ParamList, ViewsWholeRecordsAndRemembersTheirNumber) {
    WireBytes wire = Hex(std::string(kDevices) + "0001");
    CTSstpGetDeviceAckParamList list;
    EXPECT_FALSE(list.Attach(nullptr, 30));
    EXPECT_FALSE(list.Attach(wire.data(), 0));
    ASSERT_EQ(list.Create(3), 0);
    ASSERT_TRUE(list.Attach(wire.data(), 30));
    EXPECT_EQ(list.GetCount(), 2);
    EXPECT_EQ(Appends(list), 0);
    EXPECT_EQ(list.Expand(8), 1);
    list.Destroy();
    EXPECT_EQ(list.GetDataPtr(), wire.data());
    EXPECT_TRUE(list.IsEnd());
    EXPECT_EQ(Appends(list), 0);
    EXPECT_EQ(list.Expand(INT_MAX), 0);
    EXPECT_EQ(Appends(list), 2);
    ASSERT_EQ(list.Create(10), 0);
    EXPECT_EQ(Appends(list), 2);
    EXPECT_EQ(wire, Hex(std::string(kDevices) + "0001"));
}

TEST(ParamListDeathTest, ANegativeSizeAborts) {
    CTSstpGetDeviceAckParamList list;
    EXPECT_DEATH(list.Create(-1), "bad array length");
}

}  // namespace
