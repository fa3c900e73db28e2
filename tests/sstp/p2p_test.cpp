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
        connect.HeartBeat(port);
        EXPECT_EQ(pool.GetLoans(), before) << "too early";
        clock.Advance(1);
        connect.HeartBeat(port);
        connect.HeartBeat(port);
        EXPECT_EQ(pool.GetLoans(), before + 1);
    }
    void ExpectSilence() {
        int before = pool.GetLoans();
        for (int i = 0; i < 1000; ++i) {
            clock.Advance(1000);
            connect.HeartBeat(port);
        }
        EXPECT_EQ(pool.GetLoans(), before);
    }
    void Acknowledge() {
        CTXmitPkt ack(100);
        connect.HeartBeatAckDone(ack);
    }
    void ExpectProbing() {
        for (int i = 0; i < 5; ++i)
            ExpectHeartbeatAfter(200);
        ExpectSilence();
        EXPECT_EQ(connect.GetStat(), CTP2PConnect::kOff);
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
    for (int i = 0; i < 4; ++i)
        ExpectHeartbeatAfter(200);
    ExpectSilence();
    connect.SetEndpointAddr(kEndpoint);  // the same: nothing changes
    ExpectSilence();
    connect.SetEndpointAddr(kElsewhere);
    connect.HeartBeat(port);
    for (int i = 0; i < 4; ++i)
        ExpectHeartbeatAfter(200);
    ExpectSilence();
}

TEST_F(P2P, AnUnansweredPathGoesOnPendingOffAndIsProbedAgain) {
    connect.HeartBeat(port);
    Acknowledge();
    EXPECT_TRUE(connect.IsConnect());
    ExpectHeartbeatAfter(20000);
    Acknowledge();
    ExpectHeartbeatAfter(20000);
    EXPECT_TRUE(connect.IsConnect());
    ExpectHeartbeatAfter(500);
    EXPECT_EQ(connect.GetStat(), CTP2PConnect::kPending);
    for (int i = 0; i < 3; ++i)
        ExpectHeartbeatAfter(500);
    EXPECT_EQ(connect.GetStat(), CTP2PConnect::kPending);
    ExpectHeartbeatAfter(500);
    EXPECT_EQ(connect.GetStat(), CTP2PConnect::kOff);
    ExpectProbing();
    Acknowledge();  // however late
    EXPECT_TRUE(connect.IsConnect());
    connect.SetEndpointAddr(kElsewhere);
    EXPECT_FALSE(connect.IsConnect());
}

TEST_F(P2P, TheHeartbeatGoesToTheEndpointWithIdentifierAndTick) {
    clock.Set(0x21222324);
    connect.SetEndpointAddr(CTSockAddr("127.0.0.1", peer.Port()));
    connect.HeartBeat(port);
    CapturedOutput([&] {
        port.Open(pool, conn);  // sends what is queued
        WireMessage heartbeat = peer.Receive();
        EXPECT_TRUE(heartbeat.Is(3, 8));
        EXPECT_EQ(heartbeat.dst, 0x107u);
        EXPECT_EQ(heartbeat.body, Hex("21222324"));
        port.Close();
    });
}

TEST_F(P2P, PrintsItsStateAndAddress) {
    std::string line = "ident: 0x00000107, stat: OFF, p2p addr: 127.0.0.1:4000\n";
    EXPECT_EQ(CapturedOutput([&] { EXPECT_EQ(connect.Print(), static_cast<int>(line.size())); }),
              line);
    EXPECT_STREQ(CTP2PConnect::GetStatString(1), "Pending");
    EXPECT_STREQ(CTP2PConnect::GetStatString(2), "ON");
    EXPECT_STREQ(CTP2PConnect::GetStatString(7), "UnKnow");
}

TEST(P2PList, GrowsAsFarAsTheIndexNeedsUpToSixteen) {
    CTP2pConnectList list;
    EXPECT_EQ(list.Capacity(), 4);
    ASSERT_NE(list.Insert(0x305, kEndpoint), nullptr);
    EXPECT_EQ(list.Capacity(), 12);
    EXPECT_EQ(list.Count(), 6);
    EXPECT_EQ(list.FindIdle(), 0);
    EXPECT_EQ(list.GetConnect(0x905), list.At(5));
    EXPECT_EQ(list.At(6), nullptr);

    CTP2pConnectList equal;
    ASSERT_NE(equal.Insert(4, kEndpoint), nullptr);
    EXPECT_EQ(equal.Capacity(), 8);
    CTP2pConnectList far;  // one growth step would end right at the index
    ASSERT_NE(far.Insert(12, kEndpoint), nullptr);
    EXPECT_EQ(far.Capacity(), 16);
    for (uint32_t index : {16u, 17u, 255u})
        EXPECT_EQ(far.Insert(index, kEndpoint), nullptr);
    EXPECT_EQ(CTP2pConnectList().Insert(16, kEndpoint), nullptr);

    far.Destroy();
    ASSERT_NE(far.Insert(0, kEndpoint), nullptr);
    EXPECT_EQ(far.Capacity(), 8);
}

TEST(P2PList, InsertingAgainKeepsTheConnectionAndRemovingTrims) {
    CTP2pConnectList list;
    CTP2PConnect* connect = list.Insert(3, kEndpoint);
    CTXmitPkt ack(100);
    connect->HeartBeatAckDone(ack);
    EXPECT_EQ(list.Insert(0x203, kEndpoint), connect);
    EXPECT_TRUE(connect->IsConnect());
    EXPECT_EQ(connect->GetIdentifier(), 0x203u);
    list.Insert(0x203, kElsewhere);
    EXPECT_FALSE(connect->IsConnect());

    list.Insert(1, kEndpoint);
    list.Remove(0);
    list.Remove(200);
    EXPECT_EQ(list.Count(), 4);
    list.Remove(3);
    EXPECT_EQ(list.Count(), 2);
    EXPECT_EQ(CapturedOutput([&] { list.Print(); }),
              "P2P connects:\n    1. NULL\n"
              "    2. ident: 0x00000001, stat: OFF, p2p addr: 127.0.0.1:4000\n");
    list.Remove(1);
    EXPECT_EQ(list.Count(), 0);
}

}  // namespace
