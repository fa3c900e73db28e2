#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "base/pvu_log.h"
#include "lab/wire/wire_kinds.h"
#include "tests/support/captured_output.h"
#include "tests/support/moved_clock.h"
#include "tests/support/scripted_router.h"
#include "tests/support/whole_edge.h"

namespace {

// How many more threads this process may start; below 0: any number.
std::atomic<int> g_threads_left{-1};

}  // namespace

// In the place of the system's, so that a test can take any thread of the start away.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*body)(void*),
                              void* arg) noexcept {
    if (g_threads_left == 0) return EAGAIN;
    if (g_threads_left > 0) --g_threads_left;
    static const auto real =
        reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    return real(thread, attr, body, arg);
}

namespace {

using namespace wire_sub;

struct Shortage {
    int threads;  // that can be had
    const char* log;
};

class StartFailure : public testing::TestWithParam<Shortage> {};
INSTANTIATE_TEST_SUITE_P(Of, StartFailure,
                         testing::Values(Shortage{0, "net device open failed\n"},
                                         Shortage{1, "sstp port open failed\n"},
                                         Shortage{2, "sstp port open failed\n"},
                                         Shortage{3, "forwarder outgress start failed\n"},
                                         Shortage{4, "forwarder ingress start failed\n"}));

TEST_P(StartFailure, StopsWhatRanLeavesTheOverlayAndSaysWhy) {
    OutputCapture output;
    ScriptedRouter router;
    WholeEdge edge(router.Port());
    std::string log = edge.dir.File("tamvo.log");
    flog_open(log.c_str());
    int threads = CountThreads();
    g_threads_left = GetParam().threads;
    bool started = edge.Start();
    g_threads_left = -1;
    flog_close();
    EXPECT_FALSE(started);
    EXPECT_NE(output.Take().find("- System config -"), std::string::npos);
    EXPECT_EQ(ReadWholeFile(log), GetParam().log);
    EXPECT_EQ(CountThreads(), threads);
    EXPECT_FALSE(edge.sys.GetAdapter().IsOpen());
    EXPECT_EQ(router.ReceivedCommands().back(), kLogout);
    EXPECT_NE(ReadWholeFile(edge.ConfigPath()).find("192.168.15.57"), std::string::npos);
}

TEST(Start, HandsTheConfiguredHeartbeatIntervalToThePort) {
    OutputCapture output;
    MovedClock clock;
    ScriptedRouter router;
    WholeEdge edge(router.Port());
    std::string config = ReadWholeFile(edge.ConfigPath());
    config.replace(config.rfind("2}"), 1, "7");
    WriteWholeFile(edge.ConfigPath(), config);
    ASSERT_TRUE(edge.Start());
    // Each answered command is a pass of the receive loop, which looks at the clock every time.
    uint16_t seq = 0;
    auto heartbeats = [&] {
        for (int i = 0; i < 2; ++i) {
            router.Send({.type = 3, .sub = kDelRouter, .seq = ++seq, .body = Hex("00000009")});
            router.WaitFor(
                [&](const WireMessage& m) { return m.Is(4, kDelRouter) && m.seq == seq; });
        }
        std::vector<WireMessage> all = router.Received();
        return std::count_if(all.begin(), all.end(),
                             [](const WireMessage& m) { return m.Is(1, kHeartbeat); });
    };
    for (int before : {0, 1}) {
        EXPECT_EQ(heartbeats(), before);  // by now an answer to the one before was seen
        clock.Advance(6999);
        EXPECT_EQ(heartbeats(), before);
        clock.Advance(1);
        EXPECT_EQ(heartbeats(), before + 1);
    }
    edge.Stop();
}

}  // namespace
