#include "sstp/sstp_connect.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <thread>
#include <vector>

#include "sstp/sstp_device_list.h"
#include "sstp/sstp_error.h"
#include "tests/support/captured_output.h"
#include "tests/support/udp_peer.h"
#include "tests/support/whole_edge.h"

namespace {

// A reply to the request, as the central router gives it.
WireMessage ReplyTo(const WireMessage& request, WireBytes body = {}) {
    WireMessage reply;
    reply.type = static_cast<uint8_t>(request.type + 1);
    reply.sub = request.sub;
    reply.seq = request.seq;
    reply.src = kWireCentral;
    reply.dst = request.src;
    reply.body = std::move(body);
    return reply;
}

// One command operation: what it sends and, once that is answered with the body, prints.
struct Step {
    std::function<int(CTSstpConnect&)> run;
    std::string request;
    std::string answer;
    std::string printed;
};

constexpr char kNet[] = "6e6574 0000000000 000000000000000000000000 000000000000000000000000";
constexpr char kUser[] = "75736572 00000000 000000000000000000000000 000000000000000000000000";

int AddDevice(CTSstpConnect& conn) {
    CTSstpGetDeviceAckParamList list;
    EXPECT_EQ(list.Create(1), 0);
    EXPECT_TRUE(list.Append());
    list.SetIPv4Addr(Ip(10, 0, 0, 1));
    return CTSstpConnect::SstpAddDevice(conn, list);
}

int DelDevice(CTSstpConnect& conn) {
    const uint32_t addr = htonl(Ip(10, 0, 0, 1));
    return CTSstpConnect::SstpDelDevice(conn, &addr, 1);
}

// All of them, in the order of a join and a leave. Requests are printed before they are numbered.
std::vector<Step> Steps() {
    using C = CTSstpConnect;
    static const uint8_t mac[] = {2, 0x11, 0x22, 0x33, 0x44, 0x55};
    return {
        {C::SstpEcho, "0302 0000 0010 0000 ffffffff ffffffff", "", ""},
        {[](C& c) { return C::SstpLogin(c, "net", "user", "net", 0x12345678, 0x105); },
         std::string("0303 0001 0078 0000 ffffffff ffffffff") + kNet + kUser + kNet +
             "12345678 00000105",
         "00000000 00000203",
         "\nLogin ACK: mt=cmm ack(4), st=login(3), seq=1, len=24(0,0), src=4294967295, "
         "dst=4294967295\n    err: 0\n    identifier: 0x00000203\n"},
        {[](C& c) { return C::SstpDhcp(c, Ip(10, 0, 0, 1), mac); },
         "0305 0002 001c 0000 00000203 ffffffff 0a000001 021122334455 0000",
         "00000001 00000000 00000000 00000000",  // an error, which is not read
         ""},
        {[](C& c) { return C::SstpSubnet(c, "net"); },
         std::string("0306 0003 0030 0000 00000203 ffffffff") + kNet,
         std::string(kNet) + "0a000001 ffffff00",
         "\nSubnet Ack: mt=cmm ack(4), st=subnet(6), seq=3, len=56(0,0), src=4294967295, dst=515\n"
         " Subnet: net\n gateway: 10.0.0.1\n network mask:255.255.255.0\n\n"},
        {[](C& c) { return C::SstpAddRouter(c, "net", 0xabcd, 2, 3); },
         std::string("030a 0004 0044 0000 00000203 ffffffff"
                     "0002 03 00 00000203 0000abcd 00000000 00000000") +
             kNet,
         "00000000",
         "\nAdd Router: mt=cmm(3), st=router add(10), seq=0, len=68(0,0), src=0, dst=4294967295\n"
         " label: net\n Serial Number: 0x0000abcd\n type: 2\n layer:  3\n"},
        {AddDevice,
         "0310 0005 0022 0000 00000203 ffffffff 00000203 0000 0000 0a000001 000000000000", "",
         "\nAdd Device: mt=cmm(3), st=add device(16), seq=0, len=34(0,0), src=0, dst=4294967295\n"
         " Ident: 0x00000203\n"},
        {DelDevice, "0311 0006 0018 0000 00000203 ffffffff 00000203 0a000001", "",
         "\nDel Device: mt=cmm(3), st=del device(17), seq=0, len=24(0,0), src=0, dst=4294967295\n"
         " Ident: 0x00000203\n 0. 10.0.0.1\n"},
        {C::SstpLogout, "0304 0007 0010 0000 00000203 ffffffff", "",
         "\nLogout: mt=cmm(3), st=logout(4), seq=0, len=16(0,0), src=0, dst=4294967295\n"
         "\nLogout Ack: mt=cmm ack(4), st=logout(4), seq=7, len=16(0,0), src=4294967295, "
         "dst=515\n"},
    };
}

class Connect : public testing::Test {
  protected:
    Connect() : central("127.0.0.1", peer.Port()) {
        std::string printed = CapturedOutput([&] {
            EXPECT_TRUE(conn.Open(central));
            conn.SetRecvTimeout(5000);
        });
        EXPECT_EQ(printed, "CTUdp set rect timeout: 200\nCTUdp set rect timeout: 5000\n");
    }
    // Runs the edge's side with the router's in a thread of its own; what it printed.
    std::string Exchange(const std::function<void()>& router, const std::function<void()>& edge) {
        std::thread other(router);
        std::string printed = CapturedOutput(edge);
        other.join();
        return printed;
    }
    void ShortWaits() {
        CapturedOutput([&] { conn.SetRecvTimeout(5); });
    }

    UdpPeer peer;
    CTSockAddr central;
    CTSstpConnect conn;
};

TEST_F(Connect, EachCommandSendsItsRequestAndSucceedsWithItsReply) {
    for (const Step& step : Steps()) {
        SCOPED_TRACE(step.request);
        int result = 9;
        std::string printed = Exchange(
            [&] {
                WireMessage request = peer.Receive();
                EXPECT_EQ(request.Encode(), Hex(step.request));
                peer.Reply(ReplyTo(request, Hex(step.answer)));
            },
            [&] { result = step.run(conn); });
        EXPECT_EQ(result, 0);
        EXPECT_EQ(printed, step.printed);
    }
    EXPECT_EQ(conn.GetIdentifier(), 0x203u) << "a logout does not reset it";
}

TEST_F(Connect, EachCommandFailsAfterThreeUnansweredSends) {
    ShortWaits();
    CTSstpError::SetLastError(1);
    for (const Step& step : Steps()) {
        SCOPED_TRACE(step.request);
        std::string printed = CapturedOutput([&] { EXPECT_EQ(step.run(conn), 1); });
        EXPECT_EQ(printed.find(" Ack: "), std::string::npos) << "no reply to print";
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(peer.Receive().sub, Hex(step.request)[1]);
        EXPECT_FALSE(peer.HasWaiting());
    }
    EXPECT_EQ(CTSstpError::GetLastError(), 0) << "of the login's reply, which is still zero";
    EXPECT_EQ(conn.GetIdentifier(), kWireCentral);
    EXPECT_EQ(CapturedOutput([&] { CTSstpConnect::SstpLogout(conn); }),
              "\nLogout: mt=cmm(3), st=logout(4), seq=0, len=16(0,0), src=0, dst=4294967295\n"
              "Logout failed, ret=1\n");
}

TEST_F(Connect, ARefusedLoginAndARefusedRouterFail) {
    int result = 0;
    std::string printed =
        Exchange([&] { peer.Reply(ReplyTo(peer.Receive(), Hex("000003EA 00000203"))); },
                 [&] { result = CTSstpConnect::SstpLogin(conn, "n", "u", "p", 1, 2); });
    EXPECT_EQ(result, 1);
    EXPECT_EQ(conn.GetIdentifier(), kWireCentral);
    EXPECT_EQ(CTSstpError::GetLastError(), 1002);
    EXPECT_NE(printed.find("    err: 1002\n"), std::string::npos);
    Exchange([&] { peer.Reply(ReplyTo(peer.Receive(), Hex("0000FF00"))); },
             [&] { result = CTSstpConnect::SstpAddRouter(conn, "l", 1, 2, 3); });
    EXPECT_EQ(result, 1);
}

TEST_F(Connect, NullArgumentsSendNothing) {
    EXPECT_EQ(CTSstpConnect::SstpLogin(conn, nullptr, "u", "p", 1, 2), 1);
    EXPECT_EQ(CTSstpConnect::SstpLogin(conn, "n", nullptr, "p", 1, 2), 1);
    EXPECT_EQ(CTSstpConnect::SstpLogin(conn, "n", "u", nullptr, 1, 2), 1);
    EXPECT_EQ(CTSstpConnect::SstpDhcp(conn, 1, nullptr), 1);
    EXPECT_EQ(CTSstpConnect::SstpSubnet(conn, nullptr), 1);
    EXPECT_EQ(CTSstpConnect::SstpAddRouter(conn, nullptr, 1, 2, 3), 1);
    EXPECT_FALSE(peer.HasWaiting());
}

TEST_F(Connect, NumbersPacketsApartFromEverythingElse) {
    conn.SetIdentify(0x102);
    struct Sent {
        uint8_t type;
        uint16_t seq, number;
    };
    for (const Sent& sent :
         {Sent{3, 0, 0}, {5, 0, 0}, {1, 0, 1}, {5, 0, 1}, {4, 77, 77}, {2, 0, 2}}) {
        CTSstpMessage msg(0);
        msg.GetHeader().Fill(sent.type, 9, sent.seq, 16, 0, 0, 5, 6);
        EXPECT_EQ(conn.Write(central, msg), 16);
        WireMessage arrived = peer.Receive();
        EXPECT_EQ(arrived.seq, sent.number);
        EXPECT_EQ(arrived.src, 0x102u);
    }
    // A pair takes one number, and its second message goes first.
    for (const Sent& sent : {Sent{5, 0, 2}, {5, 99, 99}, {5, 0, 3}}) {
        CTSstpMessage first(8);
        CTSstpMessage second(4);
        first.GetHeader().Fill(5, 0, sent.seq, 24, 2, 0, 5, 6);
        second.GetHeader().Fill(5, 0, sent.seq, 20, 2, 1, 5, 6);
        EXPECT_EQ(conn.Write(central, first, second), 24 + 20);
        for (int index : {1, 0}) {
            WireMessage arrived = peer.Receive();
            EXPECT_EQ(arrived.frame_index, index);
            EXPECT_EQ(arrived.seq, sent.number);
            EXPECT_EQ(arrived.src, 0x102u);
        }
    }
}

// Loss, strays and late replies; the first send on a counter is renumbered, later ones are not.
TEST_F(Connect, WhateverComesInsteadOfTheReplyCostsAnAttempt) {
    conn.SetIdentify(0x100);
    CTSstpMessage request(0);
    request.SetType(3);
    CTSstpMessage reply(32);
    UdpPeer stranger;
    int received = 0;
    auto router = [&] {
        WireMessage first = peer.Receive();
        WireBytes cut = ReplyTo(first).Encode();  // right but for its last byte, a zero
        cut.pop_back();
        peer.SendBytes(cut, peer.LastPort());
        WireMessage second = peer.Receive();
        EXPECT_EQ(second.seq, first.seq + 1);
        peer.Reply(ReplyTo(first));
        WireMessage stray = ReplyTo(peer.Receive(), WireBytes(40, 0xEE));  // cut to the buffer
        stray.dst = 7;
        peer.Reply(stray);
        WireMessage fourth = peer.Receive();
        EXPECT_EQ(fourth.seq, second.seq);
        peer.Reply(fourth);
        // Neither the sub type nor the sender of the reply is compared.
        WireMessage answer = ReplyTo(peer.Receive(), {1, 2, 3});
        answer.sub = 99;
        stranger.SendBytes(answer.Encode(), peer.LastPort());
    };
    Exchange(router,
             [&] { EXPECT_EQ(conn.WriteAndWaitReply(central, request, reply, 5, &received), 0); });
    EXPECT_EQ(received, 19);
    WireBytes body = {1, 2, 3};  // and nothing that the longer stray left behind
    body.resize(32);
    EXPECT_EQ(WireBytes(reply.GetDataPtr(), reply.GetDataPtr() + 32), body);
    EXPECT_EQ(conn.WriteAndWaitReply(central, request, reply, 0), 1);
    EXPECT_FALSE(peer.HasWaiting());
}

TEST_F(Connect, SendsNoMoreThanTheBufferHoldsAndOpensAgain) {
    CTSstpMessage lying(0);
    lying.SetLength(17);
    EXPECT_EQ(conn.Write(central, lying), 16);
    int descriptors = CountDescriptors();
    CapturedOutput([&] { EXPECT_TRUE(conn.Open(central)); });
    EXPECT_EQ(CountDescriptors(), descriptors);
}

TEST_F(Connect, ASendErrorEndsTheExchangeAtOnce) {
    CTSstpMessage hello(0);
    hello.SetType(5);
    conn.Write(central, hello);
    WireMessage echo = peer.Receive();
    echo.type = 3;
    peer.Reply(ReplyTo(echo));  // in the socket, for an exchange that would read all the same
    CTSockAddr nowhere("127.0.0.1", 0);
    conn.SetCentralRouterAddr(nowhere);
    EXPECT_EQ(CTSstpConnect::SstpEcho(conn), 1);
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
    ShortWaits();
    CTSockAddr from;
    int received = 0;
    while (conn.Read(from, hello) == 1400)
        ++received;
    EXPECT_EQ(received, kBurst);
}

}  // namespace
