#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "base/pvu_log.h"
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
    EXPECT_FALSE(edge.host.Read());  // the interface is closed
    std::vector<int> commands = router.ReceivedCommands();
    ASSERT_GE(commands.size(), 2u);
    EXPECT_EQ(std::vector(commands.end() - 2, commands.end()), (std::vector{17, 4}));
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
    auto exchange = [&](uint16_t seq) {
        WireMessage command;
        command.type = 3;
        command.sub = 12;
        command.seq = seq;
        command.body = Hex("00000009");
        router.Send(command);
        router.WaitFor([&](const WireMessage& m) { return m.Is(4, 12) && m.seq == seq; });
    };
    auto is_heartbeat = [](const WireMessage& m) { return m.Is(1, 2); };
    exchange(1);
    clock.Advance(6999);
    exchange(2);
    exchange(3);
    std::vector<WireMessage> received = router.Received();
    EXPECT_TRUE(std::none_of(received.begin(), received.end(), is_heartbeat));
    clock.Advance(1);
    router.WaitFor(is_heartbeat);
    edge.Stop();
}

}  // namespace
