#include <gtest/gtest.h>

#include "tests/support/captured_output.h"
#include "tests/support/packet_end.h"
#include "tests/tcr/simulated_edge.h"

namespace {

class Relay : public testing::Test {
  protected:
    Relay() {
        a.Join();
        b.Join();
        rig.Pass(600);
        for (int i = 0; i < 10; ++i) {
            a.Obey();
            b.Obey();
        }
    }
    WireMessage NetPacket(const SimulatedEdge& from, uint32_t dst, const WireBytes& body) {
        return {.type = 5, .seq = ++seq, .src = from.identifier, .dst = dst, .body = body};
    }
    // The answer to a ping of that many bytes, put together if it came in two; empty for none.
    WireBytes Ping(size_t data, uint32_t dst = Ip(192, 168, 15, 5)) {
        rig.Receive(a.port, NetPacket(a, kWireCentral, PingPacket(a.ip, dst, data)));
        return Answer();
    }
    WireBytes Answer() {
        WireMessage first = a.Next();
        if (first.type == 0) return {};
        EXPECT_EQ(first.src, kWireCentral);
        EXPECT_EQ(first.dst, a.identifier);
        if (first.frame_total == 0) return first.body;
        WireMessage rest = first;  // the second fragment comes first
        EXPECT_EQ(rest.frame_index, 1);
        first = a.Next();
        EXPECT_EQ(first.frame_index, 0);
        EXPECT_EQ(first.seq, rest.seq);
        first.body.insert(first.body.end(), rest.body.begin(), rest.body.end());
        return first.body;
    }

    OutputCapture output;
    CentralRouterRig rig;
    SimulatedEdge a{rig, 1001, 0xA};
    SimulatedEdge b{rig, 1002, 0xB};
    uint16_t seq = 0;
};

TEST_F(Relay, PassesPacketsAndFragmentsOnAsTheyCome) {
    WireMessage message = NetPacket(a, b.identifier, WireBytes(1300, 7));
    message.frame_total = 2;
    message.frame_index = 1;
    rig.Receive(a.port, message);
    EXPECT_EQ(b.Next().Encode(), message.Encode());
    EXPECT_EQ(rig.router.GetCounters().relayed, 1u);
}

TEST_F(Relay, DropsPacketsForNobodyAndFromStrangers) {
    for (uint32_t dst : {5u, 0x101u, 16u, 0xFFu}) {
        rig.Receive(a.port, NetPacket(a, dst, WireBytes(20, 7)));
    }
    EXPECT_EQ(rig.router.GetCounters().unknown_destination, 4u);
    rig.Receive(b.port, NetPacket(a, b.identifier, WireBytes(20, 7)));
    EXPECT_EQ(rig.router.GetCounters().foreign, 1u);
    SimulatedEdge c(rig, 1003, 0xC);
    c.Login();
    rig.Receive(a.port, NetPacket(a, c.identifier, WireBytes(20, 7)));  // it still joins
    rig.Receive(c.port, NetPacket(c, a.identifier, WireBytes(20, 7)));
    EXPECT_FALSE(a.HasMail());
    EXPECT_FALSE(c.HasMail());
    b.Leave();
    rig.Receive(a.port, NetPacket(a, b.identifier, WireBytes(20, 7)));
    EXPECT_FALSE(b.HasMail());
}

TEST_F(Relay, AnswersPingsToTheGatewayAtEverySize) {
    for (size_t data : {0u, 56u, 1356u, 1357u, 1372u, 1373u, 1472u}) {
        WireBytes request = PingPacket(a.ip, Ip(192, 168, 15, 5), data);
        WireBytes answer = Ping(data);
        ASSERT_EQ(answer.size(), request.size()) << data;
        EXPECT_EQ(answer[20], 0);  // echo reply
        EXPECT_EQ(At32(answer, 12), Ip(192, 168, 15, 5));
        EXPECT_EQ(At32(answer, 16), a.ip);
        EXPECT_EQ(ChecksumOf(answer, 0, 20), 0);
        EXPECT_EQ(ChecksumOf(answer, 20, answer.size()), 0);
        EXPECT_TRUE(std::equal(request.begin() + 24, request.end(), answer.begin() + 24));
    }
}

TEST_F(Relay, JoinsAPingsFragments) {
    WireMessage whole = NetPacket(a, kWireCentral, PingPacket(a.ip, Ip(192, 168, 15, 5), 1472));
    WireMessage first = whole;
    WireMessage second = whole;
    first.frame_total = second.frame_total = 2;
    second.frame_index = 1;
    first.body.resize(1384);
    second.body.erase(second.body.begin(), second.body.begin() + 1384);
    rig.Receive(a.port, second);
    rig.Receive(a.port, second);  // repeated: the newer one waits
    EXPECT_FALSE(a.HasMail());
    rig.Receive(a.port, first);
    EXPECT_EQ(Answer().size(), 1500u);
    rig.Receive(a.port, first);
    rig.Receive(a.port, second);  // the other order spoils the data: no answer to that
    EXPECT_FALSE(a.HasMail());
}

TEST_F(Relay, AnswersNothingElse) {
    uint32_t gateway = Ip(192, 168, 15, 5);
    EXPECT_TRUE(Ping(56, Ip(192, 168, 15, 6)).empty());
    WireBytes good = PingPacket(a.ip, gateway, 56);
    auto altered = [&](size_t at, uint8_t value) {
        WireBytes bytes = good;
        bytes[at] = value;
        // The header's checksum is right again, so that it is not what stops the packet.
        bytes[10] = bytes[11] = 0;
        uint16_t sum = ChecksumOf(bytes, 0, 20);
        bytes[10] = static_cast<uint8_t>(sum >> 8);
        bytes[11] = static_cast<uint8_t>(sum);
        return bytes;
    };
    WireBytes bad_sum = good;
    bad_sum[11] ^= 1;
    WireBytes bad_icmp = good;
    bad_icmp[40] ^= 1;
    WireBytes cut(good.begin(), good.end() - 1);
    for (const WireBytes& bytes :
         {altered(0, 0x65), altered(0, 0x44), altered(0, 0x4F), altered(6, 0x20), altered(7, 1),
          altered(9, 17), altered(20, 13), altered(20, 0), altered(3, 27), bad_sum, bad_icmp, cut,
          WireBytes(19, 0x45), WireBytes()}) {
        rig.Receive(a.port, NetPacket(a, kWireCentral, bytes));
        EXPECT_FALSE(a.HasMail());
    }
    for (int i = 0; i < 1000; ++i) {  // unpaired fragments
        WireMessage fragment = NetPacket(a, kWireCentral, good);
        fragment.frame_total = 2;
        rig.Receive(a.port, fragment);
    }
    EXPECT_EQ(Ping(56).size(), 84u);
}

}  // namespace
