#include "sstp/sstp_connect.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "sstp/sstp_device_list.h"
#include "sstp/sstp_error.h"
#include "tests/support/captured_output.h"
#include "tests/support/udp_peer.h"

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

class Connect : public testing::Test {
  protected:
    Connect() : central("127.0.0.1", peer.Port()) {
        CapturedOutput([&] {
            EXPECT_TRUE(conn.Open(central));
            conn.SetRecvTimeout(5000);
        });
    }
    // Runs the exchange with the router's side in a thread of its own; what it printed.
    std::string Exchange(const std::function<void()>& router, const std::function<void()>& edge) {
        std::thread other(router);
        std::string printed = CapturedOutput(edge);
        other.join();
        return printed;
    }
    void ShortWaits() {
        CapturedOutput([&] { conn.SetRecvTimeout(20); });
    }

    UdpPeer peer;
    CTSockAddr central;
    CTSstpConnect conn;
};

TEST_F(Connect, NumbersCommandsAndPacketsApartAndStampsItsIdentifier) {
    auto send = [&](uint8_t type, uint16_t seq) {
        CTSstpMessage msg(0);
        msg.SetType(type);
        msg.SetSeq(seq);
        msg.SetSrc(5);
        EXPECT_EQ(conn.Write(central, msg), 16);
        WireMessage sent = peer.Receive();
        EXPECT_EQ(sent.src, conn.GetIdentifier());
        return sent.seq;
    };
    EXPECT_EQ(conn.GetIdentifier(), kWireCentral);
    EXPECT_EQ(send(3, 0), 0);
    EXPECT_EQ(send(3, 0), 1);
    EXPECT_EQ(send(5, 0), 0);
    EXPECT_EQ(send(1, 0), 2);
    conn.SetIdentify(0x102);
    EXPECT_EQ(send(5, 0), 1);
    EXPECT_EQ(send(4, 77), 77);
    EXPECT_EQ(send(4, 0), 3);
}

TEST_F(Connect, APairIsNumberedAlikeAndTheSecondGoesFirst) {
    CTSstpMessage first(8);
    CTSstpMessage second(4);
    first.SetType(5);
    second.SetType(5);
    first.SetDataLength(8);
    second.SetDataLength(4);
    conn.SetIdentify(9);
    for (int seq : {0, 1}) {
        first.SetSeq(0);
        second.SetSeq(0);
        EXPECT_EQ(conn.Write(central, first, second), 24 + 20);
        WireMessage one = peer.Receive();
        WireMessage two = peer.Receive();
        EXPECT_EQ(one.body.size(), 4u);
        EXPECT_EQ(two.body.size(), 8u);
        EXPECT_EQ(one.seq, seq);
        EXPECT_EQ(two.seq, seq);
        EXPECT_EQ(one.src, 9u);
        EXPECT_EQ(two.src, 9u);
    }
}

TEST_F(Connect, LossStraysAndLateRepliesCostAnAttemptEach) {
    int result = 1;
    Exchange(
        [&] {
            WireMessage first = peer.Receive();  // seq 0: a second send renumbers it
            WireMessage stray = ReplyTo(first);
            stray.dst = 7;
            peer.Reply(stray);
            WireMessage second = peer.Receive();
            EXPECT_EQ(second.seq, 1);
            peer.Reply(ReplyTo(first));  // late: the number of the first attempt
            WireMessage third = peer.Receive();
            EXPECT_EQ(third.seq, 1);
            WireMessage other_sub_type = ReplyTo(third);
            other_sub_type.sub = 99;  // not compared
            peer.Reply(other_sub_type);
        },
        [&] { result = CTSstpConnect::SstpEcho(conn); });
    EXPECT_EQ(result, 0);
}

TEST_F(Connect, GivesUpAfterThreeSends) {
    ShortWaits();
    EXPECT_EQ(CTSstpConnect::SstpEcho(conn), 1);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(peer.Receive().sub, 2);
    EXPECT_FALSE(peer.HasWaiting());
}

TEST_F(Connect, ASendErrorEndsTheExchangeAtOnce) {
    conn.Close();
    EXPECT_EQ(CTSstpConnect::SstpEcho(conn), 1);
    EXPECT_FALSE(peer.HasWaiting());
}

TEST_F(Connect, AShortDatagramIsNoReplyAndLeftoversAreCleared) {
    CTSstpMessage request(0);
    request.SetType(3);
    CTSstpMessage reply(32);
    int result = 1;
    int received = 0;
    Exchange(
        [&] {
            peer.Receive();
            peer.SendBytes(WireBytes(15, 0xEE), peer.LastPort());
            WireMessage second = peer.Receive();
            WireMessage stray = ReplyTo(second, WireBytes(32, 0xEE));
            stray.seq = 9;
            peer.Reply(stray);
            peer.Reply(ReplyTo(peer.Receive(), {1, 2, 3}));
        },
        [&] { result = conn.WriteAndWaitReply(central, request, reply, 3, &received); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(received, 19);
    EXPECT_EQ(reply.GetDataPtr()[2], 3);
    for (int i = 3; i < 32; ++i)
        EXPECT_EQ(reply.GetDataPtr()[i], 0) << i;
}

TEST_F(Connect, LoginTakesTheIdentifierAndPrintsTheReply) {
    int result = 1;
    std::string printed = Exchange(
        [&] {
            WireMessage login = peer.Receive();
            EXPECT_TRUE(login.Is(3, 3));
            ASSERT_EQ(login.body.size(), 104u);
            EXPECT_EQ(TextAt(login.body, 0), "net");
            EXPECT_EQ(TextAt(login.body, 32), "user");
            EXPECT_EQ(TextAt(login.body, 64), "secret");
            EXPECT_EQ(At32(login.body, 96), 0x12345678u);
            EXPECT_EQ(At32(login.body, 100), 0x105u);
            peer.Reply(ReplyTo(login, Hex("00000000 00000203")));
        },
        [&] {
            result = CTSstpConnect::SstpLogin(conn, "net", "user", "secret", 0x12345678, 0x105);
        });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(conn.GetIdentifier(), 0x203u);
    EXPECT_EQ(printed,
              "\nLogin ACK: mt=cmm ack(4), st=login(3), seq=0, len=24(0,0), src=4294967295, "
              "dst=4294967295\n    err: 0\n    identifier: 0x00000203\n");
}

TEST_F(Connect, ARefusedLoginLeavesTheIdentifierAndTellsTheError) {
    int result = 0;
    Exchange([&] { peer.Reply(ReplyTo(peer.Receive(), Hex("000003EA 00000203"))); },
             [&] { result = CTSstpConnect::SstpLogin(conn, "n", "u", "p", 1, 2); });
    EXPECT_EQ(result, 1);
    EXPECT_EQ(conn.GetIdentifier(), kWireCentral);
    EXPECT_EQ(CTSstpError::GetLastError(), 1002);

    ShortWaits();
    std::string printed =
        CapturedOutput([&] { EXPECT_EQ(CTSstpConnect::SstpLogin(conn, "n", "u", "p", 1, 2), 1); });
    EXPECT_EQ(CTSstpError::GetLastError(), 0);  // the reply's buffer is still zero
    EXPECT_NE(printed.find("Login ACK"), std::string::npos);
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

TEST_F(Connect, RegistrationCarriesTheIdentifierAndHeedsTheError) {
    conn.SetIdentify(0x304);
    for (uint32_t error : {0u, 1u}) {
        int result = 9;
        std::string printed = Exchange(
            [&] {
                WireMessage add = peer.Receive();
                EXPECT_TRUE(add.Is(3, 10));
                EXPECT_EQ(add.body.size(), 52u);
                EXPECT_EQ(At16(add.body, 0), 2u);
                EXPECT_EQ(At8(add.body, 2), 3u);
                EXPECT_EQ(At32(add.body, 4), 0x304u);
                EXPECT_EQ(At32(add.body, 8), 0xABCDu);
                EXPECT_EQ(TextAt(add.body, 20), "label");
                WireBytes body;
                Put32(body, error);
                peer.Reply(ReplyTo(add, body));
            },
            [&] { result = CTSstpConnect::SstpAddRouter(conn, "label", 0xABCD, 2, 3); });
        EXPECT_EQ(result, error == 0 ? 0 : 1);
        // Printed before it is numbered.
        EXPECT_NE(printed.find("seq=0, len=68(0,0), src=0,"), std::string::npos) << printed;
    }
    CTSstpGetDeviceAckParamList list;
    list.Create(1);
    list.Append();
    list.SetIPv4Addr(Ip(10, 0, 0, 1));
    int result = 9;
    Exchange(
        [&] {
            WireMessage add = peer.Receive();
            EXPECT_TRUE(add.Is(3, 16));
            EXPECT_EQ(add.body, Hex("00000304 0000 0000 0A000001 000000000000"));
            peer.Reply(ReplyTo(add));
            WireMessage del = peer.Receive();
            EXPECT_TRUE(del.Is(3, 17));
            EXPECT_EQ(del.body, Hex("00000304 0A000001"));
            peer.Reply(ReplyTo(del));
        },
        [&] {
            result = CTSstpConnect::SstpAddDevice(conn, list);
            uint32_t addr = htonl(Ip(10, 0, 0, 1));
            result += CTSstpConnect::SstpDelDevice(conn, &addr, 1);
        });
    EXPECT_EQ(result, 0);
}

TEST_F(Connect, LogoutTellsItsFailure) {
    ShortWaits();
    std::string printed = CapturedOutput([&] { CTSstpConnect::SstpLogout(conn); });
    EXPECT_EQ(printed,
              "\nLogout: mt=cmm(3), st=logout(4), seq=0, len=16(0,0), src=0, dst=4294967295\n"
              "Logout failed, ret=1\n");
}

}  // namespace
