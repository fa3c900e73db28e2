// The two programs as a user meets them on the command line. Nothing here gets as far as opening
// an interface.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>

#include "tests/support/notify_socket.h"
#include "tests/support/scratch_dir.h"
#include "tests/support/udp_peer.h"

namespace {

const std::string kEdge = TAMVO_PROGRAM;
const std::string kCentralRouter = TAMVO_TCR_PROGRAM;
constexpr char kHelp[] =
    "Usage: Tamvo [OPTIONS] \n"
    "\n"
    "Tamvo version: 0.1.5\n"
    "Tamvo virtual local area network usage.\n"
    "\n"
    "Options:\n"
    "  -c, --config FILE     Specify config file (default: config.json)\n"
    "  -v, --version         Display Tamvo version information\n"
    "  -h, --help            Display this help message\n"
    "\n";

// What is printed on both channels, and the exit status.
using Outcome = std::pair<std::string, int>;

Outcome OutcomeOf(const std::string& command) {
    std::string output;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    char buf[256];
    while (size_t n = fread(buf, 1, sizeof buf, pipe))
        output.append(buf, n);
    int status = pclose(pipe);
    return {output, WEXITSTATUS(status)};
}

TEST(Programs, TheEdgeTellsVersionBeforeHelpAndExitsWithZero) {
    EXPECT_EQ(OutcomeOf(kEdge + " -h -v"), Outcome("Tamvo Version: 0.1.5\n", 0));
    for (const char* arguments : {" -h", " -x 2>/dev/null", " -c 2>/dev/null"})
        EXPECT_EQ(OutcomeOf("(" + kEdge + arguments + ")"), Outcome(kHelp, 0)) << arguments;
}

TEST(Programs, TheCentralRouterTellsItsFaultsInOneLineAndExitsWithTwo) {
    EXPECT_EQ(OutcomeOf(kCentralRouter + " -v"), Outcome("tamvo-tcr 0.1.5\n", 0));
    EXPECT_EQ(OutcomeOf(kCentralRouter + " -h").second, 0);
    ScratchDir dir;
    std::string file = dir.File("tcr.json");
    WriteWholeFile(file, "{\"subnets\": [{\"name\": 5}]}");
    UdpPeer taken;
    std::string port = std::to_string(taken.Port());
    // Free again as soon as it is known.
    std::string free = std::to_string(UdpPeer().Port());
    const std::pair<std::string, std::string> faults[] = {
        {" -c " + file, file + ": \"subnets[0].name\": is not a text\n"},
        {" -c " + dir.File("none"), dir.File("none") + ": cannot be opened\n"},
        {" -p " + port,
         "127.0.0.1 port " + port + ": cannot be listened on: Address already in use\n"},
        {" -b nowhere", "-b nowhere: is not an IPv4 address\n"},
        {" -p 0", "-p 0: is not a port from 1 to 65535\n"},
        {" -p 65536", "-p 65536: is not a port from 1 to 65535\n"},
        {" -s ''", "-s: is not the name of a file\n"},
        {" -p " + free + " -s " + file, file + ": is not a database\n"},
        {" -p " + free + " -s " + dir.File("no/state"),
         dir.File("no/state") + ": cannot be made: No such file or directory\n"},
        {" something", "unexpected argument something\n"},
    };
    for (const auto& [arguments, fault] : faults)
        EXPECT_EQ(OutcomeOf(kCentralRouter + arguments), Outcome("tamvo-tcr: " + fault, 2));
}

TEST(Programs, TheCentralRouterTellsAManagerHowItIsFromItsStartToItsEnd) {
    ScratchDir dir;
    std::string file = dir.File("tcr.json");
    WriteWholeFile(file, "{\"bind\": \"127.0.0.2\", \"port\": " + std::to_string(UdpPeer().Port()) +
                             ", \"subnets\": [{\"name\": \"n\", \"password\": \"p\", "
                             "\"gateway\": \"10.0.0.1\", \"netmask\": \"255.0.0.0\"}]}");
    NotifySocket manager(300);
    FILE* program = popen(("exec " + kCentralRouter + " -c " + file + " -s " + dir.File("tcr.db") +
                           " & echo $!; wait $!")
                              .c_str(),
                          "r");
    int pid = 0;
    ASSERT_EQ(fscanf(program, "%d", &pid), 1);
    EXPECT_EQ(manager.Next(), "WATCHDOG=1");
    EXPECT_EQ(manager.Next().substr(0, 32), "STATUS=listens on 127.0.0.2 port");
    EXPECT_EQ(manager.Next(), "READY=1");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(manager.Next(), "WATCHDOG=1");
    kill(pid, SIGHUP);
    EXPECT_TRUE(manager.Tells("RELOADING=1"));
    EXPECT_TRUE(manager.Tells("READY=1"));
    // One that stands still is not alive, whatever else its process does.
    kill(pid, SIGSTOP);
    while (!manager.Next(300).empty()) {
    }
    kill(pid, SIGCONT);
    EXPECT_TRUE(manager.Tells("WATCHDOG=1"));
    kill(pid, SIGTERM);
    EXPECT_TRUE(manager.Tells("STOPPING=1"));
    EXPECT_EQ(WEXITSTATUS(pclose(program)), 0);
}

}  // namespace
