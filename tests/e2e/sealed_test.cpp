// A whole edge that speaks through sealed channels.

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "tests/support/captured_output.h"
#include "tests/support/live_sealed_router.h"
#include "tests/support/packet_end.h"
#include "tests/support/whole_edge.h"

namespace {

// Looked at again and again, as nobody tells of it.
template <typename Condition>
bool Becomes(Condition holds) {
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

void UseKey(WholeEdge& edge, const std::string& key) {
    std::string config = ReadWholeFile(edge.ConfigPath());
    std::string before = "\"central router\": {";
    config.insert(config.find(before) + before.size(), "\"key\": " + key + ", ");
    WriteWholeFile(edge.ConfigPath(), config);
}

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

class Sealed : public testing::Test {
  protected:
    // What it counts of its channels.
    const CTSealedLink::Counters& Counters() {
        return edge.sys.GetClient().GetSealedLink().GetCounters();
    }

    OutputCapture output;
    LiveSealedRouter router;
    WholeEdge edge{router.Port()};
};

TEST_F(Sealed, JoinsThroughAChannelAndShowsNothing) {
    UseKey(edge, Quoted(router.Key()));
    ASSERT_TRUE(edge.Start());
    EXPECT_EQ(router.CountKept(), 1u);
    EXPECT_FALSE(router.HasSeen("qwop"));
    EXPECT_EQ(Counters().channels.Get(), 1u);
    edge.Stop();
    EXPECT_FALSE(router.HasSeen("qwop"));
    std::string config = ReadWholeFile(edge.ConfigPath());
    EXPECT_NE(config.find(router.Key()), std::string::npos) << "the key is written back";
}

TEST_F(Sealed, SaysNothingToAnotherKey) {
    CTSealKey other;
    std::string fault;
    ASSERT_TRUE(other.Make(fault));
    UseKey(edge, Quoted(other.GetFingerprint().Text()));
    EXPECT_FALSE(edge.Start());
    EXPECT_FALSE(router.HasSeen("qwop"));
    EXPECT_EQ(router.CountKept(), 0u);
}

TEST_F(Sealed, AnyOfTheNamedKeysWillDo) {
    CTSealKey other;
    std::string fault;
    ASSERT_TRUE(other.Make(fault));
    UseKey(edge, "[" + Quoted(other.GetFingerprint().Text()) + ", " + Quoted(router.Key()) + "]");
    EXPECT_TRUE(edge.Start());
}

TEST_F(Sealed, GoesOnInANewChannelWhenTheCentralRouterHasLostItsChannels) {
    UseKey(edge, Quoted(router.Key()));
    ASSERT_TRUE(edge.Start());
    uint32_t identifier = edge.sys.GetClient().GetIdentifier();
    router.ForgetChannels();
    EXPECT_TRUE(Becomes([&] { return Counters().channels.Get() == 2; }));
    EXPECT_TRUE(Becomes([&] { return router.CountKept() == 1; }));
    EXPECT_EQ(edge.sys.GetClient().GetIdentifier(), identifier);
}

// As every hour: what is on its way in the channel before still counts.
TEST_F(Sealed, LosesNoPacketWhenItsKeysChange) {
    UseKey(edge, Quoted(router.Key()));
    ASSERT_TRUE(edge.Start());
    uint32_t own = edge.sys.GetConfig().GetLocalIPAddr();
    int answered = 0;
    for (int change = 2; change <= 6; ++change) {
        edge.sys.GetClient().RenewChannel();
        do {
            edge.host.Write(PingPacket(own, Ip(192, 168, 15, 5), 1472));
            ASSERT_TRUE(edge.host.Read()) << "after " << answered << " answers";
            ++answered;
        } while (Counters().channels.Get() < static_cast<uint64_t>(change));
    }
    EXPECT_EQ(Counters().channels.Get(), 6u);
    EXPECT_FALSE(edge.host.Read(100)) << "one answer for each";
}

TEST_F(Sealed, TakesNothingFromOutsideItsChannel) {
    UseKey(edge, Quoted(router.Key()));
    ASSERT_TRUE(edge.Start());
    router.SendOpen({.type = 3, .sub = 10, .seq = 9, .body = WireBytes(52)});
    router.SendOpen({.type = 5, .seq = 9, .body = WireBytes(64)});
    router.SendOpen({.type = 3, .sub = 8, .seq = 9, .body = WireBytes(4)});
    EXPECT_TRUE(Becomes([&] { return Counters().outside.Get() == 3; }));
}

}  // namespace
