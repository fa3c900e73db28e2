// The two programs as a user meets them on the command line. Nothing here gets as far as opening
// an interface.

#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/wait.h>

#include <string>

#include "tests/support/scratch_dir.h"
#include "tests/support/udp_peer.h"

namespace {

struct Outcome {
    std::string output;  // both channels
    int status = -1;
};

Outcome RunProgram(const std::string& command) {
    Outcome outcome;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    char buf[256];
    while (size_t n = fread(buf, 1, sizeof buf, pipe))
        outcome.output.append(buf, n);
    outcome.status = WEXITSTATUS(pclose(pipe));
    return outcome;
}

const std::string kEdge = TAMVO_PROGRAM;
const std::string kCentralRouter = TAMVO_TCR_PROGRAM;

TEST(Programs, TheEdgeTellsVersionBeforeHelpAndExitsWithZero) {
    Outcome outcome = RunProgram(kEdge + " -h -v");
    EXPECT_EQ(outcome.output, "Tamvo Version: 0.1.5\n");
    EXPECT_EQ(outcome.status, 0);
    for (const char* arguments : {" -h", " -x", " -c"}) {
        outcome = RunProgram(kEdge + arguments);
        EXPECT_NE(outcome.output.find("Usage: Tamvo [OPTIONS]"), std::string::npos) << arguments;
        EXPECT_EQ(outcome.status, 0) << arguments;
    }
}

TEST(Programs, TheCentralRouterTellsItsFaultsInOneLineAndExitsWithTwo) {
    EXPECT_EQ(RunProgram(kCentralRouter + " -v").output, "tamvo-tcr 0.1.5\n");
    EXPECT_EQ(RunProgram(kCentralRouter + " -h").status, 0);
    ScratchDir dir;
    std::string file = dir.File("tcr.json");
    WriteWholeFile(file, "{\"subnets\": [{\"name\": 5}]}");
    UdpPeer taken;
    std::string port = std::to_string(taken.Port());
    const std::pair<std::string, std::string> faults[] = {
        {" -c " + file, file + ": \"subnets[0].name\": is not a text\n"},
        {" -c " + dir.File("none"), dir.File("none") + ": cannot be opened\n"},
        {" -p " + port,
         "127.0.0.1 port " + port + ": cannot be listened on: Address already in use\n"},
        {" -b nowhere", "-b nowhere: is not an IPv4 address\n"},
        {" -p 0", "-p 0: is not a port from 1 to 65535\n"},
        {" -p 65536", "-p 65536: is not a port from 1 to 65535\n"},
        {" something", "unexpected argument something\n"},
    };
    for (const auto& [arguments, fault] : faults) {
        Outcome outcome = RunProgram(kCentralRouter + arguments);
        EXPECT_EQ(outcome.output, "tamvo-tcr: " + fault);
        EXPECT_EQ(outcome.status, 2);
    }
}

}  // namespace
