#include <gtest/gtest.h>

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
        CapturedOutput([&] {
            conn.Open(central);
            conn.SetRecvTimeout(20);
            port.Open(pool, conn);
            port.Close();
        });
        connect.SetIdentifier(0x107);
        connect.SetEndpointAddr(kEndpoint);
    }
    // Moves the clock to one tick before and then to the time, and expects one heartbeat there.
    void ExpectHeartbeatAfter(uint64_t ms) {
        int before = pool.GetLoans();
        clock.Advance(ms - 1);
        EXPECT_EQ(connect.HeartBeat(port), 0);
        EXPECT_EQ(pool.GetLoans(), before) << "too early";
        clock.Advance(1);
        connect.HeartBeat(port);
        connect.HeartBeat(port);
        EXPECT_EQ(pool.GetLoans(), before + 1);
    }
    // Five heartbeats, 200 ms apart, and then none.
    void ExpectProbing(int sent = 0) {
        for (int i = sent; i < 5; ++i)
            ExpectHeartbeatAfter(200);
        int before = pool.GetLoans();
        for (int i = 0; i < 100; ++i) {
            clock.Advance(1000);
            connect.HeartBeat(port);
        }
        EXPECT_EQ(pool.GetLoans(), before);
        EXPECT_EQ(connect.GetStat(), CTP2PConnect::kOff);
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
    connect.HeartBeat(port);
    EXPECT_EQ(pool.GetLoans(), 1);  // the first one at once
    ExpectProbing(1);
    connect.SetEndpointAddr(kEndpoint);  // the same: nothing changes
    ExpectProbing(5);
    connect.SetEndpointAddr(kElsewhere);
    connect.HeartBeat(port);
    ExpectProbing(1);
}

TEST_F(P2P, AnUnansweredPathGoesOnPendingOffAndIsProbedAgain) {
    connect.HeartBeat(port);
    Acknowledge();
    ExpectHeartbeatAfter(20000);
    Acknowledge();
    ExpectHeartbeatAfter(20000);
    EXPECT_EQ(connect.GetStat(), CTP2PConnect::kOn);
    for (int i = 2; i <= 5; ++i) {
        ExpectHeartbeatAfter(500);
        EXPECT_EQ(connect.GetStat(), CTP2PConnect::kPending) << i;
    }
    ExpectHeartbeatAfter(500);
    ExpectProbing();
    Acknowledge();  // however late
    connect.SetEndpointAddr(kElsewhere);
    EXPECT_FALSE(connect.IsConnect());
}

TEST_F(P2P, AHeartbeatThatCannotBeQueuedCountsAsSent) {
    CTSstpPort never_opened;
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(connect.HeartBeat(never_opened), 0);
        clock.Advance(200);
    }
    ExpectProbing(5);
}

TEST_F(P2P, TheHeartbeatGoesToTheEndpointWithIdentifierAndTick) {
    clock.Set(0x21222324);
    connect.SetEndpointAddr(CTSockAddr("127.0.0.1", peer.Port()));
    connect.HeartBeat(port);
    CapturedOutput([&] {
        port.Open(pool, conn);  // sends what is queued
        EXPECT_EQ(peer.Receive().Encode(), Hex("03 08 0000 0014 0000 ffffffff 00000107 21222324"));
        port.Close();
    });
}

TEST(P2PList, GrowsAsFarAsTheIndexNeedsUpToSixteen) {
    struct Growth {
        uint32_t identifier;
        int capacity, count;
    };
    // From 4 slots by whole steps of 8, and by 4 where the index lies right at the capacity; one
    // step to index 12 would end right at it.
    for (auto [identifier, capacity, count] : {Growth{0x303, 4, 4},
                                               {0x304, 8, 5},
                                               {0x305, 12, 6},
                                               {0x30b, 12, 12},
                                               {0x30c, 16, 13},
                                               {0x30f, 16, 16}}) {
        SCOPED_TRACE(identifier);
        CTP2pConnectList list;
        EXPECT_EQ(list.Capacity(), 4);
        CTP2PConnect* connect = list.Insert(identifier, kEndpoint);
        ASSERT_NE(connect, nullptr);
        EXPECT_EQ(list.Capacity(), capacity);
        EXPECT_EQ(list.Count(), count);
        EXPECT_EQ(list.IsFull(), count == capacity);
        EXPECT_EQ(list.GetConnect(identifier + 0x100), connect) << "the slot alone counts";
        EXPECT_EQ(list.At(count), nullptr);
        for (uint32_t index : {16u, 17u, 255u, 0xFFFFFFFFu})
            EXPECT_EQ(list.Insert(index, kEndpoint), nullptr);
        EXPECT_EQ(list.Count(), count);
        EXPECT_EQ(list.Resize(20), capacity < 16 ? 1 : 0);
        EXPECT_EQ(list.Capacity(), 16);
        list.Destroy();
        EXPECT_EQ(list.Count(), 0);
        ASSERT_NE(list.Insert(0x300, kEndpoint), nullptr);
        EXPECT_EQ(list.Capacity(), 8);
        EXPECT_EQ(list.Create(99), 1);
        EXPECT_EQ(list.Capacity(), 16);
        EXPECT_EQ(list.Count(), 0);
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
    EXPECT_EQ(CapturedOutput([&] { list.Print(); }),
              "P2P connects:\n    1. NULL\n"
              "    2. ident: 0x00000001, stat: OFF, p2p addr: 127.0.0.1:4000\n    3. NULL\n"
              "    4. ident: 0x00000203, stat: ON, p2p addr: 127.0.0.1:4001\n");
    EXPECT_STREQ(CTP2PConnect::GetStatString(1), "Pending");
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
