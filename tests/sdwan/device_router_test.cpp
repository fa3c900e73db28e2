#include <gtest/gtest.h>

#include <string>

#include "sdwan/sdwan_router_list.h"
#include "tests/sdwan/printed.h"
#include "tests/support/captured_output.h"

namespace {

constexpr unsigned char kMac[] = {0x02, 0, 0, 0, 0, 0x01};
constexpr unsigned char kOtherMac[] = {0x02, 0, 0, 0, 0, 0xAB};
constexpr const unsigned char* kNoMac = nullptr;
const std::string kFreshRouter = ": ident=0x0000ffff, index=255, sn=0x00000000, sstp: 0.0.0.0:0\n";

TEST(Device, PrintsItsAddressesAndTheNamesOfItsCodes) {
    CTSdwanDevice device;
    EXPECT_EQ(Printed(device), "2.2.2.2, 00:00:00:00:00:00, idle(2), ipv4(1)");
    device.SetStatus(0);
    device.SetType(2);
    EXPECT_EQ(Printed(device), "2.2.2.2, 00:00:00:00:00:00, off(0), ipv6(2)");
    device.SetStatus(3);
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
}

TEST(DeviceList, RemovesByMacAndPrintsHolesAndIgnoresWhatIsNotThere) {
    CTSdwanDeviceList list;
    for (unsigned int ip = 1; ip <= 4; ++ip)
        list.Append(ip, ip == 2 ? kOtherMac : kMac);
    EXPECT_EQ(list.Find(kMac), 0);
    EXPECT_EQ(list.Delete(kOtherMac) + list.Delete(4U), 0);
    EXPECT_EQ(list.Delete(kNoMac) + list.Remove(-1) + list.Remove(3) + list.Remove(8), 0);
    EXPECT_EQ(Printed(list),
              "        1. 0.0.0.1, 02:00:00:00:00:01, on(1), ipv4(1)\n"
              "        2. NULL\n"
              "        3. 0.0.0.3, 02:00:00:00:00:01, on(1), ipv4(1)\n");
}

TEST(SlotTables, NeverCountMoreThanTheyHaveNorCutOffWhatTheyHold) {
    CTSdwanDeviceList devices;
    for (unsigned int ip = 1; ip <= 5; ++ip)
        devices.Append(ip, kMac);
    EXPECT_EQ(devices.Create(3), 1);
    EXPECT_EQ(devices.Count(), 3);
    EXPECT_EQ(devices.Find(5U), -1);
    devices.Destroy();
    EXPECT_NE(devices.Append(1, kMac), nullptr);
    CTSdwanRouterList routers;
    routers.Insert(3);
    EXPECT_EQ(routers.Resize(-1), 0);
    EXPECT_EQ(routers.Resize(2147483647), 1);
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

TEST(Router, PrintsItsLabelUpTo32CharactersAndTheIdentifiersLowByte) {
    CTSdwanRouter router;
    EXPECT_TRUE(router.IsIdle());
    EXPECT_EQ(router.GetNetLayer(), 2);
    EXPECT_EQ(Printed(router), kFreshRouter);
    std::string full(32, 'L');
    router.SetLabel((full + "tail").c_str());
    router.SetLabel(nullptr);
    router.SetIndex(9);
    router.SetIdentifier(0x00012A03);
    router.SetSerialNumber(0xBEEF);
    router.SetSstpAddr(CTSockAddr("10.1.2.3", 1922));
    router.AppendDevice(0xC0A80F02, kMac);
    std::string device = "        1. 192.168.15.2, 02:00:00:00:00:01, on(1), ipv4(1)\n";
    std::string text =
        full + ": ident=0x00012a03, index=3, sn=0x0000beef, sstp: 10.1.2.3:1922\n" + device;
    int length = 0;
    EXPECT_EQ(CapturedOutput([&] { length = router.Print(); }), text + "\n");
    EXPECT_EQ(length, static_cast<int>(text.size()));
    // The values go back, the devices stay.
    EXPECT_EQ(router.Init(), 0);
    EXPECT_EQ(Printed(router), kFreshRouter + device);
}

// The capacity after Insert of the slot into a list of the given capacity; -1 when refused.
int CapacityAfterInsert(int capacity, unsigned int slot) {
    CTSdwanRouterList list;
    if (capacity > 0) list.Create(capacity);
    if (capacity == 0) list.Destroy();
    CTSdwanRouter* router = list.Insert(0xABCD00 + slot);
    if (!router) return -1;
    EXPECT_EQ(router->GetIndex(), static_cast<int>(slot));
    EXPECT_EQ(list.Count(), static_cast<int>(slot) + 1);
    EXPECT_EQ(list.Insert(slot), router);
    return list.Capacity();
}

TEST(RouterList, InsertGrowsByItsOwnRuleAndNeverPastTheMaximum) {
    EXPECT_EQ(CapacityAfterInsert(0, 0), 8);
    EXPECT_EQ(CapacityAfterInsert(0, 8), 12);
    EXPECT_EQ(CapacityAfterInsert(4, 4), 8);
    EXPECT_EQ(CapacityAfterInsert(4, 11), 12);
    EXPECT_EQ(CapacityAfterInsert(4, 12), -1);
    EXPECT_EQ(CapacityAfterInsert(4, 13), 16);
    for (int capacity : {0, 4, 8, 16})
        EXPECT_EQ(CapacityAfterInsert(capacity, 16), -1);
}

}  // namespace
