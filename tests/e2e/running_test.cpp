#include <gtest/gtest.h>

#include <algorithm>
#include <future>

#include "tests/support/captured_output.h"
#include "tests/support/counted_allocations.h"
#include "tests/support/expect_wire.h"
#include "tests/support/live_central_router.h"
#include "tests/support/scripted_router.h"
#include "tests/support/whole_edge.h"

namespace {

class Running : public testing::Test {
    OutputCapture output;
};

TEST_F(Running, CarriesPacketsBothWaysSplitAndWhole) {
    ScriptedRouter router;
    router.AddRouter(1, 0x2001, 4001);
    router.AddDevice(1, Ip(192, 168, 15, 21), 2);
    WholeEdge edge(router.Port());
    ASSERT_TRUE(edge.Start());
    for (size_t payload : {56u, 1364u, 1365u, 1480u}) {
        WireBytes packet = IPv4Packet(ScriptedRouter::kAssignedIp, Ip(192, 168, 15, 21), payload);
        edge.host.Write(packet);
        WireMessage first = router.WaitFor([&](const WireMessage& m) {
            return m.type == 5 && m.dst == 1 && m.frame_index == 0 &&
                   std::equal(packet.begin(), packet.begin() + 20, m.body.begin());
        });
        WireBytes carried = first.body;
        if (packet.size() + 16 > 1400) {
            EXPECT_EQ(first.frame_total, 2);
            WireMessage second = router.WaitFor([&](const WireMessage& m) {
                return m.type == 5 && m.frame_index == 1 && m.seq == first.seq;
            });
            carried.insert(carried.end(), second.body.begin(), second.body.end());
        }
        EXPECT_EQ(carried, packet);

        WireMessage arriving{.type = 5, .src = 1, .dst = ScriptedRouter::kIdentifier};
        arriving.body = IPv4Packet(Ip(192, 168, 15, 21), ScriptedRouter::kAssignedIp, payload, 9);
        router.Send(arriving);
        EXPECT_EQ(*edge.host.Read(), arriving.body);
    }
    edge.Stop();
    EXPECT_EQ(edge.sys.GetPool().GetLoans(), 0);
}

// In bursts and alone, whole and split, both ways.
TEST_F(Running, KeepsTheOrderAndAllocatesNothingForAPacket) {
    ScriptedRouter router;
    const uint32_t peer = Ip(192, 168, 15, 21);
    router.AddRouter(1, 0x2001, 4001);
    router.AddDevice(1, peer, 2);
    CountedAllocations allocations;
    WholeEdge edge(router.Port());
    ASSERT_TRUE(edge.Start());
    constexpr int kPackets = 1000;
    long before = 0;
    uint8_t number = 0;
    int arrived = 0;
    for (int sent = 0; sent < 2 * kPackets;) {
        if (sent <= kPackets) before = allocations.Get();  // of the first half: to a steady state
        std::vector<WireBytes> group;
        for (int n = sent % 3 == 0 ? 7 : 1; n > 0; --n)
            group.push_back(
                IPv4Packet(ScriptedRouter::kAssignedIp, peer, n % 4 == 3 ? 1480 : 56, ++number));
        for (const WireBytes& packet : group)
            edge.host.Write(packet);
        for (const WireBytes& packet : group) {
            WireMessage message = router.WaitFor([left = arrived](const WireMessage& m) mutable {
                return m.type == 5 && m.frame_index == 0 && left-- == 0;
            });
            ++arrived;
            ASSERT_GT(message.body.size(), 25u);
            ASSERT_EQ(message.body[25], packet[25]) << "the number in it";
        }
        for (WireBytes& packet : group) {
            WireMessage arriving{.type = 5, .src = 1, .dst = ScriptedRouter::kIdentifier};
            arriving.body = packet;
            router.Send(arriving);
        }
        for (const WireBytes& packet : group)
            ASSERT_EQ(*edge.host.Read(), packet);
        sent += static_cast<int>(group.size());
    }
    // The heartbeats' in this time.
    EXPECT_LT(allocations.Get() - before, kPackets / 10);
}

TEST_F(Running, StartsAndStopsFiftyTimesWithoutAThreadOrDescriptorLeft) {
    ScriptedRouter router;
    int threads = CountThreads();
    int descriptors = CountDescriptors();
    for (int i = 0; i < 50; ++i) {
        WholeEdge edge(router.Port());
        ASSERT_TRUE(edge.Start());
        edge.host.Write(IPv4Packet(ScriptedRouter::kAssignedIp, ScriptedRouter::kGateway, 100));
        edge.Stop();
        ASSERT_EQ(edge.sys.GetPool().GetLoans(), 0);
    }
    EXPECT_EQ(CountThreads(), threads);
    EXPECT_EQ(CountDescriptors(), descriptors);
}

TEST_F(Running, ThreeEdgesThatStartTogetherLearnOfEachOther) {
    LiveCentralRouter central;
    WholeEdge a(central.Port(), 0xA, "192.168.15.11");
    WholeEdge b(central.Port(), 0xB, "192.168.15.12");
    WholeEdge c(central.Port(), 0xC, "192.168.15.13");
    WholeEdge* edges[] = {&a, &b, &c};
    std::vector<std::future<bool>> starts;
    for (WholeEdge* edge : edges)
        starts.push_back(std::async(std::launch::async, [=] { return edge->Start(); }));
    for (std::future<bool>& start : starts)
        ASSERT_TRUE(start.get());

    const uint32_t addrs[] = {Ip(192, 168, 15, 11), Ip(192, 168, 15, 12), Ip(192, 168, 15, 13)};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            EXPECT_TRUE(i == j || edges[i]->Knows(addrs[j])) << i << " of " << j;
        }
    }
    // Its own packet first: the central router passes nothing to an edge that may still be joining.
    WireBytes ping = PingPacket(addrs[2], Ip(192, 168, 15, 5), 1472);
    c.host.Write(ping);
    std::optional<WireBytes> pong = c.host.Read();
    ASSERT_TRUE(pong);
    EXPECT_EQ(At8(*pong, 20), 0u);  // echo reply
    EXPECT_EQ(At32(*pong, 16), addrs[2]);
    EXPECT_EQ(ChecksumOf(*pong, 20, pong->size()), 0);

    WireBytes packet = IPv4Packet(addrs[0], addrs[2], 1480);
    a.host.Write(packet);
    EXPECT_EQ(c.host.Read(), packet);

    c.Stop();
    EXPECT_TRUE(a.Forgets(addrs[2]));
    EXPECT_TRUE(b.Forgets(addrs[2]));
    EXPECT_TRUE(a.Knows(addrs[1]));
    b.Stop();
    a.Stop();
}

}  // namespace
