#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "sdwan/ipv4_router_map.h"
#include "tests/sdwan/printed.h"
#include "tests/support/captured_output.h"

namespace {

TEST(RouterMap, SortsUnsignedAndPrintsFromZero) {
    CTIPv4RouterMap map;
    EXPECT_EQ(map.Map(0xFFFFFFFF, 4), 0);
    EXPECT_EQ(map.Map(0x80000000, 3), 0);
    EXPECT_EQ(map.Map(0, 1), 0);
    EXPECT_EQ(map.Map(0x7FFFFFFF, 0xFFFF), 1);
    EXPECT_EQ(map.GetRouterIndex(0x7FFFFFFF), 0xFFFF);
    std::string text =
        "    0. ip=0.0.0.0, router=1\n"
        "    1. ip=127.255.255.255, router=65535\n"
        "    2. ip=128.0.0.0, router=3\n"
        "    3. ip=255.255.255.255, router=4\n";
    int written = 0;
    EXPECT_EQ(CapturedOutput([&] { written = map.Print(); }), text + "\n");
    EXPECT_EQ(written, static_cast<int>(text.size()) + 1);
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

TEST(RouterMap, ARoutersAddressesGoTogether) {
    CTIPv4RouterMap map;
    for (unsigned int ip : {5U, 2U, 9U, 1U, 7U, 3U})
        map.Map(ip, ip == 1 || ip == 7 ? 6 : 4);
    EXPECT_EQ(map.UnMap(uint16_t{4}), 0);
    EXPECT_EQ(Printed(map), "    0. ip=0.0.0.1, router=6\n    1. ip=0.0.0.7, router=6\n");
}

}  // namespace
