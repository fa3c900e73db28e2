#include "tests/support/whole_edge.h"

#include <chrono>
#include <filesystem>
#include <thread>

namespace {

int CountEntries(const char* folder) {
    std::filesystem::directory_iterator begin(folder);
    return static_cast<int>(std::distance(begin, {}));
}

}  // namespace

WholeEdge::WholeEdge(uint16_t central_port, uint32_t serial, const std::string& ip) {
    WriteWholeFile(ConfigPath(),
                   R"({"subnet": {"net name": "qwop", "user name": "qwop", "user password": "qwop"},
                       "local router": {"label": "edge", "serial number": )" +
                       std::to_string(serial) + R"(},
                       "lan": {"mac": "02:00:00:00:00:01", "ip": ")" +
                       ip + R"("},
                       "central router": {"ip": "127.0.0.1", "port": )" +
                       std::to_string(central_port) + R"(},
                       "sstp": {"recv timeout": 100, "heartbeat interval": 2}})");
    CTString path;
    path = ConfigPath().c_str();
    sys.SetConfigFile(path);
}

void WholeEdge::AddSstpKeys(const std::string& keys) {
    std::string config = ReadWholeFile(ConfigPath());
    WriteWholeFile(ConfigPath(), config.insert(config.rfind("}}"), ", " + keys));
}

bool WholeEdge::Start() {
    if (int fd = host.TakeOther(); fd >= 0) sys.GetAdapter().Adopt(fd);
    return m_runs = sys.Start();
}

// The model tells nobody that it changed, so it is looked at again and again.
bool WholeEdge::Becomes(uint32_t ip, bool known) {
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < end) {
        {
            CTReadGuard guard(sys.GetModelLock());
            if (sys.GetExternalSubnet().HasDevice(ip) == known) return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

int CountThreads() {
    return CountEntries("/proc/self/task");
}

int CountDescriptors() {
    return CountEntries("/proc/self/fd");
}
