#include "ctl/check_file.h"

#include <strings.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>

#include "cfg/cfg_check.h"
#include "cfg/cfg_keys.h"
#include "cfg/json_object.h"
#include "ctl/table.h"
#include "ctl/terminal_text.h"
#include "ops/json_reply.h"
#include "tcr/tcr_config.h"

namespace {

constexpr const char* kEdgeKeys[] = {cfg_key::kSubnet, cfg_key::kLocalRouter, cfg_key::kLan,
                                     cfg_key::kCentralRouter, cfg_key::kSstp};
// Those that no section of an edge's file is likely to be mistaken for.
constexpr const char* kCentralRouterKeys[] = {"subnets", "lowest version", "silent after", "state",
                                              "control", "bind",           "port",         "http"};

// As much of the file as its readers take, and a byte more.
std::string Load(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string text;
    for (char c; text.size() <= CTJsonObject::kMaxFileSize && in.get(c);)
        text += c;
    return text;
}

CTJsonTree Parse(const std::string& path) {
    std::string text = Load(path);
    return CTJsonTree(cJSON_ParseWithLength(text.data(), text.size()));
}

// What is no plain file, as a pipe, is read once only: its content is put where it can be read
// again.
class Readable {
  public:
    explicit Readable(const std::string& path) : m_path(path) {
        struct stat found;
        bool once = stat(path.c_str(), &found) == 0 && !S_ISREG(found.st_mode) &&
                    !S_ISDIR(found.st_mode) && access(path.c_str(), R_OK) == 0;
        if (!once) return;
        m_fd = memfd_create("check", MFD_CLOEXEC);
        std::string text = Load(path);
        bool kept =
            m_fd >= 0 && write(m_fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        if (kept) m_path = "/proc/self/fd/" + std::to_string(m_fd);
    }
    ~Readable() {
        if (m_fd >= 0) close(m_fd);
    }
    Readable(const Readable&) = delete;
    Readable& operator=(const Readable&) = delete;

    const std::string& Path() const { return m_path; }

  private:
    std::string m_path;
    int m_fd = -1;
};

CtlFileKind KindOf(const cJSON* root) {
    int edge = 0;
    int central = 0;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, root) {
        const char* name = item->string ? item->string : "";
        for (const char* key : kEdgeKeys)
            edge += strcasecmp(key, name) == 0 ? 1 : 0;
        for (const char* key : kCentralRouterKeys)
            central += strcmp(key, name) == 0 ? 1 : 0;
    }
    if (edge == 0 && central == 0) return CtlFileKind::kUnknown;
    return central > edge ? CtlFileKind::kCentralRouter : CtlFileKind::kEdge;
}

const char* KindName(CtlFileKind kind) {
    switch (kind) {
        case CtlFileKind::kEdge:
            return "edge";
        case CtlFileKind::kCentralRouter:
            return "central router";
        case CtlFileKind::kUnknown:
            break;
    }
    return "unknown";
}

}  // namespace

CtlFileCheck ctl_check_file(const std::string& named) {
    Readable file(named);
    const std::string& path = file.Path();
    CTJsonTree root = Parse(path);
    CtlFileCheck check;
    if (cJSON_IsObject(root.get())) check.kind = KindOf(root.get());
    if (check.kind == CtlFileKind::kCentralRouter) {
        check.faults = TcrConfig::Check(path);
        return check;
    }
    check.faults = CTCfgCheck::CheckFile(path);
    if (check.kind == CtlFileKind::kUnknown && cJSON_IsObject(root.get())) {
        check.faults.insert(check.faults.begin(),
                            {0, "has no key of an edge's file, nor of a central router's"});
    }
    return check;
}

std::string ctl_show_check(const std::string& path, const CtlFileCheck& check, bool colour) {
    std::string file = ctl_terminal_text(path);
    if (check.faults.empty()) {
        return file + ": " + ctl_styled("in order", CtlStyle::kGood, colour) + " (" +
               KindName(check.kind) + ")\n";
    }
    std::string text;
    for (const CTConfigFault& fault : check.faults) {
        std::string line = fault.line > 0 ? ":" + std::to_string(fault.line) : "";
        text += ctl_styled(file + line + ":", CtlStyle::kHead, colour) + " " +
                ctl_terminal_text(fault.text) + "\n";
    }
    return text;
}

std::string ctl_check_json(const std::string& path, const CtlFileCheck& check) {
    CTJsonTree root(cJSON_CreateObject());
    control_add_number(root.get(), "schema", 1);
    control_add_text(root.get(), "file", path);
    control_add_text(root.get(), "kind", KindName(check.kind));
    cJSON* faults = control_add_array(root.get(), "faults");
    for (const CTConfigFault& fault : check.faults) {
        cJSON* object = control_append_object(faults);
        if (fault.line > 0) {
            control_add_number(object, "line", fault.line);
        } else {
            control_add_null(object, "line");
        }
        control_add_text(object, "text", fault.text);
    }
    return control_print(root.get());
}
