#include "sys/daemon.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "tests/support/scratch_dir.h"

namespace {

// What the daemon finds around itself, written into the pipe that it is given by name.
[[noreturn]] void ReportFromDaemon(const std::string& pipe, pid_t callers_session) {
    std::string report = "cwd " + std::filesystem::current_path().string() + "\n";
    report += "in a new session " + std::to_string(getsid(0) != callers_session) + "\n";
    report += "leads its session " + std::to_string(getsid(0) == getpid()) + "\n";
    mode_t mask = umask(0);
    report += "umask " + std::to_string(mask) + "\n";
    report += "ignores SIGCHLD " + std::to_string(signal(SIGCHLD, SIG_DFL) == SIG_IGN) + "\n";
    for (int fd = 0; fd < 256; ++fd) {
        std::string link = "/proc/self/fd/" + std::to_string(fd);
        std::error_code none;
        std::filesystem::path target = std::filesystem::read_symlink(link, none);
        if (!none) report += std::to_string(fd) + " " + target.string() + "\n";
    }
    int fd = open(pipe.c_str(), O_WRONLY);
    ssize_t n = write(fd, report.data(), report.size());
    _exit(n == static_cast<ssize_t>(report.size()) ? 0 : 1);
}

TEST(Daemon, IsDetachedAndHasNothingOpenButDevNull) {
    ScratchDir dir;
    std::string pipe = dir.File("report");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    pid_t session = getsid(0);
    pid_t child = fork();
    if (child == 0) {
        if (init_daemon(dir.Path().c_str()) != 0) _exit(9);
        ReportFromDaemon(pipe, session);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);    // the caller's process ends at once
    std::ifstream in(pipe);  // waits for the daemon
    std::string report{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    EXPECT_EQ(report, "cwd " + dir.Path() +
                          "\nin a new session 1\nleads its session 0\numask 0\nignores SIGCHLD 1\n"
                          "0 /dev/null\n1 /dev/null\n2 /dev/null\n");
}

}  // namespace
