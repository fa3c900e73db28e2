// The edge's configuration file, read and written back, and the same bytes as the central router's
// file; and what a check before a start finds in both, and shows.
//
// Input: the file.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "cfg/cfg_check.h"
#include "cfg/sys_cfg.h"
#include "ctl/check_file.h"
#include "fuzz/fuzz_input.h"
#include "ops/json_reply.h"
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
    bool is_good = central_router.ReadFile(path, fault);
    if (!is_good && fault.empty()) abort();
    // What a start refuses a check finds, too; and no line lies beyond the file's.
    CTConfigFaults faults = TcrConfig::Check(path);
    if (!is_good && faults.empty()) abort();
    CTConfigFaults more = CTCfgCheck::CheckFile(path);
    faults.insert(faults.end(), more.begin(), more.end());
    auto lines = 1 + std::count(data, data + size, '\n');
    for (const CTConfigFault& found : faults) {
        if (found.line < 0 || found.line > lines || found.text.empty()) abort();
    }
    CtlFileCheck check = ctl_check_file(path);
    for (char c : ctl_show_check(path, check, false)) {
        if (c != '\n' && (static_cast<unsigned char>(c) < ' ' || c == '\x7F')) abort();
    }
    CTJsonTree shown(cJSON_Parse(ctl_check_json(path, check).c_str()));
    if (!shown) abort();
    close(fd);
    return 0;
}
