// The lists of routers and devices.

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "sstp/sstp_device_list.h"
#include "sstp/sstp_router_list.h"
#include "tests/support/captured_output.h"
#include "tests/support/wire_bytes.h"

namespace {

constexpr char kDevices[] =
    "0001 0002 0a010203 0211223344ff"
    "ffff fffe ffffffff aabbccddeeff";

// Records viewed in place: their print-out, and that copy(to, from) carries every field over to a
// fresh record.
template <typename List, typename Copy>
void ExpectRecords(const std::string& records, const std::string& print, Copy copy) {
    WireBytes wire = Hex(records);
    List list;
    ASSERT_TRUE(list.Attach(wire.data(), static_cast<int>(wire.size())));
    int length = 0;
    EXPECT_EQ(CapturedOutput([&] { length = list.Print(); }), print);
    EXPECT_EQ(length, static_cast<int>(print.size()));
    EXPECT_TRUE(list.IsEnd()) << "printing walks the list";
    List to;
    ASSERT_EQ(to.Create(list.GetCount()), 0);
    for (list.First(); !list.IsEnd(); list.Next()) {
        ASSERT_TRUE(to.Append());
        copy(to, list);
    }
    const uint8_t* at = static_cast<const uint8_t*>(to.GetDataPtr());
    EXPECT_EQ(WireBytes(at, at + to.GetDataLength()), wire);
    // Beyond the last record there is nothing to read or to write; the record before is written in
    // place, with the zeros that are read there.
    to.Next();
    copy(to, list);
    copy(list, to);
    EXPECT_EQ(wire, Hex(records));
    list.First();
    copy(list, to);
    EXPECT_EQ(wire[1], 0);
}

template <typename List>
int Appends(List& list) {
    int appended = 0;
    while (list.Append())
        ++appended;
    return appended;
}

TEST(ParamList, RouterRecords) {
    ExpectRecords<CTSstpGetRouterAckParamList>(
        "0001 0002 03 00 0782 c0a86364 00000a05 1a2b3c4d"
        "ffff fffe fd 00 ffff ffffffff ffffffff ffffffff",
        "GetRouterParam list: count: 2, length: 40\n"
        "serial:0x1A2B3C4D, ident: 2565, stat: 1, type: 2, layer: 3, "
        "ext addr: 192.168.99.100:1922\n"
        "serial:0xFFFFFFFF, ident: -1, stat: 65535, type: 65534, layer: 253, "
        "ext addr: 255.255.255.255:65535\n",
        [](CTSstpGetRouterAckParamList& to, const CTSstpGetRouterAckParamList& from) {
            CTSockAddr addr;
            EXPECT_EQ(from.GetExtSockaddr(addr), !from.IsEnd());
            to.SetExtSockAddr(addr);
            to.SetStat(from.GetStat());
            to.SetType(from.GetType());
            to.SetNetLayer(from.GetNetLayer());
            to.SetIdentifier(from.GetIdentifier());
            to.SetSerialNumber(from.GetSerialNumber());
        });
}

TEST(ParamList, DeviceRecords) {
    ExpectRecords<CTSstpGetDeviceAckParamList>(
        kDevices,
        "GetDeviceParam list: count: 2, length: 28\n"
        "IP: 10.1.2.3, MAC: 02:11:22:33:44:FF, stat: 1, type: 2\n"
        "IP: 255.255.255.255, MAC: AA:BB:CC:DD:EE:FF, stat: 65535, type: 65534\n",
        [](CTSstpGetDeviceAckParamList& to, const CTSstpGetDeviceAckParamList& from) {
            EXPECT_EQ(from.GetEtherAddr() == nullptr, from.IsEnd());
            to.SetStat(from.GetStat());
            to.SetType(from.GetType());
            to.SetIPv4Addr(from.GetIPvAddr());
            to.SetEtherAddr(from.GetEtherAddr());
            to.SetEtherAddr(nullptr);
        });
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
    devices.Destroy();
    EXPECT_EQ(devices.GetDataPtr(), nullptr);
    EXPECT_EQ(Appends(devices), 0);
    CTSstpGetRouterAckParamList routers;
    EXPECT_EQ(routers.Create(100), 0);
    EXPECT_EQ(Appends(routers), 40);
    EXPECT_DEATH(routers.Create(-1), "bad array length");
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
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_EQ(Appends(list), 0);
    EXPECT_EQ(list.Expand(INT_MAX), 0);
    EXPECT_EQ(Appends(list), 2);
    ASSERT_EQ(list.Create(10), 0);
    EXPECT_EQ(Appends(list), 2);
    EXPECT_EQ(wire, Hex(std::string(kDevices) + "0001"));
}

}  // namespace
