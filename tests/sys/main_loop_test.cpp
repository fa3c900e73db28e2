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
    edge.host.Write(IPv4Packet(ScriptedRouter::kAssignedIp, ScriptedRouter::kGateway, 10));
    std::thread quitter([&] {
        router.WaitFor([](const WireMessage& m) { return m.type == 5; });  // it runs
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
    EXPECT_EQ(CapturedOutput([] {
                  CTsdwSys::signal_handler(2);
                  CTsdwSys::signal_handler(9);
              }),
              "\n\nSignal 2 received, preparing to exit...\n"
              "\n\nSignal 9 received, preparing to exit...\n");
}

TEST_F(MainLoop, TheDefaultConfigurationStandsBesideTheProgram) {
    CTsdwSys sys;
    std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
    std::string config = program.replace_filename("config.json");
    bool existed = std::filesystem::exists(config);
    EXPECT_EQ(sys.SstpUnRegisteDevice(), 1);  // nothing registered, nothing sent
    sys.DeInit();                             // which names the file that it writes
    EXPECT_NE(output.Take().find("write config file: " + config + "\n"), std::string::npos);
    if (!existed) std::filesystem::remove(config);
}

}  // namespace
