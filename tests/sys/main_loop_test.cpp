#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "lab/wire/wire_kinds.h"
#include "tests/support/captured_output.h"
#include "tests/support/scripted_router.h"
#include "tests/support/whole_edge.h"

namespace {

// The log goes to the working directory.
class MainLoop : public testing::Test {
  protected:
    MainLoop() {
        std::filesystem::current_path(edge.dir.Path());
        edge.sys.GetAdapter().Adopt(edge.host.TakeOther());
    }
    ~MainLoop() override { std::filesystem::current_path(before); }
    std::string Log() { return ReadWholeFile(edge.dir.File("tamvo.log")); }

    std::filesystem::path before = std::filesystem::current_path();
    OutputCapture output;
    ScriptedRouter router;
    WholeEdge edge{router.Port()};
};

TEST_F(MainLoop, RunsUntilAQuitIsRequestedAndLogsStartAndExit) {
    edge.host.Write(IPv4Packet(ScriptedRouter::kAssignedIp, ScriptedRouter::kGateway, 10));
    std::thread quitter([&] {
        router.WaitFor([](const WireMessage& m) { return m.IsPacket(); });  // it runs
        edge.sys.ForceQuit();
    });
    EXPECT_EQ(edge.sys.MainLoop(), 0);
    quitter.join();
    EXPECT_EQ(Log(), "tamvo start\ntamvo exit\n");
    EXPECT_EQ(router.ReceivedCommands().back(), wire_sub::kLogout);
}

TEST_F(MainLoop, AQuitDuringTheStartStopsAsSoonAsItHasSucceeded) {
    edge.sys.ForceQuit();
    EXPECT_EQ(edge.sys.MainLoop(), 0);
    EXPECT_EQ(Log(), "tamvo start\ntamvo exit\n");
}

TEST_F(MainLoop, AFailedStartEndsWithStatusOneAndSaysWhy) {
    router.FallSilent();
    EXPECT_EQ(edge.sys.MainLoop(), 1);
    EXPECT_EQ(Log(),
              "tamvo start\nconnected tcr failed, tcr is not online\ntamvo core start failed\n");
}

TEST(SignalHandler, TellsItsSignalsOnly) {
    EXPECT_EQ(CapturedOutput([] {
                  for (int sig : {SIGUSR2, SIGTERM, SIGINT, SIGKILL})
                      CTsdwSys::signal_handler(sig);
              }),
              "\n\nSignal 15 received, preparing to exit...\n"
              "\n\nSignal 2 received, preparing to exit...\n"
              "\n\nSignal 9 received, preparing to exit...\n");
}

TEST(Start, TakesTheConfigurationBesideTheProgramUnlessToldOtherwise) {
    CTsdwSys sys;
    std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
    std::string config = program.replace_filename("config.json");
    bool existed = std::filesystem::exists(config);
    std::string printed = CapturedOutput([&] {
        EXPECT_EQ(sys.SstpUnRegisteDevice(), 1);  // nothing registered, nothing sent
        sys.DeInit();                             // which names the file that it writes
    });
    EXPECT_NE(printed.find("write config file: " + config + "\n"), std::string::npos);
    if (!existed) std::filesystem::remove(config);
}

}  // namespace
