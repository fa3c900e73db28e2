// The edge's configuration file, read and written back, and the same bytes as the central router's
// file.
//
// Input: the file.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "cfg/sys_cfg.h"
#include "fuzz/fuzz_input.h"
#include "tcr/tcr_config.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A file that exists only for this process, by a name under /proc.
    int fd = memfd_create("config", MFD_CLOEXEC);
    if (write(fd, data, size) != static_cast<ssize_t>(size)) abort();
    std::string path = "/proc/self/fd/" + std::to_string(fd);
    CTSysCfg edge;
    edge.ReadFromJsonFile(path.c_str());
    edge.Print();
    edge.WriteToJsonFile("/dev/null");
    TcrConfig central_router;
    std::string fault;
    if (!central_router.ReadFile(path, fault) && fault.empty()) abort();
    close(fd);
    return 0;
}
