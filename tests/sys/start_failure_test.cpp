// What a start undoes when one of its threads cannot be had.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

#include "base/pvu_log.h"
#include "tests/support/captured_output.h"
#include "tests/support/scripted_router.h"
#include "tests/support/whole_edge.h"

namespace {

// How many more threads this process may start; below 0: any number.
std::atomic<int> g_threads_left{-1};

}  // namespace

// In the place of the system's, for this test program.
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
    EXPECT_EQ(ReadWholeFile(log), GetParam().log);
    EXPECT_EQ(CountThreads(), threads);
    EXPECT_FALSE(edge.host.Read());  // the interface is closed
    std::vector<int> commands = router.ReceivedCommands();
    ASSERT_GE(commands.size(), 2u);
    EXPECT_EQ(std::vector(commands.end() - 2, commands.end()), (std::vector{17, 4}));
    EXPECT_NE(ReadWholeFile(edge.ConfigPath()).find("192.168.15.57"), std::string::npos);
}

}  // namespace
