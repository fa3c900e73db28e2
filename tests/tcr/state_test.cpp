#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "tcr/state_check.h"
#include "tests/support/captured_output.h"
#include "tests/tcr/simulated_edge.h"
#include "tests/tcr/state_memory.h"

namespace {

using namespace wire_sub;
using testing::Contains;
using testing::HasSubstr;

class State : public testing::Test {
  protected:
    State() { WriteAtOnce(); }
    void Written() {
        if (uint64_t ticket = state.Write()) rig.router->Saved(ticket, rig.now);
    }
    void Lost() {
        if (state.IsWaiting()) rig.router->SaveFailed(state.Lose(), "tcr.db: disk full", rig.now);
    }
    void WriteAtOnce() {
        rig.after_wake_up = [this] { Written(); };
        if (state.IsWaiting()) rig.WakeUpEnds();
    }
    void WriteLater() { rig.after_wake_up = nullptr; }
    void LoseAll() {
        rig.after_wake_up = [this] { Lost(); };
    }
    void Restart() {
        state.Restarted();
        rig.Restart(state.Image());
        rig.WakeUpEnds();
    }
    void JoinAll(std::initializer_list<SimulatedEdge*> edges) {
        for (SimulatedEdge* edge : edges)
            edge->Join();
        rig.Pass(600);
        for (SimulatedEdge* edge : edges)
            edge->Obey();
    }
    // Whether a packet gets there at once.
    bool Reaches(SimulatedEdge& from, SimulatedEdge& to) {
        rig.sent[to.port].clear();
        WireMessage packet{.type = 5, .src = from.identifier, .dst = to.identifier};
        packet.body = WireBytes(20, 7);
        rig.Receive(from.port, packet);
        const std::deque<WireMessage>& mail = rig.sent[to.port];
        return std::any_of(mail.begin(), mail.end(),
                           [](const WireMessage& message) { return message.type == 5; });
    }
    bool HeartIsAnswered(SimulatedEdge& edge) {
        rig.sent[edge.port].clear();
        edge.HeartBeat();
        const std::deque<WireMessage>& mail = rig.sent[edge.port];
        return std::any_of(mail.begin(), mail.end(),
                           [](const WireMessage& message) { return message.type == 2; });
    }
    void AskForAddress(SimulatedEdge& edge, uint32_t ip) {
        edge.Ask(kDhcp, EncodeWire(WireDhcp{ip, edge.Device(0).mac}));
    }

    OutputCapture output;
    MemoryState state;
    CentralRouterRig rig{TcrConfig(), &state};
    SimulatedEdge a{rig, 1001, 0xA};
    SimulatedEdge b{rig, 1002, 0xB};
    SimulatedEdge c{rig, 1003, 0xC};
    SimulatedEdge d{rig, 1004, 0xD};
};

TEST_F(State, RepliesWaitForItPacketsAndHeartbeatsDoNot) {
    JoinAll({&a, &b});
    WriteLater();
    AskForAddress(b, Ip(192, 168, 15, 99));
    rig.Receive(b.port, b.last);
    EXPECT_FALSE(b.HasMail());
    EXPECT_TRUE(HeartIsAnswered(a));
    EXPECT_TRUE(HeartIsAnswered(b));
    EXPECT_TRUE(Reaches(a, b));
    EXPECT_TRUE(Reaches(b, a));
    rig.sent.clear();
    EXPECT_TRUE(a.Exchange(kEcho).body.empty());
    EXPECT_EQ(a.GetRouters().size(), 1u) << "a changes nothing";
    EXPECT_FALSE(b.HasMail());
    Written();
    EXPECT_EQ(ExpectBody<WireDhcpReply>(b.Next()).ip, Ip(192, 168, 15, 99));
    EXPECT_FALSE(b.HasMail());
    rig.Receive(b.port, b.last);
    EXPECT_TRUE(b.HasMail());
}

// What is asked while a batch is being written is in the next one, and is answered after that.
TEST_F(State, OneBatchTakesAWakeUpsChanges) {
    a.wanted_ip = Ip(192, 168, 15, 11);  // not one of those below
    b.wanted_ip = Ip(192, 168, 15, 12);
    JoinAll({&a, &b});
    WriteLater();
    int before = state.batches;
    rig.more_come = true;
    AskForAddress(a, Ip(192, 168, 15, 98));
    AskForAddress(b, Ip(192, 168, 15, 99));
    rig.more_come = false;
    rig.WakeUpEnds();
    AskForAddress(b, Ip(192, 168, 15, 97));
    EXPECT_EQ(state.batches, before + 1);
    Written();
    EXPECT_TRUE(a.HasMail());
    EXPECT_FALSE(b.HasMail());
    rig.WakeUpEnds();
    Written();
    EXPECT_EQ(ExpectBody<WireDhcpReply>(b.Next()).ip, Ip(192, 168, 15, 97));
    EXPECT_FALSE(rig.router->HasUnsaved());
    EXPECT_EQ(state.batches, before + 2);
}

TEST_F(State, WhileWritingFailsRequestsThatChangeItGoUnanswered) {
    JoinAll({&a, &b});
    LoseAll();
    c.Ask(kLogin, EncodeWire(WireLogin{"qwop", "user", "qwop", c.serial, 0x105}));
    int before = state.batches;
    for (int i = 0; i < 20; ++i) {
        rig.Receive(c.port, c.last);
        EXPECT_TRUE(HeartIsAnswered(a) && Reaches(a, b));
        rig.Pass(200);
    }
    EXPECT_FALSE(c.HasMail());
    EXPECT_LE(state.batches - before, 4) << "one a second";
    EXPECT_GE(state.batches - before, 3);
    EXPECT_EQ(rig.LinesWith("state not written: tcr.db: disk full; requests"), 1);
    EXPECT_EQ(rig.LinesWith("state written again"), 0);
    WriteAtOnce();
    rig.Pass(1000);
    EXPECT_EQ(rig.LinesWith("state written again"), 1);
    rig.Receive(c.port, c.last);
    EXPECT_EQ(ExpectBody<WireLoginReply>(c.Next()).error, 0u);
    EXPECT_FALSE(rig.router->HasUnsaved());
}

TEST_F(State, AReplyThatCouldNotBeWrittenDoesNotFollowLater) {
    JoinAll({&a});
    LoseAll();
    AskForAddress(a, Ip(192, 168, 15, 99));
    WriteAtOnce();
    rig.Pass(1000);
    EXPECT_FALSE(rig.router->HasUnsaved() || a.HasMail());
    EXPECT_EQ(rig.router->GetCounters().replies_dropped, 1u);
}

TEST_F(State, WhatChangedJustBeforeAKillIsAnnouncedAfterIt) {
    JoinAll({&a, &b, &c});
    for (int i = 0; i < 20; ++i) {  // until all know each other
        rig.Pass(100);
        for (SimulatedEdge* edge : {&a, &b, &c})
            edge->Obey();
    }
    c.Leave();
    rig.sent.clear();  // nobody learns of it
    Restart();
    b.DelDevices();
    for (int i = 0; i < 100; ++i) {
        rig.Pass(100);
        for (SimulatedEdge* edge : {&a, &b}) {
            edge->HeartBeat();
            edge->Obey();
        }
    }
    EXPECT_EQ(a.others, (Topology{{b.identifier, {b.port, {}}}}));
    EXPECT_EQ(b.others, (Topology{{a.identifier, {a.port, {a.ip}}}}));
}

TEST_F(State, ARestartedCentralRouterGoesOnWhereItWas) {
    JoinAll({&a, &b, &c, &d});
    c.Leave();
    for (int s = 0; s < 61; ++s) {  // d falls silent
        rig.Pass(1000);
        a.HeartBeat();
        b.HeartBeat();
    }
    Restart();
    rig.lines.clear();
    EXPECT_TRUE(Reaches(a, b) && Reaches(b, a));
    EXPECT_TRUE(HeartIsAnswered(a) && HeartIsAnswered(b));
    EXPECT_FALSE(Reaches(a, d));
    EXPECT_FALSE(HeartIsAnswered(c));
    EXPECT_TRUE(HeartIsAnswered(d));
    EXPECT_TRUE(Reaches(a, d));
    EXPECT_THAT(rig.lines, Contains("edge 0x00000003 is back"));
    EXPECT_EQ(rig.LinesWith("logged in"), 0);

    std::set<uint32_t> leased = {a.ip, b.ip, c.ip, d.ip};
    for (uint32_t wish : {a.ip, c.ip, d.ip, 0u}) {
        SimulatedEdge fresh{rig, static_cast<uint16_t>(2000 + wish % 256), 0x100 + wish, wish};
        fresh.Login();
        EXPECT_TRUE(leased.insert(fresh.ip).second);
    }
    SimulatedEdge again{rig, 3000, c.serial};
    again.Login();
    EXPECT_EQ(std::pair(again.identifier, again.ip), std::pair(c.identifier, c.ip));
}

TEST_F(State, SilenceCountsFromTheRestartAndTheOneAwayLongestStaysIt) {
    JoinAll({&a, &b, &c});
    b.Leave();
    rig.Pass(5'000);
    rig.sent.clear();
    a.Leave();
    rig.Pass(50'000);
    rig.now += 1'000'000'000;  // down for long
    Restart();
    rig.Pass(59'000);
    EXPECT_EQ(rig.LinesWith("gone"), 0);
    rig.Pass(1'000);
    EXPECT_THAT(rig.lines, Contains("edge 0x00000002 timed out, not heard of for 60 s"));
    std::deque<SimulatedEdge> others;
    for (uint16_t i = 0; i < 13; ++i)
        others.emplace_back(SimulatedEdge{rig, static_cast<uint16_t>(4000 + i), 0x400u + i});
    for (SimulatedEdge& other : others)
        other.Login();
    d.Login();
    EXPECT_EQ(d.identifier, b.identifier);
}

TEST_F(State, WhatDoesNotFitTheConfigurationOrEachOtherIsLeftOut) {
    JoinAll({&a, &b, &c});
    TcrStateImage image = state.Image();
    ASSERT_EQ(image.edges.size(), 3u);
    TcrEdgeRecord copy = image.edges[0];
    for (int slot : {0, -1, 16, 1'000'000, 5}) {
        copy.slot = slot;
        image.edges.push_back(copy);  // the last one has a's serial number
    }
    copy.serial = 0xE;
    image.edges.push_back(copy);  // and this one a's address
    image.edges[1].devices.resize(9);
    image.edges[2].devices[0].ip = Ip(10, 0, 0, 1);
    copy.subnet = 77;
    image.edges.push_back(copy);
    image.subnets.push_back({5, "old", Ip(10, 0, 0, 1), Ip(255, 0, 0, 0)});
    rig.lines.clear();
    state.Restarted();
    rig.Restart(image);
    EXPECT_EQ(rig.LinesWith("left out"), 9);
    EXPECT_THAT(rig.lines, Contains("state: edge of subnet 0, slot 5, left out: device of another "
                                    "edge"));
    EXPECT_TRUE(HeartIsAnswered(a));
    EXPECT_FALSE(HeartIsAnswered(b) || HeartIsAnswered(c));
}

// Ten edges join, leave and are killed, the disk fails now and then, the central router is killed
// between any two wake-ups. Nobody who was given an address ever shares it, and whoever has joined
// is reached after each restart as before it.
class RandomCourse : public State, public testing::WithParamInterface<unsigned> {
  protected:
    bool OneIn(unsigned n) { return random() % n == 0; }
    // The three attempts of an edge; type 0 when none was answered.
    WireMessage Request(SimulatedEdge& edge, uint8_t sub, const WireBytes& body = {}) {
        rig.sent[edge.port].clear();
        edge.Ask(sub, body);
        for (int attempt = 0; attempt < 3; ++attempt) {
            while (edge.HasMail()) {
                WireMessage reply = edge.Next();
                if (reply.type == 4 && reply.seq == edge.last.seq) return reply;
            }
            rig.Pass(200);
            if (attempt < 2) rig.Receive(edge.port, edge.last);
        }
        return {};
    }
    void TryToJoin(SimulatedEdge& edge) {
        edge.identifier = kWireCentral;
        WireMessage reply = Request(
            edge, kLogin, EncodeWire(WireLogin{"qwop", "user", "qwop", edge.serial, 0x105}));
        if (reply.type == 0) return;
        edge.identifier = ExpectBody<WireLoginReply>(reply).identifier;
        uint32_t wish =
            OneIn(3) ? Ip(192, 168, 15, static_cast<uint8_t>(60 + random() % 12)) : edge.ip;
        reply = Request(edge, kDhcp, EncodeWire(WireDhcp{wish, edge.Device(0).mac}));
        if (reply.type == 0) return;
        edge.ip = ExpectBody<WireDhcpReply>(reply).ip;
        WireRouterAdd add{edge.identifier, edge.serial, "edge"};
        if (Request(edge, kAddRouter, EncodeWire(add)).type == 0) return;
        WireDeviceAdd device{edge.identifier, {edge.Device(edge.ip)}};
        edge.joined = Request(edge, wire_sub::kAddDevice, EncodeWire(device)).type != 0;
    }
    void GoOn(SimulatedEdge& edge) {
        if (!edge.joined) return TryToJoin(edge);
        if (OneIn(3)) {
            EXPECT_TRUE(HeartIsAnswered(edge));
        }
        if (!OneIn(8)) return;
        if (OneIn(2)) Request(edge, kLogout);
        edge.joined = false;
        if (OneIn(2)) edge.port = static_cast<uint16_t>(edge.port + 100);
    }
    void ExpectEverybodyIsReached(std::deque<SimulatedEdge>& edges) {
        std::set<uint32_t> addresses;
        for (SimulatedEdge& edge : edges)
            EXPECT_TRUE(!edge.joined || HeartIsAnswered(edge));
        for (SimulatedEdge& from : edges) {
            if (!from.joined) continue;
            EXPECT_TRUE(addresses.insert(from.ip).second) << from.ip << " twice";
            for (SimulatedEdge& to : edges) {
                if (&to == &from || !to.joined) continue;
                EXPECT_TRUE(Reaches(from, to));
            }
        }
    }

    std::mt19937 random{GetParam()};
};

TEST_P(RandomCourse, LosesNobodyAndGivesNoAddressTwice) {
    std::deque<SimulatedEdge> edges;
    for (uint16_t i = 0; i < 10; ++i)
        edges.emplace_back(SimulatedEdge{rig, static_cast<uint16_t>(1000 + i), 0xA0u + i});
    for (int step = 0; step < 400; ++step) {
        GoOn(edges[random() % edges.size()]);
        for (SimulatedEdge& edge : edges) {
            if (edge.joined) edge.HeartBeat();
        }
        if (OneIn(20)) LoseAll();
        if (OneIn(10)) WriteLater();
        if (OneIn(5)) WriteAtOnce();
        if (!OneIn(10)) continue;
        std::string fault;
        EXPECT_TRUE(tcr_state_check(state.Image(), fault)) << fault;
        Restart();
        ExpectEverybodyIsReached(edges);
    }
    WriteAtOnce();
    rig.Pass(1000);
    for (SimulatedEdge& edge : edges) {
        if (!edge.joined) TryToJoin(edge);
        EXPECT_TRUE(edge.joined);
    }
    ExpectEverybodyIsReached(edges);
    EXPECT_EQ(rig.LinesWith("left out"), 0);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomCourse, testing::Range(1u, 9u));

}  // namespace
