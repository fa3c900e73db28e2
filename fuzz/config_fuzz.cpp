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

namespace {

// A file that exists only for this process, by a name under /proc.
class MemoryFile {
  public:
    MemoryFile() : m_fd(memfd_create("config", MFD_CLOEXEC)) {}
    ~MemoryFile() { close(m_fd); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_fd); }
    bool Write(const uint8_t* data, size_t size) const {
        return write(m_fd, data, size) == static_cast<ssize_t>(size);
    }

  private:
    int m_fd;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MemoryFile file;
    if (!file.Write(data, size)) return 0;
    CTSysCfg edge;
    edge.ReadFromJsonFile(file.Path().c_str());
    edge.Print();
    edge.WriteToJsonFile("/dev/null");
    TcrConfig central_router;
    std::string fault;
    if (!central_router.ReadFile(file.Path(), fault) && fault.empty()) abort();
    return 0;
}
