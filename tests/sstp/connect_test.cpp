#include "sstp/sstp_connect.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <fstream>
#include <functional>
#include <thread>

#include "sstp/sstp_device_list.h"
#include "sstp/sstp_error.h"
#include "tests/support/captured_output.h"
#include "tests/support/udp_peer.h"
#include "tests/support/whole_edge.h"

namespace {

using C = CTSstpConnect;

WireMessage Request(uint8_t sub, uint16_t seq, uint32_t src, const std::string& body = "") {
    return {3, sub, seq, 0, 0, src, kWireCentral, Hex(body)};
}

// One command operation: what it sends, and what that is answered with.
struct Step {
    uint8_t sub;
    std::function<int(C&)> run;
    std::string body, answer;
};

const std::string kNet = "6e6574 0000000000 000000000000000000000000 000000000000000000000000";
const std::string kUser = "75736572 00000000 000000000000000000000000 000000000000000000000000";

const uint32_t kAddr = htonl(0x0a000001);

int AddDevice(C& conn) {
    CTSstpGetDeviceAckParamList list;
    EXPECT_EQ(list.Create(1), 0);
    EXPECT_TRUE(list.Append());
    list.SetIPv4Addr(0x0a000001);
    return C::SstpAddDevice(conn, list);
}

// All of them, in the order of a join and a leave.
const Step kSteps[] = {
    {2, C::SstpEcho, "", ""},
    {3, [](C& c) { return C::SstpLogin(c, "net", "user", "net", 0x12345678, 0x105); },
     kNet + kUser + kNet + "12345678 00000105", "00000000 00000203"},
    {5, [](C& c) { return C::SstpDhcp(c, 0x0a000001, Hex("021122334455").data()); },
     "0a000001 021122334455 0000", "00000001 00000000 00000000 00000000"},  // an error, not read
    {6, [](C& c) { return C::SstpSubnet(c, "net"); }, kNet, kNet + "0a000001 ffffff00"},
    {10, [](C& c) { return C::SstpAddRouter(c, "net", 0xabcd, 2, 3); },
     "0002 03 00 00000203 0000abcd 00000000 00000000" + kNet, "00000000"},
    {16, AddDevice, "00000203 0000 0000 0a000001 000000000000", ""},
    {17, [](C& c) { return C::SstpDelDevice(c, &kAddr, 1); }, "00000203 0a000001", ""},
    {4, C::SstpLogout, "", ""},
};

// What the central router will answer waits in the edge's socket before the edge asks.
class Connect : public testing::Test {
  protected:
    Connect() : central("127.0.0.1", peer.Port()) {
        std::string printed = CapturedOutput([&] {
            EXPECT_TRUE(conn.Open(central));
            conn.SetRecvTimeout(5000);
        });
        EXPECT_EQ(printed, "CTUdp set rect timeout: 200\nCTUdp set rect timeout: 5000\n");
        // The socket has no port before it sends.
        CTSstpMessage hello(0);
        hello.SetType(3);
        hello.SetSeq(500);
        conn.Write(central, hello);
        peer.Receive();
    }

    UdpPeer peer;
    CTSockAddr central;
    CTSstpConnect conn;
};

TEST_F(Connect, EachCommandSendsItsRequestAndSucceedsWithItsReply) {
    uint16_t seq = 0;
    for (const Step& step : kSteps) {
        WireMessage request = Request(step.sub, seq, seq < 2 ? kWireCentral : 0x203, step.body);
        ++seq;
        peer.Reply(request.Reply(Hex(step.answer)));
        CapturedOutput([&] { EXPECT_EQ(step.run(conn), 0); });
        EXPECT_EQ(peer.Receive().Encode(), request.Encode());
    }
    EXPECT_EQ(conn.GetIdentifier(), 0x203u) << "a logout does not reset it";
}

TEST_F(Connect, EachCommandFailsAfterThreeUnansweredSends) {
    CapturedOutput([&] { conn.SetRecvTimeout(5); });
    CTSstpError::SetLastError(1);
    for (const Step& step : kSteps) {
        std::string printed = CapturedOutput([&] { EXPECT_EQ(step.run(conn), 1); });
        EXPECT_EQ(printed.find(" Ack: "), std::string::npos) << "no reply to print";
        EXPECT_EQ(printed.find("\nLogout failed, ret=1\n") != std::string::npos, step.sub == 4);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(peer.Receive().sub, step.sub);
        EXPECT_FALSE(peer.HasWaiting());
    }
    EXPECT_EQ(CTSstpError::GetLastError(), 0) << "of the login's reply, which is still zero";
    EXPECT_EQ(conn.GetIdentifier(), kWireCentral);
}

TEST_F(Connect, ARefusedLoginAndARefusedRouterFail) {
    peer.Reply(Request(3, 0, kWireCentral).Reply(Hex("000003EA 00000203")));
    std::string printed =
        CapturedOutput([&] { EXPECT_EQ(C::SstpLogin(conn, "n", "u", "p", 1, 2), 1); });
    EXPECT_EQ(conn.GetIdentifier(), kWireCentral);
    EXPECT_EQ(CTSstpError::GetLastError(), 1002);
    EXPECT_NE(printed.find("    err: 1002\n"), std::string::npos);
    peer.Reply(Request(10, 1, kWireCentral).Reply(Hex("0000FF00")));
    CapturedOutput([&] { EXPECT_EQ(C::SstpAddRouter(conn, "l", 1, 2, 3), 1); });
}

TEST_F(Connect, AStrictSourceTakesRepliesOfTheCentralRouterOnly) {
    UdpPeer stranger;
    for (bool strict : {false, true}) {
        conn.SetStrictSource(strict);
        uint16_t seq = strict ? 1 : 0;
        WireMessage request = Request(3, seq, kWireCentral);
        stranger.SendBytes(request.Reply(Hex("00000000 00000999")).Encode(), peer.LastPort());
        if (strict) peer.Reply(request.Reply(Hex("00000000 00000203")));
        conn.SetIdentify(kWireCentral);
        CapturedOutput([&] { EXPECT_EQ(C::SstpLogin(conn, "n", "u", "p", 1, 2), 0); });
        EXPECT_EQ(conn.GetIdentifier(), strict ? 0x203u : 0x999u);
    }
}

TEST_F(Connect, NullArgumentsSendNothing) {
    EXPECT_EQ(C::SstpLogin(conn, nullptr, "u", "p", 1, 2), 1);
    EXPECT_EQ(C::SstpLogin(conn, "n", nullptr, "p", 1, 2), 1);
    EXPECT_EQ(C::SstpLogin(conn, "n", "u", nullptr, 1, 2), 1);
    EXPECT_EQ(C::SstpDhcp(conn, 1, nullptr), 1);
    EXPECT_EQ(C::SstpSubnet(conn, nullptr), 1);
    EXPECT_EQ(C::SstpAddRouter(conn, nullptr, 1, 2, 3), 1);
    EXPECT_EQ(C::SstpDelDevice(conn, nullptr, 1), 1);
    EXPECT_FALSE(peer.HasWaiting());
}

TEST_F(Connect, NumbersPacketsApartFromEverythingElse) {
    conn.SetIdentify(0x102);
    struct Sent {
        uint8_t type;
        uint16_t seq, number;
    };
    for (auto [type, seq, number] :
         {Sent{3, 0, 0}, {5, 0, 0}, {1, 0, 1}, {5, 0, 1}, {4, 77, 77}, {2, 0, 2}}) {
        CTSstpMessage msg(0);
        msg.GetHeader().Fill(type, 9, seq, 16, 0, 0, 5, kSstpCentralRouter);
        EXPECT_EQ(conn.Write(central, msg), 16);
        WireMessage expected = {type, 9, number, 0, 0, 0x102, kWireCentral};
        EXPECT_EQ(peer.Receive().Encode(), expected.Encode());
    }
    // No more than the buffer holds.
    CTSstpMessage lying(0);
    lying.SetLength(17);
    EXPECT_EQ(conn.Write(central, lying), 16);
    peer.ReceiveBytes();
    // A pair takes one number, and its second message goes first.
    for (auto [type, seq, number] : {Sent{5, 0, 2}, {5, 99, 99}, {5, 0, 3}}) {
        CTSstpMessage first(8);
        CTSstpMessage second(4);
        first.GetHeader().Fill(type, 9, seq, 24, 2, 0, 5, kSstpCentralRouter);
        second.GetHeader().Fill(type, 9, seq, 20, 2, 1, 5, kSstpCentralRouter);
        EXPECT_EQ(conn.Write(central, first, second), 24 + 20);
        for (uint8_t index : {uint8_t{1}, uint8_t{0}}) {
            WireMessage expected = {type, 9, number, 2, index, 0x102, kWireCentral};
            expected.body.resize(index == 1 ? 4 : 8);
            EXPECT_EQ(peer.Receive().Encode(), expected.Encode());
        }
    }
}

// The first send on a counter is renumbered when it is repeated, later ones are not.
TEST_F(Connect, WhateverComesInsteadOfTheReplyCostsAnAttempt) {
    conn.SetIdentify(0x100);
    WireMessage first = Request(0, 0, 0x100);
    WireMessage again = Request(0, 1, 0x100);
    WireBytes cut = first.Reply().Encode();  // right but for its last byte
    cut.pop_back();
    WireMessage stray = again.Reply(WireBytes(40, 0xEE));  // longer than the buffer
    stray.dst = 7;
    WireMessage answer = again.Reply({1, 2, 3});
    answer.sub = 99;  // neither the sub type nor the sender of the reply is compared
    UdpPeer stranger;
    peer.SendBytes(cut, peer.LastPort());
    for (const WireMessage& other : {first.Reply(), stray, again})
        peer.Reply(other);
    stranger.SendBytes(answer.Encode(), peer.LastPort());

    CTSstpMessage request(0);
    request.SetType(3);
    CTSstpMessage reply(32);
    int received = 0;
    EXPECT_EQ(conn.WriteAndWaitReply(central, request, reply, 5, &received), 0);
    for (int seq : {0, 1, 1, 1, 1})
        EXPECT_EQ(peer.Receive().seq, seq);
    EXPECT_EQ(received, 19);
    WireBytes body = {1, 2, 3};  // and nothing that the longer stray left behind
    body.resize(32);
    EXPECT_EQ(WireBytes(reply.GetDataPtr(), reply.GetDataPtr() + 32), body);
    EXPECT_EQ(conn.WriteAndWaitReply(central, request, reply, 0), 1);
    EXPECT_FALSE(peer.HasWaiting());
}

// A rejoin: the same datagrams, and the first send is the only one.
TEST_F(Connect, WhileJoiningAgainStraysCostNoAttemptAndLeaveNothingBehind) {
    conn.SetIdentify(0x100);
    WireMessage request = Request(0, 1, 0x100);
    WireMessage late = request.Reply(WireBytes(40, 0xEE));
    late.seq = 77;
    WireMessage packet{.type = 5, .seq = 1, .src = 1, .dst = 0x100, .body = WireBytes(1384, 9)};
    for (const WireMessage& other : {late, packet, request, late})
        peer.Reply(other);
    peer.SendBytes(WireBytes(15, 4), peer.LastPort());
    peer.SendBytes({}, peer.LastPort());
    peer.Reply(request.Reply({1, 2, 3}));

    std::atomic<uint8_t> quit{0};
    conn.BeginRejoin(quit);
    CTSstpMessage asked(0);
    asked.SetType(3);
    asked.SetSeq(1);
    CTSstpMessage reply(32);
    int received = 0;
    EXPECT_EQ(conn.WriteAndWaitReply(central, asked, reply, 3, &received), 0);
    EXPECT_TRUE(conn.IsAnswered());
    EXPECT_EQ(peer.Receive().seq, 1);
    EXPECT_FALSE(peer.HasWaiting());
    EXPECT_EQ(received, 19);
    WireBytes body = {1, 2, 3};
    body.resize(32);
    EXPECT_EQ(WireBytes(reply.GetDataPtr(), reply.GetDataPtr() + 32), body);

    // None comes, and nothing of the strays is taken for one.
    CapturedOutput([&] { conn.SetRecvTimeout(20); });
    peer.Reply(late);
    EXPECT_EQ(conn.WriteAndWaitReply(central, asked, reply, 3), 1);
    EXPECT_FALSE(conn.IsAnswered());
    EXPECT_EQ(conn.GetSendError(), 0);
    EXPECT_EQ(WireBytes(reply.GetBufferPtr(), reply.GetBufferPtr() + 48), WireBytes(48));
    for (int i = 0; i < 3; ++i)
        peer.Receive();
    EXPECT_FALSE(peer.HasWaiting());
    CTSockAddr nowhere("127.0.0.1", 0);
    EXPECT_EQ(conn.WriteAndWaitReply(nowhere, asked, reply, 3), 1);
    EXPECT_EQ(conn.GetSendError(), EINVAL);
}

// Datagrams without end keep nobody beyond the three attempts, and a quit ends all of them: each
// would last longer than the test may.
TEST_F(Connect, WhileJoiningAgainAFloodLastsNoLongerThanTheAttemptsAndAQuitEndsThem) {
    std::jthread flood([this, port = peer.LastPort()](std::stop_token stop) {
        UdpPeer stranger;
        while (!stop.stop_requested())
            stranger.SendBytes(Request(0, 9, 1).Encode(), port);
    });
    std::atomic<uint8_t> quit{0};
    conn.BeginRejoin(quit);
    CapturedOutput([&] { conn.SetRecvTimeout(50); });
    EXPECT_EQ(C::SstpEcho(conn), 1);
    CapturedOutput([&] { conn.SetRecvTimeout(600000); });
    std::jthread quitter([&] {
        for (int i = 0; i < 4; ++i)
            peer.Receive();  // the three from before, and the one that waits now
        quit = 1;
    });
    EXPECT_EQ(C::SstpEcho(conn), 1);
    EXPECT_EQ(C::SstpLogout(conn), 1) << "not even asked";
    conn.EndRejoin();
    EXPECT_FALSE(peer.HasWaiting());
}

TEST_F(Connect, OpensAgain) {
    int descriptors = CountDescriptors();
    CapturedOutput([&] { EXPECT_TRUE(conn.Open(central)); });
    EXPECT_EQ(CountDescriptors(), descriptors);
}

TEST_F(Connect, ASendErrorEndsTheExchangeAtOnce) {
    peer.Reply(Request(2, 0, kWireCentral).Reply());  // for one that would read all the same
    CTSockAddr nowhere("127.0.0.1", 0);
    conn.SetCentralRouterAddr(nowhere);
    EXPECT_EQ(C::SstpEcho(conn), 1);
}

TEST_F(Connect, ABurstOfFullDatagramsWaitsForItsReader) {
    constexpr int kBurst = 300;  // the usual buffer holds some 90
    int most = 0;
    std::ifstream("/proc/sys/net/core/rmem_max") >> most;
    if (most < 1024 * 1024) GTEST_SKIP() << "the system grants no larger buffer";
    CTSstpMessage hello(1384);
    hello.SetType(5);
    conn.Write(central, hello);
    peer.Receive();
    for (int i = 0; i < kBurst; ++i)
        peer.SendBytes(WireBytes(1400, 5), peer.LastPort());
    CapturedOutput([&] { conn.SetRecvTimeout(20); });
    CTSockAddr from;
    int received = 0;
    while (conn.Read(from, hello) == 1400)
        ++received;
    EXPECT_EQ(received, kBurst);
}

}  // namespace
