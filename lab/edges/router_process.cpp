#include "lab/edges/router_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>

#include "lab/edges/edge.h"
#include "lab/wire/wire_kinds.h"

namespace {

constexpr int kOutputMode = 0600;
constexpr int kCannotRun = 127;
constexpr int kProbeMs = 5;
constexpr size_t kSmallReply = 64;
constexpr int kFieldsBeforeTimes = 11;  // of /proc/PID/stat, behind the name

std::string AddrText(uint32_t addr) {
    std::ostringstream text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text << (addr >> shift & 0xFF) << (shift > 0 ? "." : "");
    return text.str();
}

}  // namespace

bool RouterProcess::Configure(int subnets) const {
    std::ofstream file(Path("tcr.json"));
    file << "{ \"control\": \"" << Path("control") << "\", \"subnets\": [\n";
    for (int i = 0; i < subnets; ++i) {
        file << "  { \"name\": \"" << SubnetName(i) << "\", \"password\": \"pw\", \"gateway\": \""
             << AddrText(SubnetAddr(i) + 1) << "\", \"netmask\": \"255.255.255.0\" }"
             << (i + 1 < subnets ? ",\n" : "\n");
    }
    file << "] }\n";
    return file.flush().good();
}

bool RouterProcess::Start(std::chrono::milliseconds most) {
    return Make() && Answers(most);
}

bool RouterProcess::Make() {
    std::string port = std::to_string(m_port);
    std::string config = Path("tcr.json");
    std::string state = Path("tcr.db");
    std::string output = Path("out");
    const char* arguments[] = {m_program.c_str(), "-c", config.c_str(), "-s",   state.c_str(), "-b",
                               "127.0.0.1",       "-p", port.c_str(),   nullptr};
    m_pid = fork();
    if (m_pid != 0) return m_pid > 0;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    int out = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kOutputMode);
    dup2(out, STDOUT_FILENO);
    dup2(out, STDERR_FILENO);
    execv(m_program.c_str(), const_cast<char* const*>(arguments));
    _exit(kCannotRun);
}

void RouterProcess::Kill() {
    if (m_pid <= 0) return;
    kill(m_pid, SIGKILL);
    while (waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    m_pid = 0;
}

// Echoes until one is answered. Before the socket is open the system refuses them at once.
bool RouterProcess::Answers(std::chrono::milliseconds most) const {
    sockaddr_in central = {};
    central.sin_family = AF_INET;
    central.sin_port = htons(m_port);
    central.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int probe = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    bool connected =
        connect(probe, reinterpret_cast<const sockaddr*>(&central), sizeof central) == 0;
    WireMessage echo{.type = 3, .sub = wire_sub::kEcho, .src = kWireCentral, .dst = kWireCentral};
    WireBytes bytes = echo.Encode();
    Clock::time_point end = Clock::now() + most;
    bool answered = false;
    while (connected && !answered && Clock::now() < end) {
        send(probe, bytes.data(), bytes.size(), 0);
        pollfd wait = {probe, POLLIN, 0};
        poll(&wait, 1, kProbeMs);
        uint8_t reply[kSmallReply];
        answered = recv(probe, reply, sizeof reply, MSG_DONTWAIT) > 0;
    }
    close(probe);
    return answered;
}

long RouterProcess::MemoryKb() const {
    std::ifstream file("/proc/" + std::to_string(m_pid) + "/status");
    std::string name;
    long value = 0;
    while (file >> name) {
        if (name == "VmRSS:" && file >> value) return value;
    }
    return 0;
}

double RouterProcess::CpuSeconds() const {
    std::ifstream file("/proc/" + std::to_string(m_pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    size_t behind_name = text.rfind(')');
    if (behind_name == std::string::npos) return 0;
    std::istringstream fields(text.substr(behind_name + 1));
    std::string skipped;
    for (int i = 0; i < kFieldsBeforeTimes + 1; ++i)
        fields >> skipped;
    double user = 0;
    double system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}
