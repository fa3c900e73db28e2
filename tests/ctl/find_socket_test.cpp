#include "ctl/find_socket.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "ops/control_socket.h"
#include "tests/support/scratch_dir.h"

namespace {

constexpr uid_t kNobody = 65534;

// That of a service lies in a folder of root's: whoever is not root has to hear that it is not for
// him, and not that there is none.
TEST(FindSocket, NamesTheOneThatItsUserMayNotReach) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root, to be somebody else";
    ScratchDir dir;
    ASSERT_EQ(chmod(dir.Path().c_str(), 0755), 0);
    std::string folder = dir.File("service");
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    CTControlSocket socket;
    std::string fault;
    ASSERT_TRUE(socket.Open(folder + "/control", fault)) << fault;
    setenv("RUNTIME_DIRECTORY", folder.c_str(), 1);
    ASSERT_EQ(seteuid(kNobody), 0);
    std::string found = ctl_find_socket(CtlProgram::kEither, fault);
    ASSERT_EQ(seteuid(0), 0);
    unsetenv("RUNTIME_DIRECTORY");
    EXPECT_EQ(found, folder + "/control") << fault;
}

// On a host with both programs, what only one of them does goes to that one.
TEST(FindSocket, OfACentralRouterIsNoneOfTheEdges) {
    ScratchDir dir;
    ASSERT_EQ(chdir(dir.Path().c_str()), 0);
    std::string fault;
    std::string found = ctl_find_socket(CtlProgram::kCentralRouter, fault);
    if (!found.empty()) {
        EXPECT_EQ(found, "/run/tamvo-tcr/control") << "one runs on this host";
    } else {
        EXPECT_EQ(fault, "no control socket: control /run/tamvo-tcr/control; name one with -s");
    }
    ASSERT_EQ(chdir("/"), 0);
}

}  // namespace
