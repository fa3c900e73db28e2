#include <gtest/gtest.h>

#include "tests/support/captured_output.h"
#include "tests/support/packet_end.h"
#include "tests/tcr/simulated_edge.h"

namespace {

constexpr uint32_t kGateway = Ip(192, 168, 15, 5);

class Relay : public testing::Test {
  protected:
    Relay() {
        a.Join();
        b.Join();
        rig.Pass(600);
        a.Obey();
        b.Obey();
    }
    WireMessage NetPacket(const SimulatedEdge& from, uint32_t dst, const WireBytes& body) {
        return {.type = 5, .seq = ++seq, .src = from.identifier, .dst = dst, .body = body};
    }
    void ToGateway(const WireBytes& packet) {
        rig.Receive(a.port, NetPacket(a, kWireCentral, packet));
    }
    // What came back, put together if it came in two; empty for nothing.
    WireBytes Answer() {
        WireMessage first = a.Next();
        if (first.type == 0) return {};
        EXPECT_EQ(first.src, kWireCentral);
        EXPECT_EQ(first.dst, a.identifier);
        if (first.frame_total == 0) return first.body;
        WireMessage rest = first;  // the second fragment comes first
        first = a.Next();
        EXPECT_EQ(rest.frame_index, 1);
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

TEST_F(Relay, PassesPacketsAndFragmentsOnAsTheyComeAndDropsThoseForNobodyOrFromStrangers) {
    WireMessage message = NetPacket(a, b.identifier, WireBytes(1300, 7));
    message.frame_total = 2;
    message.frame_index = 1;
    rig.Receive(a.port, message);
    EXPECT_EQ(b.Next().Encode(), message.Encode());

    SimulatedEdge c{rig, 1003, 0xC};
    c.Login();  // it still joins
    WireBytes packet(20, 7);
    for (uint32_t dst : {5u, 0x101u, 16u, 0xFFu, c.identifier})
        rig.Receive(a.port, NetPacket(a, dst, packet));
    rig.Receive(b.port, NetPacket(a, b.identifier, packet));
    rig.Receive(c.port, NetPacket(c, a.identifier, packet));
    b.Leave();
    rig.Receive(a.port, NetPacket(a, b.identifier, packet));
    EXPECT_FALSE(a.HasMail() || b.HasMail() || c.HasMail());
    const TcrCounters& counters = rig.router->GetCounters();
    EXPECT_EQ(counters.relayed, 1u);
    EXPECT_EQ(counters.unknown_destination, 6u);
    EXPECT_EQ(counters.foreign, 1u);
    EXPECT_EQ(counters.wrong, 1u);
}

TEST_F(Relay, APacketThatTheSystemRefusesIsNotCountedAsRelayed) {
    rig.refusing = true;
    rig.Receive(a.port, NetPacket(a, b.identifier, WireBytes(20, 7)));
    rig.refusing = false;
    rig.Receive(a.port, NetPacket(a, b.identifier, WireBytes(20, 7)));
    EXPECT_EQ(b.Next().seq, seq);
    EXPECT_EQ(rig.router->GetCounters().relayed, 1u);
    EXPECT_EQ(rig.router->GetCounters().send_refused, 1u);
}

TEST_F(Relay, WhateverGoesToAnEdgeLeavesFromTheAddressThatItAskedLast) {
    rig.local = Ip(10, 0, 0, 7);
    b.HeartBeat();
    EXPECT_EQ(rig.sent_from[b.port], Ip(10, 0, 0, 7));
    rig.local = Ip(10, 0, 0, 8);
    rig.Receive(a.port, NetPacket(a, b.identifier, WireBytes(20, 7)));
    EXPECT_EQ(rig.sent_from[b.port], Ip(10, 0, 0, 7));
    SimulatedEdge c{rig, 1003, 0xC};
    c.Login();
    EXPECT_EQ(rig.sent_from[c.port], Ip(10, 0, 0, 8));
}

TEST_F(Relay, AnswersPingsToTheGatewayAtEverySize) {
    for (size_t data : {0u, 56u, 1356u, 1357u, 1372u, 1373u, 1472u}) {
        WireBytes request = PingPacket(a.ip, kGateway, data);
        ToGateway(request);
        WireBytes answer = Answer();
        ASSERT_EQ(answer.size(), request.size()) << data;
        EXPECT_EQ(answer[20], 0);  // echo reply
        EXPECT_EQ(At32(answer, 12), kGateway);
        EXPECT_EQ(At32(answer, 16), a.ip);
        EXPECT_EQ(ChecksumOf(answer, 0, 20), 0);
        EXPECT_EQ(ChecksumOf(answer, 20, answer.size()), 0);
        EXPECT_TRUE(std::equal(request.begin() + 24, request.end(), answer.begin() + 24));
    }
}

TEST_F(Relay, JoinsAPingsFragments) {
    WireMessage first = NetPacket(a, kWireCentral, PingPacket(a.ip, kGateway, 1472));
    first.frame_total = 2;
    WireMessage second = first;
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
    const WireBytes good = PingPacket(a.ip, kGateway, 56);
    auto altered = [&](size_t at, uint8_t value) {
        WireBytes bytes = good;
        bytes[at] = value;
        // Both checksums are right again, so that they are not what stops the packet.
        for (auto [sum_at, from, to] : {std::tuple(10u, 0u, 20u), {22u, 20u, 84u}}) {
            bytes[sum_at] = bytes[sum_at + 1] = 0;
            uint16_t sum = ChecksumOf(bytes, from, to);
            bytes[sum_at] = static_cast<uint8_t>(sum >> 8);
            bytes[sum_at + 1] = static_cast<uint8_t>(sum);
        }
        return bytes;
    };
    WireBytes bad_header = good;
    bad_header[11] ^= 1;
    WireBytes bad_data = good;
    bad_data[40] ^= 1;
    WireBytes cut(good.begin(), good.end() - 1);
    for (const WireBytes& bytes :
         {altered(0, 0x65), altered(0, 0x44), altered(0, 0x4F), altered(6, 0x20), altered(7, 1),
          altered(9, 17), altered(19, 6), altered(20, 13), altered(20, 0), altered(21, 1),
          altered(3, 27), bad_header, bad_data, cut, WireBytes(19, 0x45), WireBytes()}) {
        ToGateway(bytes);
        EXPECT_FALSE(a.HasMail());
    }
    for (int i = 0; i < 1000; ++i) {  // unpaired fragments
        WireMessage fragment = NetPacket(a, kWireCentral, good);
        fragment.frame_total = 2;
        rig.Receive(a.port, fragment);
    }
    ToGateway(good);
    EXPECT_EQ(Answer().size(), 84u);
}

// A link that sends what is passed on at the end of a burst only, and is then refused one.
struct BurstRig : CentralRouterRig {
    bool Pass(const TcrPath& to, const uint8_t* data, int length) override {
        passed.push_back({to, WireBytes(data, data + length)});
        return true;
    }
    int Flush() override {
        for (auto& [to, bytes] : passed)
            Send(to, bytes.data(), static_cast<int>(bytes.size()));
        int refused = passed.empty() ? 0 : 1;
        passed.clear();
        return refused;
    }
    std::vector<std::pair<TcrPath, WireBytes>> passed;
};

TEST(RelayInBursts, PacketsWaitForTheEndOfTheBurstAndRefusedOnesAreCountedThen) {
    OutputCapture output;
    BurstRig rig;
    SimulatedEdge a{rig, 1001, 0xA};
    SimulatedEdge b{rig, 1002, 0xB};
    a.Join();
    b.Join();
    rig.CentralRouterRig::Pass(600);
    b.Obey();
    WireMessage packet{.type = 5, .src = a.identifier, .dst = b.identifier, .body = {1, 2, 3}};
    for (uint16_t seq = 1; seq <= 3; ++seq) {
        packet.seq = seq;
        rig.Receive(a.port, packet);
    }
    EXPECT_FALSE(b.HasMail());
    rig.router->EndOfBurst();
    for (uint16_t seq = 1; seq <= 3; ++seq)
        EXPECT_EQ(b.Next().seq, seq);
    EXPECT_EQ(rig.router->GetCounters().relayed, 2u);
    EXPECT_EQ(rig.router->GetCounters().send_refused, 1u);
}

}  // namespace
