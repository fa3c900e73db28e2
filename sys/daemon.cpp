#include "sys/daemon.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "base/pvu_fileop.h"

namespace {

constexpr char kDefaultDir[] = "/var/lib/tamvo/";
constexpr int kDescriptors = 256;

// The parent ends here, without a second run of what is to happen at exit.
int ForkAndLeave() {
    pid_t pid = fork();
    if (pid < 0) return -1;
    if (pid > 0) _exit(0);
    return 0;
}

// The next three descriptors that the process opens would be 0, 1 and 2: without /dev/null there,
// the log or the interface would receive what is printed.
void ReplaceDescriptors() {
    for (int fd = 0; fd < kDescriptors; ++fd)
        close(fd);
    int fd = open("/dev/null", O_RDWR);
    while (fd >= 0 && fd < STDERR_FILENO)
        fd = dup(fd);
}

}  // namespace

int init_daemon(const char* dir) {
    if (ForkAndLeave() != 0) return -1;
    setsid();
    if (ForkAndLeave() != 0) return -1;
    ReplaceDescriptors();
    if (!dir) {
        CTFileOp::CreateDir(kDefaultDir);
        dir = kDefaultDir;
    }
    // Nobody is left to read it when that fails; files then lie where the program was started.
    [[maybe_unused]] int result = chdir(dir);
    umask(0);
    signal(SIGCHLD, SIG_IGN);
    return 0;
}
