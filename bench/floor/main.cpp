// The floor: what carrying packets costs with this wire format and nothing around it. The yardstick
// of scripts/bench.
//
//     bench-floor [--batched] [--port N] edge INTERFACE HUB NUMBER PEER
//     bench-floor [--batched] [--port N] hub EDGE...
//
// HUB and EDGE are IPv4 addresses, NUMBER and PEER the places of this edge and of the other one in
// the hub's list, from 0. Both sides use the same port. Runs until a signal ends it. --batched
// carries many packets with each system call where the kernel does.

#include <getopt.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/floor/batched.h"
#include "bench/floor/floor_io.h"
#include "bench/floor/plain.h"

namespace {

constexpr uint16_t kDefaultPort = 1931;
constexpr int kEdgeArguments = 5;
constexpr int kFewestHubArguments = 2;

struct Options {
    bool batched = false;
    uint16_t port = kDefaultPort;
};

bool ParseOptions(int argc, char** argv, Options& options) {
    constexpr option kOptions[] = {
        {"batched", no_argument, nullptr, 'b'},
        {"port", required_argument, nullptr, 'p'},
        {nullptr, 0, nullptr, 0},
    };
    for (int c; (c = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
        if (c == 'b') {
            options.batched = true;
        } else if (c == 'p') {
            options.port = static_cast<uint16_t>(atoi(optarg));
        } else {
            return false;
        }
    }
    return true;
}

void RunEdge(const Options& options, char** arguments) {
    int interface = OpenFloorInterface(arguments[1], options.batched);
    int udp = OpenFloorSocket(options.port);
    sockaddr_in hub = FloorAddress(arguments[2], options.port);
    FloorRoute route;
    route.src = static_cast<uint32_t>(atoi(arguments[3]));
    route.dst = static_cast<uint32_t>(atoi(arguments[4]));
    options.batched ? RunBatchedEdge(interface, udp, hub, route)
                    : RunPlainEdge(interface, udp, hub, route);
}

void RunHub(const Options& options, char** arguments) {
    std::vector<sockaddr_in> edges;
    for (char** edge = arguments + 1; *edge; ++edge)
        edges.push_back(FloorAddress(*edge, options.port));
    int udp = OpenFloorSocket(options.port);
    options.batched ? RunBatchedHub(udp, edges) : RunPlainHub(udp, edges);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    bool parsed = ParseOptions(argc, argv, options);
    int left = argc - optind;
    char** arguments = argv + optind;
    if (parsed && left == kEdgeArguments && strcmp(arguments[0], "edge") == 0) {
        RunEdge(options, arguments);
    } else if (parsed && left >= kFewestHubArguments && strcmp(arguments[0], "hub") == 0) {
        RunHub(options, arguments);
    }
    fprintf(stderr,
            "Usage: bench-floor [--batched] [--port N] edge INTERFACE HUB NUMBER PEER\n"
            "       bench-floor [--batched] [--port N] hub EDGE...\n");
    return 2;
}
