#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/support/captured_output.h"
#include "tests/support/event_capture.h"
#include "tests/support/expect_wire.h"
#include "tests/support/live_central_router.h"
#include "tests/support/moved_clock.h"
#include "tests/support/notify_socket.h"
#include "tests/support/scripted_router.h"
#include "tests/support/whole_edge.h"

namespace {

using namespace wire_sub;

constexpr uint32_t kOldIp = Ip(192, 168, 15, 20);
constexpr uint32_t kNewIp = Ip(192, 168, 15, 30);
constexpr uint32_t kHeartbeatMs = 2000;
constexpr uint32_t kAfterMs = 3000;
const std::vector<int> kRejoin = {kEcho,      kLogin,     kDhcp,      kSubnet,
                                  kGetRouter, kGetDevice, kAddRouter, kAddDevice};

// Looks as the main loop does, until the condition holds.
template <typename Condition>
void KeepJoinedUntil(CTsdwSys& sys, Condition holds) {
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (sys.KeepJoined(); !holds(); sys.KeepJoined()) {
        ASSERT_LT(std::chrono::steady_clock::now(), end) << "it never came to that";
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

// What an edge tells of itself; its file lies in its own folder.
std::string StatusOf(WholeEdge& edge) {
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(edge.dir.Path());
    std::string status = CapturedOutput([&] { edge.sys.PrintStatus(); });
    std::filesystem::current_path(before);
    return status;
}

// An edge that knows one other router, with one device; the clock is the test's.
class Rejoin : public testing::Test {
  protected:
    Rejoin() : edge(router.Port()) {
        router.AddRouter(0, 0x2000, 4000);
        router.AddDevice(0, kOldIp, 1);
    }
    void Start(const std::string& after = "3") {
        edge.AddSstpKeys("\"rejoin after\": " + after);
        ASSERT_TRUE(edge.Start());
        output.Take();
        AwaitReceiveThread();
    }
    // It has taken its first tick, and seen what was sent to it before.
    void AwaitReceiveThread() {
        uint16_t seq = ++marker;
        router.Send({.type = 3, .sub = kDelRouter, .seq = seq, .body = Hex("00000009")});
        router.WaitFor([&](const WireMessage& m) { return m.Is(4, kDelRouter) && m.seq == seq; });
    }
    // The other router went, and another one has come in another slot.
    void ReplaceRouters() {
        router.ForgetRouters();
        router.AddRouter(3, 0x2003, 4003);
        router.AddDevice(3, kNewIp, 3);
    }
    // No heartbeat is answered for as long as it takes.
    void Silence() {
        router.AnswerHeartbeats(false);
        clock.Advance(kHeartbeatMs);
        WaitForHeartbeat();
        clock.Advance(kAfterMs);
        asked = router.ReceivedCommands().size();
    }
    // One that was sent since the clock was moved; there may be one that was due before, too.
    void WaitForHeartbeat() {
        auto tick = static_cast<uint32_t>(pvu_get_current_tick());
        KeepJoinedUntil(edge.sys, [&] {
            return std::ranges::any_of(router.Received(), [&](const WireMessage& m) {
                return m.Is(1, kHeartbeat) && At32(m.body, 0) == tick;
            });
        });
    }
    // What is asked for in the next join, whatever becomes of it.
    std::vector<int> Joins() {
        KeepJoinedUntil(edge.sys, [&] { return router.ReceivedCommands().size() > asked; });
        std::vector<int> subs = router.ReceivedCommands();
        subs.erase(subs.begin(), subs.begin() + static_cast<ptrdiff_t>(asked));
        asked += subs.size();
        return subs;
    }
    bool DoesNotJoin() {
        edge.sys.KeepJoined();
        return router.ReceivedCommands().size() == asked;
    }
    std::string Status() { return StatusOf(edge); }
    void ExpectPassesTo(uint32_t ip, uint32_t identifier) {
        WireBytes packet = IPv4Packet(ScriptedRouter::kAssignedIp, ip, 40, ++fill);
        edge.host.Write(packet);
        WireMessage sent =
            router.WaitFor([&](const WireMessage& m) { return m.type == 5 && m.body == packet; });
        EXPECT_EQ(sent.dst, identifier);
        EXPECT_EQ(sent.src, ScriptedRouter::kIdentifier);
    }

    OutputCapture output;
    MovedClock clock;
    ScriptedRouter router;
    WholeEdge edge;
    size_t asked = 0;  // commands, until the last look
    uint8_t fill = 0;
    uint16_t marker = 0;
};

TEST_F(Rejoin, ReplacesTheTopologyOnTheSameSocketAndPrintsWhatAJoinPrints) {
    Start();
    Silence();
    ReplaceRouters();
    std::vector<int> subs;
    std::string printed = CapturedOutput([&] { subs = Joins(); });
    EXPECT_EQ(subs, kRejoin);
    for (const char* part :
         {"joining again: no heartbeat answered for 3 s by 127.0.0.1:", "Login ACK",
          "- Local Router Map -", "- External Network Map -", "P2P connects:\n    1. NULL\n",
          "joined again as 192.168.15.57, identifier 0x00000002\n"})
        EXPECT_NE(printed.find(part), std::string::npos) << part << "\nis not in\n" << printed;
    EXPECT_EQ(printed.find("CTUdp"), std::string::npos) << "the socket stays";
    EXPECT_TRUE(edge.Knows(kNewIp));
    EXPECT_TRUE(edge.Forgets(kOldIp));
    EXPECT_EQ(edge.sys.GetPeers().Count(), 4);
    EXPECT_EQ(edge.sys.GetPeers().At(0), nullptr);
    ExpectPassesTo(kNewIp, 3);
    EXPECT_NE(Status().find("joined again: 1\njoining again failed: 0\n"), std::string::npos);

    // The identifier of an edge without a session in echo and login, then the one given.
    std::vector<WireMessage> all = router.Received();
    std::erase_if(all, [](const WireMessage& m) { return m.type != 3; });
    for (size_t i = 0; i < kRejoin.size(); ++i)
        EXPECT_EQ(all[all.size() - kRejoin.size() + i].src, i < 2 ? kWireCentral : 2) << i;
    // A whole interval passes before the next heartbeat, and its answer ends the silence.
    router.AnswerHeartbeats(true);
    clock.Advance(kHeartbeatMs);
    WaitForHeartbeat();
    AwaitReceiveThread();  // it has seen the answer
    clock.Advance(kAfterMs);
    EXPECT_TRUE(DoesNotJoin());
}

class EachRejoinStep : public Rejoin, public testing::WithParamInterface<uint8_t> {};
INSTANTIATE_TEST_SUITE_P(OfTheRejoin, EachRejoinStep,
                         testing::Values(kEcho, kLogin, kDhcp, kSubnet, kGetRouter, kGetDevice,
                                         kAddRouter, kAddDevice));

TEST_P(EachRejoinStep, IsAskedForOnceWhateverComesBesidesTheReply) {
    using Verb = void (ScriptedRouter::*)(uint8_t sub);
    Start();
    for (Verb bend : {&ScriptedRouter::StrayFirst, &ScriptedRouter::AnswerTwice}) {
        Silence();
        (router.*bend)(GetParam());
        WireMessage arriving{.type = 5, .src = 0, .dst = ScriptedRouter::kIdentifier};
        arriving.body = IPv4Packet(kOldIp, ScriptedRouter::kAssignedIp, 1300);
        router.Send(arriving);
        EXPECT_EQ(Joins(), kRejoin);
    }
    // A reply that comes with the next one costs the one attempt that it is late for.
    Silence();
    router.AnswerLate(GetParam());
    std::vector<int> subs = kRejoin;
    subs.insert(std::ranges::find(subs, GetParam()), GetParam());
    EXPECT_EQ(Joins(), subs);
    EXPECT_TRUE(edge.Knows(kOldIp));
}

TEST_P(EachRejoinStep, ThatFailsLeavesEverythingAsItWasAndIsTriedAgain) {
    Start();
    Silence();
    ReplaceRouters();
    router.Drop(GetParam(), 3);
    std::vector<int> subs;
    std::string printed = CapturedOutput([&] { subs = Joins(); });
    ASSERT_FALSE(subs.empty());
    EXPECT_EQ(subs.back(), GetParam());
    EXPECT_NE(printed.find(" timed out, next attempt in "), std::string::npos) << printed;
    EXPECT_TRUE(edge.Knows(kOldIp));
    EXPECT_TRUE(edge.Forgets(kNewIp));
    EXPECT_EQ(edge.sys.GetPeers().Count(), 1);
    ExpectPassesTo(kOldIp, 0);
    clock.Advance(1000);
    WaitForHeartbeat();

    clock.Advance(2999);
    EXPECT_TRUE(DoesNotJoin());
    clock.Advance(2001);
    EXPECT_EQ(Joins(), kRejoin);
    EXPECT_TRUE(edge.Knows(kNewIp));
    ExpectPassesTo(kNewIp, 3);
    EXPECT_NE(Status().find("joined again: 1\njoining again failed: 1\n"), std::string::npos);
}

TEST_F(Rejoin, AnAnsweredHeartbeatEndsItBeforeTheLoginWasSentAndNotAfter) {
    Start();
    auto hears_again = [&] {
        router.AnswerHeartbeats(true);
        clock.Advance(kHeartbeatMs);
        WaitForHeartbeat();
        AwaitReceiveThread();  // and the answer
    };
    Silence();
    router.Drop(kEcho, 3);
    EXPECT_EQ(Joins(), (std::vector<int>{kEcho, kEcho, kEcho}));
    std::string printed = CapturedOutput([&] {
        hears_again();
        EXPECT_TRUE(DoesNotJoin());
    });
    EXPECT_NE(printed.find("heartbeats answered again by 127.0.0.1:"), std::string::npos);
    clock.Advance(6000);
    EXPECT_TRUE(DoesNotJoin());

    Silence();
    router.Drop(kLogin, 3);
    EXPECT_EQ(Joins(), (std::vector<int>{kEcho, kLogin, kLogin, kLogin}));
    hears_again();
    EXPECT_TRUE(DoesNotJoin());
    clock.Advance(6000);
    EXPECT_EQ(Joins(), kRejoin);
}

// Also where an attempt failed before the central router counted as lost.
TEST_F(Rejoin, ASessionThatGoesOnIsToldAndTheFaultOfTheAttemptIsOver) {
    EventCapture events;
    NotifySocket manager;
    Start();
    auto told = [&](const char* line) {
        return std::ranges::count_if(events.Lines(),
                                     [&](const std::string& l) { return l.starts_with(line); });
    };
    for (int outage = 1; outage <= 2; ++outage) {
        Silence();
        router.Drop(kEcho, 3);
        Joins();
        EXPECT_EQ(told("W joining again failed reason=\"echo timed out\""), outage);
        router.AnswerHeartbeats(true);
        clock.Advance(kHeartbeatMs);
        KeepJoinedUntil(edge.sys, [&] { return told("N central router back") == outage; });
        EXPECT_TRUE(manager.Tells("STATUS=central router back, router 127.0.0.1:" +
                                  std::to_string(router.Port()) + ", address 192.168.15.57"));
        CTEdgeSnapshot snapshot;
        edge.sys.TakeSnapshot(snapshot);
        EXPECT_EQ(snapshot.identity.join_fault, "");
    }
    EXPECT_EQ(told("W central router lost"), 0);
}

TEST_F(Rejoin, ARefusedLoginIsToldAndTriedAgain) {
    Start();
    Silence();
    router.AnswerWith(kLogin, Hex("000003EB 00000000"));
    std::string printed = CapturedOutput([&] { Joins(); });
    EXPECT_NE(printed.find("failed: login refused, error 1003, next"), std::string::npos);
    ExpectPassesTo(kOldIp, 0);
    clock.Advance(6000);
    EXPECT_EQ(Joins(), kRejoin);
}

TEST_F(Rejoin, TakesAnotherAddressAndIdentifierOnlyWithTheWholeJoin) {
    constexpr uint32_t kOtherIp = Ip(192, 168, 16, 9);
    const WireBytes other = EncodeWire(WireDhcpReply{0, Ip(192, 168, 16, 1), 0xFFFFFF00, kOtherIp});
    Start();
    auto last = [&](uint8_t sub) {
        std::vector<WireMessage> all = router.Received();
        std::erase_if(all, [&](const WireMessage& m) { return !m.Is(3, sub); });
        return all.back();
    };
    auto asked_for = [&] { return ExpectBody<WireDhcp>(last(kDhcp)).ip; };
    Silence();
    router.AnswerWith(kDhcp, other);
    router.Drop(kSubnet, 3);
    Joins();
    EXPECT_EQ(edge.sys.GetConfig().GetLocalIPAddr(), ScriptedRouter::kAssignedIp);
    EXPECT_EQ(edge.sys.GetAdapter().GetIP().GetIP(), ScriptedRouter::kAssignedIp);
    clock.Advance(6000);
    router.AnswerWith(kDhcp, other);
    router.AnswerWith(kLogin, EncodeWire(WireLoginReply{.identifier = 7}));
    Joins();
    EXPECT_EQ(asked_for(), ScriptedRouter::kAssignedIp);
    WireDeviceAdd add = ExpectBody<WireDeviceAdd>(last(kAddDevice));
    EXPECT_EQ(add.identifier, 7u);
    EXPECT_EQ(add.devices, std::vector{DeviceRecord(kOtherIp, 1)});
    EXPECT_EQ(edge.sys.GetExternalSubnet().GetGateway(), Ip(192, 168, 16, 1));
    EXPECT_EQ(edge.sys.GetAdapter().GetIP().GetIP(), kOtherIp);

    edge.Stop();
    EXPECT_EQ(last(kDelDevice).body, Hex("00000007 C0A81009"));
    EXPECT_EQ(last(kLogout).src, 7u);
    EXPECT_NE(ReadWholeFile(edge.ConfigPath()).find("192.168.16.9"), std::string::npos);
}

TEST_F(Rejoin, NeverWhereTheConfigurationSaysSo) {
    Start("0");
    Silence();
    clock.Advance(24 * 3600 * 1000);
    EXPECT_TRUE(DoesNotJoin());
}

TEST_F(Rejoin, WhileBothForwardersRunUnderTraffic) {
    Start();
    std::jthread host([&](std::stop_token stop) {
        while (!stop.stop_requested()) {
            edge.host.Write(IPv4Packet(ScriptedRouter::kAssignedIp, kOldIp, 1400));
            edge.host.Write(IPv4Packet(ScriptedRouter::kAssignedIp, kNewIp, 100));
            while (edge.host.Read(0)) {
            }
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    std::jthread commands([&](std::stop_token stop) {
        const WireBytes add = EncodeWire(WireRouterAdd{2, 0x2005, "five", 5});
        WireMessage packet{.type = 5, .src = 0, .dst = ScriptedRouter::kIdentifier};
        packet.body = IPv4Packet(kOldIp, ScriptedRouter::kAssignedIp, 100);
        for (uint16_t seq = 1; !stop.stop_requested(); ++seq) {
            router.Send({.type = 3, .sub = kAddRouter, .seq = seq, .body = add});
            router.Send({.type = 3, .sub = kDelRouter, .seq = seq, .body = Hex("00000005")});
            router.Send(packet);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    // The router's socket overflows now and then: what is lost is sent again as the clock goes on.
    router.AnswerHeartbeats(false);
    for (int i = 0; i < 8; ++i) {
        if (i % 2 == 0) ReplaceRouters();
        if (i % 4 == 2) router.Drop(kAddRouter, 3);
        const std::string line = "\njoined again: " + std::to_string(i + 1) + "\n";
        while (Status().find(line) == std::string::npos) {
            edge.sys.KeepJoined();
            clock.Advance(500);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    host.request_stop();
    commands.request_stop();
    host.join();
    commands.join();
    EXPECT_TRUE(edge.Knows(kNewIp));
    edge.Stop();
    EXPECT_EQ(edge.sys.GetPool().GetLoans(), 0);
}

// The edges come back in another order than they first came, so each gets another's identifier.
TEST(RejoinTogether, AfterTheCentralRouterForgotEverybodyAllAreBackAndPacketsPass) {
    OutputCapture output;
    MovedClock clock;
    LiveCentralRouter central;
    const uint32_t addrs[] = {Ip(192, 168, 15, 11), Ip(192, 168, 15, 12), Ip(192, 168, 15, 13)};
    WholeEdge a(central.Port(), 0xA, "192.168.15.11");
    WholeEdge b(central.Port(), 0xB, "192.168.15.12");
    WholeEdge c(central.Port(), 0xC, "192.168.15.13");
    WholeEdge* edges[] = {&a, &b, &c};
    for (WholeEdge* edge : edges) {
        edge->AddSstpKeys("\"rejoin after\": 3");
        ASSERT_TRUE(edge->Start());
        clock.Advance(500);  // it has joined for the others
    }
    EXPECT_TRUE(a.Knows(addrs[2]));
    central.ForgetEverybody();
    clock.Advance(kHeartbeatMs);
    for (WholeEdge* edge : {&c, &a, &b}) {
        auto is_back = [&] {
            return StatusOf(*edge).find("joined again: 1\n") != std::string::npos;
        };
        output.Take();
        while (!is_back()) {
            edge->sys.KeepJoined();
            clock.Advance(100);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        clock.Advance(500);
    }
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            if (i == j) continue;
            EXPECT_TRUE(edges[i]->Knows(addrs[j])) << i << " of " << j;
            WireBytes packet = IPv4Packet(addrs[i], addrs[j], 1480, static_cast<uint8_t>(i));
            edges[i]->host.Write(packet);
            EXPECT_EQ(edges[j]->host.Read(), packet) << i << " to " << j;
        }
    }
    for (WholeEdge* edge : edges)
        edge->Stop();
}

}  // namespace
