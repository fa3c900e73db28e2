// Simulated edges against a real central router: they join, send heartbeats and packets to each
// other, and survive that it is killed. scripts/edges runs it.
//
//     tamvo-edges EDGES PROGRAM FOLDER
//
// PROGRAM is tamvo-tcr, FOLDER an empty one for its configuration, state and output. Prints
// figures; exit status 1 with the reasons if something did not hold, 2 when it could not begin.

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lab/edges/router_process.h"
#include "lab/edges/run.h"

namespace {

constexpr int kExitUse = 2;
constexpr int kMaxEdges = 16 * 256;

// A port of 127.0.0.1 that nobody has; 0 when there is none.
uint16_t FreePort() {
    int probe = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof addr;
    bool bound = bind(probe, reinterpret_cast<sockaddr*>(&addr), length) == 0 &&
                 getsockname(probe, reinterpret_cast<sockaddr*>(&addr), &length) == 0;
    close(probe);
    return bound ? ntohs(addr.sin_port) : 0;
}

}  // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IOLBF, 0);
    int edges = argc == 4 ? atoi(argv[1]) : 0;
    if (edges < 2 || edges > kMaxEdges) {
        fprintf(stderr, "usage: tamvo-edges EDGES PROGRAM FOLDER, 2 to %d edges\n", kMaxEdges);
        return kExitUse;
    }
    uint16_t port = FreePort();
    if (port == 0) {
        fprintf(stderr, "tamvo-edges: no free port: %s\n", strerror(errno));
        return kExitUse;
    }
    sockaddr_in central = {};
    central.sin_family = AF_INET;
    central.sin_port = htons(port);
    central.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    RouterProcess router(argv[2], argv[3], port);
    Run run(edges, router, central);
    if (!run.Prepare()) {
        fprintf(stderr, "tamvo-edges: no sockets for %d edges: %s\n", edges, strerror(errno));
        return kExitUse;
    }
    return run.Steps() ? 0 : 1;
}
