#include <gtest/gtest.h>

#include <climits>
#include <map>

#include "sstp/p2p_connect.h"
#include "sstp/p2p_connect_list.h"
#include "sstp/sstp_port.h"
#include "tests/support/captured_output.h"
#include "tests/support/moved_clock.h"
#include "tests/support/udp_peer.h"

namespace {

const CTSockAddr kEndpoint("127.0.0.1", 4000);
const CTSockAddr kElsewhere("127.0.0.1", 4001);

// Heartbeats go into the queue of a closed port, where they are descriptors on loan.
class P2P : public testing::Test {
  protected:
    P2P() {
        CTSockAddr central("127.0.0.1", peer.Port());
        CapturedOutput([&] { conn.Open(central); });
        port.Attach(pool, conn);
        connect.SetIdentifier(0x107);
        connect.SetEndpointAddr(kEndpoint);
    }
    // When heartbeats were sent, the clock moving by single ticks, and the state each one led to.
    std::string SentWithin(int ms) {
        std::string sent;
        for (int i = 1; i <= ms; ++i) {
            int before = pool.GetLoans();
            clock.Advance(1);
            EXPECT_EQ(connect.HeartBeat(port), 0);
            if (pool.GetLoans() == before) continue;
            sent += std::to_string(i) + " " + CTP2PConnect::GetStatString(connect.GetStat()) + ", ";
        }
        return sent;
    }
    void Acknowledge() {
        CTXmitPkt ack(100);
        connect.HeartBeatAckDone(ack);
        EXPECT_TRUE(connect.IsConnect());
    }

    MovedClock clock{0xFFFFF000};  // the 32-bit tick wraps while the test runs
    UdpPeer peer;
    CTXmitPktPool pool{2048, 128};
    CTSstpConnect conn;
    CTSstpPort port;
    CTP2PConnect connect;
};

TEST_F(P2P, ProbesFiveTimesAndAgainAtANewAddress) {
    const std::string probes = "1 OFF, 201 OFF, 401 OFF, 601 OFF, 801 OFF, ";
    EXPECT_EQ(SentWithin(30000), probes);
    connect.SetEndpointAddr(kEndpoint);  // the same: nothing changes
    EXPECT_EQ(SentWithin(30000), "");
    connect.SetEndpointAddr(kElsewhere);
    EXPECT_EQ(SentWithin(30000), probes);
}

TEST_F(P2P, AnUnansweredPathGoesOnPendingOffAndIsProbedAgain) {
    EXPECT_EQ(SentWithin(1), "1 OFF, ");
    Acknowledge();
    EXPECT_EQ(SentWithin(20000), "20000 ON, ");
    Acknowledge();
    EXPECT_EQ(SentWithin(60000),
              "20000 ON, 20500 Pending, 21000 Pending, 21500 Pending, 22000 Pending, 22500 OFF, "
              "22700 OFF, 22900 OFF, 23100 OFF, 23300 OFF, 23500 OFF, ");
    Acknowledge();  // however late
    connect.SetEndpointAddr(kElsewhere);
    EXPECT_FALSE(connect.IsConnect());
}

TEST_F(P2P, AHeartbeatThatCannotBeQueuedCountsAsSent) {
    CTSstpPort never_opened;
    for (int i = 0; i < 5; ++i) {
        clock.Advance(200);
        EXPECT_EQ(connect.HeartBeat(never_opened), 0);
    }
    EXPECT_EQ(SentWithin(1000), "");
}

TEST_F(P2P, TheHeartbeatGoesToTheEndpointWithIdentifierAndTick) {
    clock.Set(0x21222324);
    connect.SetEndpointAddr(CTSockAddr("127.0.0.1", peer.Port()));
    connect.HeartBeat(port);
    CapturedOutput([&] {
        conn.SetRecvTimeout(20);
        port.Open(pool, conn);  // sends what is queued
        EXPECT_EQ(peer.Receive().Encode(), Hex("03 08 0000 0014 0000 ffffffff 00000107 21222324"));
        port.Close();
    });
}

// Slots up to the highest used one, and all.
std::pair<int, int> Table(CTP2pConnectList& list) {
    EXPECT_EQ(list.At(list.Count()), nullptr);
    EXPECT_EQ(list.IsFull(), list.Count() == list.Capacity());
    return {list.Count(), list.Capacity()};
}

TEST(P2PList, GrowsAsFarAsTheIndexNeedsUpToSixteen) {
    // From 4 slots by whole steps of 8, and by 4 where the index lies right at the capacity; one
    // step to index 12 would end right at it.
    const std::map<uint32_t, int> capacities = {{3, 4},   {4, 8},   {5, 12},
                                                {11, 12}, {12, 16}, {15, 16}};
    for (auto [index, capacity] : capacities) {
        SCOPED_TRACE(index);
        CTP2pConnectList list;
        EXPECT_EQ(Table(list), std::pair(0, 4));
        CTP2PConnect* connect = list.Insert(0x300 + index, kEndpoint);
        ASSERT_NE(connect, nullptr);
        EXPECT_EQ(list.GetConnect(0x400 + index), connect) << "the slot alone counts";
        for (uint32_t beyond : {16u, 17u, 255u, 0xFFFFFFFFu})
            EXPECT_EQ(list.Insert(beyond, kEndpoint), nullptr);
        EXPECT_EQ(Table(list), std::pair(static_cast<int>(index) + 1, capacity));
        EXPECT_EQ(list.Resize(INT_MAX), capacity < 16 ? 1 : 0);
        EXPECT_EQ(list.Capacity(), 16);
        list.Destroy();
        EXPECT_EQ(Table(list), std::pair(0, 0));
        ASSERT_NE(list.Insert(0x300, kEndpoint), nullptr);
        EXPECT_EQ(Table(list), std::pair(1, 8));
        EXPECT_EQ(list.Create(99), 1);
        EXPECT_EQ(Table(list), std::pair(0, 16));
    }
}

TEST(P2PList, InsertingAgainKeepsTheConnectionAndRemovingTrims) {
    CTP2pConnectList list;
    CTP2PConnect* connect = list.Insert(3, kEndpoint);
    CTXmitPkt ack(100);
    connect->HeartBeatAckDone(ack);
    EXPECT_EQ(list.Insert(0x203, kEndpoint), connect);
    EXPECT_TRUE(connect->IsConnect());
    EXPECT_EQ(list.Insert(0x203, kElsewhere), connect);
    EXPECT_FALSE(connect->IsConnect());
    connect->HeartBeatAckDone(ack);

    list.Insert(1, kEndpoint);
    EXPECT_EQ(list.FindIdle(), 0);
    const std::string line = "ident: 0x00000203, stat: ON, p2p addr: 127.0.0.1:4001\n";
    EXPECT_EQ(CapturedOutput([&] { list.Print(); }),
              "P2P connects:\n    1. NULL\n"
              "    2. ident: 0x00000001, stat: OFF, p2p addr: 127.0.0.1:4000\n    3. NULL\n"
              "    4. " +
                  line);
    EXPECT_EQ(CapturedOutput([&] { connect->Print(); }), line);
    EXPECT_STREQ(CTP2PConnect::GetStatString(7), "UnKnow");
    for (uint32_t index : {0u, 4u, 200u, 0xFFFFFFFFu})
        list.Remove(index);
    EXPECT_EQ(list.Count(), 4);
    list.Remove(3);
    EXPECT_EQ(list.Count(), 2);
    list.Insert(0, kEndpoint);
    EXPECT_EQ(list.FindIdle(), -1);
    list.Remove(1);
    EXPECT_EQ(list.Count(), 1);
}

}  // namespace
