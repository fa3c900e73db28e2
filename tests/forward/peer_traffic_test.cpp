#include "forward/peer_traffic.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

TEST(PeerTraffic, CountsRunsByThePeerAndPutsStrangersTogether) {
    CTPeerTraffic traffic;
    {
        CTPeerTraffic::Run run(traffic.Sent());
        run.Add(1, 100);
        run.Add(1, 50);
        run.Add(0x20F, 7);  // slot 15 of another subnet index
        run.Add(0xFFFFFFFF, 84);
        run.Add(16, 1);
        run.Add(1, 1);
        EXPECT_EQ(traffic.Get(1).sent.packets, 2u) << "the last run is not over";
    }
    EXPECT_EQ(traffic.Get(1).sent.packets, 3u);
    EXPECT_EQ(traffic.Get(1).sent.bytes, 151u);
    EXPECT_EQ(traffic.Get(1).received.packets, 0u);
    EXPECT_EQ(traffic.Get(15).sent.bytes, 7u);
    EXPECT_EQ(traffic.Get(CTPeerTraffic::kOther).sent.packets, 2u);
    EXPECT_EQ(traffic.Get(CTPeerTraffic::kOther).sent.bytes, 85u);
}

TEST(PeerTraffic, ASlotBeginsAnewWithAnotherEdgeOnly) {
    CTPeerTraffic traffic;
    traffic.Sent().Add(3, 1, 60);
    traffic.Assign(0x103, 0);  // what came before the edge was known is not its own
    EXPECT_EQ(traffic.Get(3).sent.packets, 0u);
    traffic.Sent().Add(3, 2, 120);
    traffic.Received().Add(3, 4, 400);
    traffic.Assign(0x103, 0);
    EXPECT_EQ(traffic.Get(3).sent.packets, 2u);
    EXPECT_EQ(traffic.Get(3).received.bytes, 400u);
    traffic.Assign(0x103, 7);
    EXPECT_EQ(traffic.Get(3).sent.bytes, 0u);
    EXPECT_EQ(traffic.Get(3).received.packets, 0u);
    traffic.Received().Add(3, 1, 20);
    EXPECT_EQ(traffic.Get(3).received.bytes, 20u);
    traffic.Assign(0xFFFFFFFF, 9);
}

// Two threads count, one reads and hands the slot on: nothing that was counted is lost.
TEST(PeerTraffic, IsReadWhileItIsCounted) {
    CTPeerTraffic traffic;
    constexpr int kPackets = 100000;
    auto count = [](CTPeerTraffic::Direction& direction) {
        for (int i = 0; i < kPackets; i += 10) {
            CTPeerTraffic::Run run(direction);
            for (int n = 0; n < 10; ++n)
                run.Add(5, 2);
        }
    };
    std::thread sender([&] { count(traffic.Sent()); });
    std::thread receiver([&] { count(traffic.Received()); });
    uint64_t seen = 0;
    while (traffic.Get(5).sent.packets < kPackets || traffic.Get(5).received.packets < kPackets) {
        uint64_t now = traffic.Get(5).sent.packets;
        EXPECT_GE(now, seen);
        seen = now;
    }
    sender.join();
    receiver.join();
    EXPECT_EQ(traffic.Get(5).sent.bytes, 2u * kPackets);
    EXPECT_EQ(traffic.Get(5).received.bytes, 2u * kPackets);
}

}  // namespace
