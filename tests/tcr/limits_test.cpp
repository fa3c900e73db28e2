// What one edge, or whoever can send to the port, may cost the others.

#include <gmock/gmock.h>

#include "tests/support/captured_output.h"
#include "tests/support/packet_end.h"
#include "tests/tcr/simulated_edge.h"

namespace {

using namespace wire_sub;
using testing::Contains;

constexpr uint32_t kGateway = Ip(192, 168, 15, 5);

class Limits : public testing::Test {
  protected:
    void AskLogin(SimulatedEdge& edge, const std::string& password) {
        edge.Ask(kLogin, EncodeWire(WireLogin{"qwop", "user", password, edge.serial, 0x105}));
    }
    WireMessage Half(SimulatedEdge& from, uint16_t seq, uint8_t index) {
        WireMessage half{.type = 5, .seq = seq, .frame_total = 2, .frame_index = index};
        half.src = from.identifier;
        half.dst = kWireCentral;
        WireBytes ping = PingPacket(from.ip, kGateway, 1472);
        auto cut = ping.begin() + 1384;
        half.body = index == 0 ? WireBytes(ping.begin(), cut) : WireBytes(cut, ping.end());
        return half;
    }
    // Whether the gateway answers once both halves are there.
    bool IsAnswered(SimulatedEdge& from, uint16_t seq) {
        rig.sent[from.port].clear();
        rig.Receive(from.port, Half(from, seq, 0));
        return from.HasMail();
    }

    OutputCapture output;
    CentralRouterRig rig;
    SimulatedEdge a{rig, 1001, 0xA};
    SimulatedEdge b{rig, 1002, 0xB};
};

TEST_F(Limits, AnAddressWithTooManyFailedLoginsIsNotAnsweredForAWhile) {
    for (int i = 0; i < 5; ++i) {
        AskLogin(a, "wrong");
        EXPECT_EQ(ExpectBody<WireLoginReply>(a.Next()).error, 1002u);
    }
    AskLogin(a, "wrong");
    AskLogin(b, "qwop");  // from the same address, and right
    EXPECT_FALSE(a.HasMail() || b.HasMail());
    EXPECT_EQ(rig.router->GetCounters().ignored_logins, 2u);
    rig.Pass(1000);
    AskLogin(b, "qwop");
    EXPECT_EQ(ExpectBody<WireLoginReply>(b.Next()).error, 0u);
}

TEST_F(Limits, ASubnetLetsInTheSerialNumbersThatItNames) {
    rig.config.subnets[0].edges = {0xB, 0xFFFFFFF0};
    rig.router->Reload(rig.config, rig.now);
    AskLogin(a, "qwop");
    EXPECT_EQ(ExpectBody<WireLoginReply>(a.Next()).error, 1003u);
    AskLogin(a, "wrong");
    EXPECT_EQ(ExpectBody<WireLoginReply>(a.Next()).error, 1002u) << "whoever knows no password";
    b.Join();
    rig.config.subnets[0].edges = std::vector<uint32_t>();
    rig.router->Reload(rig.config, rig.now);
    b.HeartBeat();
    EXPECT_TRUE(b.HasMail()) << "nobody's session ends";
    rig.sent.clear();
    AskLogin(b, "qwop");
    EXPECT_EQ(ExpectBody<WireLoginReply>(b.Next()).error, 1003u);
}

TEST_F(Limits, LinesAreBoundedForEachEdge) {
    a.Join();
    b.Join();
    rig.lines.clear();
    for (uint8_t i = 0; i < 200; ++i)
        a.AddDevice(Ip(10, 0, 0, i));
    EXPECT_LE(rig.lines.size(), 20u);
    EXPECT_GE(rig.lines.size(), 15u);
    b.AddDevice(Ip(10, 0, 0, 1));
    EXPECT_EQ(rig.lines.back(), "edge 0x00000001 may not have device 10.0.0.1");
    size_t shown = rig.lines.size() - 1;
    rig.Pass(1000);
    EXPECT_THAT(rig.lines, Contains("edge 0x00000000 caused " + std::to_string(200 - shown) +
                                    " more lines, not shown"));
    rig.Pass(4000);
    rig.lines.clear();
    rig.sent.clear();
    for (uint8_t i = 0; i < 200; ++i)
        a.Login();  // a new session has no new budget
    EXPECT_LE(rig.lines.size(), 20u);
}

TEST_F(Limits, NoEdgePushesOutAnothersFragments) {
    a.Join();
    b.Join();
    rig.Pass(600);
    rig.Receive(b.port, Half(b, 7, 1));
    for (uint16_t seq = 0; seq < 2000; ++seq)
        rig.Receive(a.port, Half(a, seq, 1));
    EXPECT_TRUE(IsAnswered(b, 7));
    EXPECT_TRUE(IsAnswered(a, 1996));
    EXPECT_FALSE(IsAnswered(a, 1995)) << "four wait at most";
}

TEST_F(Limits, AnOldFragmentIsNoPartner) {
    a.Join();
    b.Join();
    rig.Pass(600);
    rig.Receive(a.port, Half(a, 7, 1));
    rig.Pass(2000);
    EXPECT_TRUE(IsAnswered(a, 7));
    rig.Receive(a.port, Half(a, 8, 1));
    rig.Pass(2100);
    EXPECT_FALSE(IsAnswered(a, 8));
    rig.Pass(2100);
    for (int passed : {4095, 4096}) {
        rig.Receive(a.port, Half(a, 9, 1));
        for (int i = 1; i <= passed; ++i) {  // to another edge
            WireMessage packet{.type = 5, .seq = static_cast<uint16_t>(9 + i)};
            packet.src = a.identifier;
            packet.dst = b.identifier;
            packet.body = WireBytes(20, 7);
            rig.Receive(a.port, packet);
        }
        EXPECT_EQ(IsAnswered(a, 9), passed == 4095);
        rig.Pass(2100);
    }
}

TEST_F(Limits, AnAddressIsLeasedOnlyWhenTheEdgeHasRoomForIt) {
    a.identifier = a.AskLogin().identifier;
    a.AddRouter();
    for (uint8_t i = 0; i < 8; ++i)
        a.AddDevice(Ip(192, 168, 15, static_cast<uint8_t>(100 + i)));
    EXPECT_EQ(a.AskDhcp(0).error, 1u);
    EXPECT_EQ(a.AskDhcp(Ip(192, 168, 15, 100)).ip, Ip(192, 168, 15, 100)) << "it has that one";
    EXPECT_EQ(a.AskDhcp(0).ip, Ip(192, 168, 15, 100));
}

// The allocator prints what it finds: nothing that an edge can ask for again and again makes it.
TEST_F(Limits, AFullSubnetIsNotSearchedAgainAndAgain) {
    rig.config.subnets[0].gateway = Ip(10, 0, 0, 1);
    rig.config.subnets[0].mask = Ip(255, 255, 255, 252);  // one address to lease
    rig.router->Reload(rig.config, rig.now);
    a.Login();
    EXPECT_EQ(a.ip, Ip(10, 0, 0, 2));
    b.identifier = b.AskLogin().identifier;
    output.Take();
    std::string printed = CapturedOutput([&] {
        for (int i = 0; i < 100; ++i)
            EXPECT_EQ(b.AskDhcp(0).error, 1u);
    });
    EXPECT_EQ(printed, "");
}

}  // namespace
