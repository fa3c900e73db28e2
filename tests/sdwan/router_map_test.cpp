#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <map>
#include <random>
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
    EXPECT_EQ(Printed(map), text);
    int written = 0;
    EXPECT_EQ(CapturedOutput([&] { written = map.Print(); }), text + "\n");
    EXPECT_EQ(written, static_cast<int>(text.size()) + 1);
}

TEST(RouterMap, AnEmptyOrDestroyedOneFindsNothingAndPrintsItsNewline) {
    CTIPv4RouterMap map;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(map.GetRouterIndex(0), -1);
        EXPECT_EQ(map.UnMap(7U) + map.UnMap(uint16_t{7}), 0);
        int written = 0;
        EXPECT_EQ(CapturedOutput([&] { written = map.Print(); }), "\n");
        EXPECT_EQ(written, 1);
        map.Destroy();
    }
    for (unsigned int ip = 0; ip < 64; ++ip)
        map.Map(ip, 1);
    EXPECT_EQ(map.Map(63, 2), 63);
    EXPECT_EQ(map.Capacity(), 64);
    EXPECT_EQ(map.Map(1000, 1), 64);
    EXPECT_EQ(map.Capacity(), 128);
}

TEST(RouterMap, AgreesWithAnOrderedMapUnderRandomOperations) {
    std::mt19937 random(1);
    auto below = [&random](uint32_t n) { return static_cast<uint32_t>(random()) % n; };
    CTIPv4RouterMap map;
    std::map<uint32_t, uint16_t> reference;
    for (int step = 0; step < 20000; ++step) {
        uint32_t ip = below(200) * 0x01480000;
        auto router = static_cast<uint16_t>(below(16));
        uint32_t action = below(100);
        if (action < 70) {
            auto entry = reference.try_emplace(ip, router).first;
            ASSERT_EQ(map.Map(ip, router), std::distance(reference.begin(), entry));
        } else if (action < 98) {
            reference.erase(ip);
            map.UnMap(ip);
        } else {
            std::erase_if(reference, [&](const auto& entry) { return entry.second == router; });
            map.UnMap(router);
        }
        ASSERT_EQ(map.Count(), static_cast<int>(reference.size()));
        uint32_t asked = below(200) * 0x01480000;
        auto found = reference.find(asked);
        ASSERT_EQ(map.GetRouterIndex(asked), found == reference.end() ? -1 : found->second);
    }
    for (const auto& [ip, router] : reference)
        ASSERT_EQ(map.GetRouterIndex(ip), router);
}

}  // namespace
