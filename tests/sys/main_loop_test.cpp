#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "tests/support/captured_output.h"
#include "tests/support/scripted_router.h"
#include "tests/support/whole_edge.h"

namespace {

// The log goes to the working directory.
class MainLoop : public testing::Test {
  protected:
    MainLoop() : before(std::filesystem::current_path()) {
        std::filesystem::current_path(dir.Path());
    }
    ~MainLoop() override { std::filesystem::current_path(before); }
    std::string Log() { return ReadWholeFile(dir.File("tamvo.log")); }

    std::filesystem::path before;
    ScratchDir dir;
    OutputCapture output;
};

TEST_F(MainLoop, RunsUntilAQuitIsRequestedAndLogsStartAndExit) {
    ScriptedRouter router;
    WholeEdge edge(router.Port());
    edge.sys.GetAdapter().Adopt(edge.host.TakeOther());
    std::thread quitter([&] {
        router.WaitFor([](const WireMessage& m) { return m.Is(1, 2); });  // it runs
        edge.sys.ForceQuit();
    });
    EXPECT_EQ(edge.sys.MainLoop(), 0);
    quitter.join();
    EXPECT_EQ(Log(), "tamvo start\ntamvo exit\n");
    EXPECT_EQ(router.ReceivedCommands().back(), 4);
}

TEST_F(MainLoop, AQuitDuringTheStartStopsAsSoonAsItHasSucceeded) {
    ScriptedRouter router;
    WholeEdge edge(router.Port());
    edge.sys.GetAdapter().Adopt(edge.host.TakeOther());
    edge.sys.ForceQuit();
    EXPECT_EQ(edge.sys.MainLoop(), 0);
    EXPECT_EQ(Log(), "tamvo start\ntamvo exit\n");
}

TEST_F(MainLoop, AFailedStartEndsWithStatusOneAndSaysWhy) {
    ScriptedRouter router;
    router.FallSilent();
    WholeEdge edge(router.Port());
    edge.sys.GetAdapter().Adopt(edge.host.TakeOther());
    EXPECT_EQ(edge.sys.MainLoop(), 1);
    EXPECT_EQ(Log(),
              "tamvo start\nconnected tcr failed, tcr is not online\ntamvo core start failed\n");
}

TEST_F(MainLoop, TheHandlerTellsItsSignalsOnly) {
    EXPECT_EQ(output.Take(), "");
    EXPECT_EQ(CapturedOutput([] { CTsdwSys::signal_handler(SIGUSR2); }), "");
    EXPECT_EQ(CapturedOutput([] { CTsdwSys::signal_handler(SIGTERM); }),
              "\n\nSignal 15 received, preparing to exit...\n");
    EXPECT_EQ(CapturedOutput([] { CTsdwSys::signal_handler(2); }),
              "\n\nSignal 2 received, preparing to exit...\n");
}

TEST_F(MainLoop, TheDefaultConfigurationStandsBesideTheProgram) {
    CTsdwSys sys;
    EXPECT_EQ(sys.GetVersion().GetVersion(), 0x105u);
    // Where the program lies there is none, so it is created: a start that fails shows the path.
    std::string program = std::filesystem::read_symlink("/proc/self/exe");
    std::string config = program.substr(0, program.rfind('/') + 1) + "config.json";
    bool existed = std::filesystem::exists(config);
    PacketEnd host;
    sys.GetAdapter().Adopt(host.TakeOther());
    if (sys.Start()) sys.Stop();  // a central router may run on this machine
    EXPECT_EQ(output.Take().rfind("read config file: " + config + "\n", 0), 0u);
    if (!existed) std::filesystem::remove(config);
}

}  // namespace
