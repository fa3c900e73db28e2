// Sealed and open logins, and an edge that goes on in another channel.

#include <gtest/gtest.h>

#include "tests/support/captured_output.h"
#include "tests/tcr/simulated_edge.h"
#include "tests/tcr/state_memory.h"

namespace {

constexpr uint16_t kPortA = 1001;
constexpr uint16_t kPortB = 1002;
constexpr uint32_t kNotTheWay = 1002;

TcrConfig Served(TcrSeal seal) {
    TcrConfig config;
    config.subnets[0].seal = seal;
    return config;
}

CTSealFingerprint Key(uint8_t first) {
    return CTSealFingerprint({first});
}

class SealedLogin : public testing::Test {
  protected:
    void Serve(TcrSeal seal) { rig.router->Reload(rig.config = Served(seal), rig.now); }
    // Both have joined through channels of their own and know each other.
    void JoinBoth() {
        rig.channels = {{kPortA, 1}, {kPortB, 2}};
        a.Join();
        b.Join();
        rig.Pass(1000);
        a.Obey();
        b.Obey();
        rig.Pass(1000);
        ASSERT_TRUE(a.others.count(b.identifier));
    }
    // The login of a session that goes on.
    uint32_t Resume(SimulatedEdge& edge) { return edge.AskLogin().error; }

    OutputCapture output;
    CentralRouterRig rig{Served(TcrSeal::kRequired)};
    SimulatedEdge a{rig, kPortA, 0xA};
    SimulatedEdge b{rig, kPortB, 0xB};
};

TEST_F(SealedLogin, ASubnetTakesThoseThatComeAsItWants) {
    EXPECT_EQ(a.AskLogin("qwop", "qwop").error, kNotTheWay);
    EXPECT_EQ(a.AskLogin("qwop", "wrong").error, kNotTheWay);
    rig.channels[kPortA] = 1;
    EXPECT_EQ(a.AskLogin("qwop", "wrong").error, kNotTheWay);
    EXPECT_EQ(a.AskLogin().error, 0u);
    Serve(TcrSeal::kOffered);
    EXPECT_EQ(b.AskLogin().error, 0u);
    Serve(TcrSeal::kOff);
    EXPECT_EQ(a.AskLogin().error, kNotTheWay);
    EXPECT_EQ(b.AskLogin().error, 0u);
}

TEST_F(SealedLogin, AnEdgeWithAKeyGetsInWithThatAlone) {
    rig.config.subnets[0].keys = {{0xA, Key(1)}};
    rig.config.subnets[0].seal = TcrSeal::kOffered;
    rig.router->Reload(rig.config, rig.now);
    EXPECT_EQ(a.AskLogin().error, kNotTheWay) << "in the open";
    rig.channels[kPortA] = 1;
    EXPECT_EQ(a.AskLogin().error, kNotTheWay) << "without a key";
    rig.keys[1] = Key(2);
    EXPECT_EQ(a.AskLogin().error, kNotTheWay) << "with another one";
    rig.keys[1] = Key(1);
    EXPECT_EQ(a.AskLogin().error, 0u);
    EXPECT_EQ(b.AskLogin().error, 0u) << "who needs none";
}

TEST_F(SealedLogin, WhoIsInTheOpenIsOutAsSoonAsSealingIsRequired) {
    Serve(TcrSeal::kOffered);
    rig.channels[kPortB] = 2;
    a.Join();
    b.Join();
    rig.Pass(1000);
    a.Obey();
    b.Obey();
    Serve(TcrSeal::kRequired);
    rig.Pass(200);
    while (a.HasMail())
        a.Next();
    a.HeartBeat();
    WireMessage packet{.type = 5, .seq = 1, .src = b.identifier, .dst = a.identifier};
    packet.body.resize(84);
    rig.Receive(b.port, packet);
    EXPECT_FALSE(a.HasMail()) << "nothing goes to it in the open";
    b.HeartBeat();
    EXPECT_TRUE(b.HasMail());
    EXPECT_EQ(a.AskLogin().error, kNotTheWay);
    rig.channels[kPortA] = 1;
    a.identifier = kWireCentral;
    EXPECT_EQ(a.AskLogin().error, 0u);
}

TEST_F(SealedLogin, NobodySpeaksForAnEdgeFromOutsideItsChannel) {
    JoinBoth();
    uint64_t foreign = rig.router->GetCounters().foreign;
    for (uint64_t channel : {TcrPath::kOpen, uint64_t{3}, TcrPath::kLostChannel}) {
        rig.channels[kPortA] = channel;
        a.HeartBeat();
        EXPECT_FALSE(a.HasMail());
        EXPECT_EQ(rig.router->GetCounters().foreign, ++foreign);
    }
    rig.channels[kPortA] = 1;
    a.HeartBeat();
    EXPECT_TRUE(a.HasMail());
    EXPECT_EQ(rig.sent_through[kPortA], 1u);
}

TEST_F(SealedLogin, AnotherChannelTakesTheSessionOverUnnoticed) {
    JoinBoth();
    uint32_t identifier = a.identifier;
    rig.channels[kPortA] = 7;
    EXPECT_EQ(Resume(a), 0u);
    EXPECT_EQ(a.identifier, identifier);
    EXPECT_EQ(Resume(a), 0u) << "its reply was lost";
    rig.Pass(1000);
    EXPECT_FALSE(a.HasMail()) << "it knows what it knew";
    EXPECT_FALSE(b.HasMail()) << "and so do the others";
    a.HeartBeat();
    EXPECT_EQ(rig.sent_through[kPortA], 7u);

    rig.channels[kPortA] = 1;
    a.Next();
    a.HeartBeat();
    EXPECT_TRUE(a.HasMail()) << "what was on its way in the earlier one counts";
    a.Next();
    for (int i = 0; i < 6; ++i) {
        rig.Pass(2000);
        b.HeartBeat();
        b.Next();
    }
    a.HeartBeat();
    EXPECT_FALSE(a.HasMail()) << "for a while";
}

TEST_F(SealedLogin, TheReplyToALogoutHasItsChannelForAWhile) {
    JoinBoth();
    a.Leave();
    auto has_channel = [&] {
        std::unordered_set<uint64_t> in_use;
        rig.router->AddChannels(in_use, rig.now);
        EXPECT_TRUE(in_use.contains(2)) << "b's";
        return in_use.contains(1);
    };
    EXPECT_TRUE(has_channel());
    rig.Receive(a.port, a.last);  // the reply was lost
    EXPECT_EQ(a.Next().Encode(), a.last.Reply().Encode());
    EXPECT_EQ(rig.sent_through[kPortA], 1u);
    rig.Pass(kTcrChannelStaysMs);
    EXPECT_FALSE(has_channel());
}

TEST_F(SealedLogin, ASessionIsResumedByItsOwnEdgeOnly) {
    JoinBoth();
    rig.channels[kPortB] = 8;
    uint32_t own = std::exchange(b.identifier, a.identifier);
    b.Ask(wire_sub::kLogin, EncodeWire(WireLogin{"qwop", "user", "qwop", b.serial, 0x105}));
    EXPECT_NE(ExpectBody<WireLoginReply>(b.Next()).error, 0u);
    b.identifier = own;
    a.HeartBeat();
    EXPECT_TRUE(a.HasMail()) << "a's session is as it was";
}

TEST_F(SealedLogin, OfAnotherPlaceTheOthersAreTold) {
    JoinBoth();
    SimulatedEdge moved = a;
    moved.port = 2001;
    rig.channels[moved.port] = 7;
    EXPECT_EQ(Resume(moved), 0u);
    rig.Pass(200);
    b.Obey();
    EXPECT_EQ(b.others[a.identifier].first, 2001u);
    EXPECT_FALSE(moved.HasMail());
}

TEST_F(SealedLogin, AfterARestartASessionWaitsForItsEdgeToComeByAChannel) {
    MemoryState memory;
    CentralRouterRig kept(Served(TcrSeal::kOffered), &memory);
    kept.after_wake_up = [&] {
        if (memory.IsWaiting()) kept.router->Saved(memory.Write(), kept.now);
    };
    SimulatedEdge edge{kept, kPortA, 0xA};
    kept.channels[kPortA] = 1;
    edge.Join();
    kept.Pass(1000);
    memory.Restarted();
    kept.Restart(memory.Image());
    kept.channels[kPortA] = TcrPath::kOpen;
    edge.HeartBeat();
    EXPECT_EQ(kept.router->GetCounters().foreign, 1u) << "in the open";
    kept.channels[kPortA] = 1;
    edge.HeartBeat();
    EXPECT_EQ(kept.router->GetCounters().foreign, 2u) << "numbers of channels begin anew";
    while (edge.HasMail())
        edge.Next();  // announced anew, and lost
    EXPECT_EQ(Resume(edge), 0u);
    EXPECT_EQ(kept.sent_through[kPortA], 1u);
}

}  // namespace
