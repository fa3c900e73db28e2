// Simulated edges against a real central router: they join, send heartbeats and packets to each
// other, and survive that it is killed. scripts/edges runs it.
//
//     tamvo-edges EDGES PROGRAM FOLDER
//
// PROGRAM is tamvo-tcr, FOLDER an empty one for its configuration, state and output. Prints
// figures; exit status 1 with the reasons if something did not hold, 2 when it could not begin.
//
//     tamvo-edges EDGES 127.0.0.1:PORT [LABEL...]
//
// joins a central router that runs there, which serves the subnets (those that the first form
// configures), and sends until SIGINT or SIGTERM; of each subnet one edge falls silent and one logs
// out. The first edges have those labels. Prints "joined" once all have.

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>

#include "lab/edges/crowd.h"
#include "lab/edges/router_process.h"
#include "lab/edges/run.h"

namespace {

constexpr int kExitUse = 2;
constexpr int kMaxEdges = 16 * 1024;  // as many as a central router serves
constexpr char kLoopback[] = "127.0.0.1:";

// A port of 127.0.0.1 that nobody has, nor gets until it is released: the sockets of thousands of
// edges take many.
class FreePort {
  public:
    FreePort() : m_probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in addr = {};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof addr;
        bool bound = bind(m_probe, reinterpret_cast<sockaddr*>(&addr), length) == 0 &&
                     getsockname(m_probe, reinterpret_cast<sockaddr*>(&addr), &length) == 0;
        if (bound) m_number = ntohs(addr.sin_port);
    }
    ~FreePort() { Release(); }
    FreePort(const FreePort&) = delete;
    FreePort& operator=(const FreePort&) = delete;

    // 0 when there was none; errno tells why.
    uint16_t Number() const { return m_number; }
    void Release() {
        if (m_probe >= 0) close(m_probe);
        m_probe = -1;
    }

  private:
    int m_probe;
    uint16_t m_number = 0;
};

sockaddr_in Loopback(uint16_t port) {
    sockaddr_in central = {};
    central.sin_family = AF_INET;
    central.sin_port = htons(port);
    central.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return central;
}

int RunCrowd(int edges, const char* port, std::span<char*> labels) {
    Crowd crowd(edges, Loopback(static_cast<uint16_t>(atoi(port))));
    if (!crowd.Prepare(labels)) {
        fprintf(stderr, "tamvo-edges: no sockets for %d edges: %s\n", edges, strerror(errno));
        return kExitUse;
    }
    return crowd.Stay() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IOLBF, 0);
    std::span<char*> arguments(argv, static_cast<size_t>(argc));
    std::string where = argc >= 3 ? argv[2] : "";
    bool is_crowd = where.starts_with(kLoopback);
    int edges = argc == 4 || is_crowd ? atoi(argv[1]) : 0;
    if (edges < 2 || edges > kMaxEdges) {
        fprintf(stderr,
                "usage: tamvo-edges EDGES PROGRAM FOLDER, or\n"
                "       tamvo-edges EDGES 127.0.0.1:PORT [LABEL...]; 2 to %d edges\n",
                kMaxEdges);
        return kExitUse;
    }
    if (is_crowd) return RunCrowd(edges, where.c_str() + strlen(kLoopback), arguments.subspan(3));
    FreePort port;
    if (port.Number() == 0) {
        fprintf(stderr, "tamvo-edges: no free port: %s\n", strerror(errno));
        return kExitUse;
    }
    RouterProcess router(argv[2], argv[3], port.Number());
    Run run(edges, router, Loopback(port.Number()));
    if (!run.Prepare()) {
        fprintf(stderr, "tamvo-edges: no sockets for %d edges: %s\n", edges, strerror(errno));
        return kExitUse;
    }
    port.Release();
    return run.Steps() ? 0 : 1;
}
