// Somebody on the road, for the lab: carries Ethernet frames between an edge's interface and that
// of all others, and does harm on order.
//
//     tamvo-attack FIFO TO-EDGE TO-OTHERS
//
// The FIFO is made, and takes orders, a line each; WAY is "up", from the edge, or "down":
//
//     record               keep what passes from now on
//     replay WAY           send once more what was kept
//     change WAY, cut WAY  spoil copies of the next sealed message, in every place
//     inject WAY EDGE OTHER EDGE-IP OTHER-IP   open messages in the name of the other end; the
//                          edges' identifiers and overlay addresses
//     flood N              N first messages of handshakes from forged addresses
//     drop sealed, drop nothing
//     tell                 what passed
//
// Every order is answered with a line "did ORDER". Runs until SIGINT or SIGTERM.

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

#include "lab/attack/open_messages.h"
#include "lab/attack/road.h"

namespace {

uint32_t Address(const std::string& text) {
    in_addr address = {};
    inet_pton(AF_INET, text.c_str(), &address);
    return ntohl(address.s_addr);
}

uint32_t Number(const std::string& text) {
    return static_cast<uint32_t>(strtoul(text.c_str(), nullptr, 0));
}

bool Inject(Road& road, Way way, std::istream& words) {
    std::string edge, other, edge_ip, other_ip;
    if (!(words >> edge >> other >> edge_ip >> other_ip)) return false;
    Victims victims = {Number(edge), Number(other), Address(edge_ip), Address(other_ip)};
    size_t sent = 0;
    for (const WireMessage& message :
         way == kUp ? MessagesToCentralRouter(victims) : MessagesToEdge(victims)) {
        if (!road.Inject(way, message.Encode())) return false;
        ++sent;
    }
    printf("injected %zu\n", sent);
    return true;
}

// False for an order that cannot be read or carried out.
bool Obey(Road& road, const std::string& order) {
    std::istringstream words(order);
    std::string verb, object;
    words >> verb >> object;
    Way way = object == "up" ? kUp : kDown;
    if (verb == "record") {
        road.Record();
    } else if (verb == "replay") {
        printf("replayed %zu\n", road.Replay(way));
    } else if (verb == "change") {
        road.ChangeNext(way);
    } else if (verb == "cut") {
        road.CutNext(way);
    } else if (verb == "inject") {
        return Inject(road, way, words);
    } else if (verb == "flood") {
        return road.Flood(Number(object));
    } else if (verb == "drop") {
        road.DropSealed(object == "sealed");
    } else if (verb == "tell") {
        road.Tell();
    } else {
        return false;
    }
    return true;
}

void TakeOrders(Road& road, int fifo) {
    char buffer[1024];
    ssize_t n = read(fifo, buffer, sizeof buffer);
    if (n <= 0) return;
    std::istringstream lines(std::string(buffer, static_cast<size_t>(n)));
    for (std::string order; std::getline(lines, order);)
        printf("%s %s\n", Obey(road, order) ? "did" : "cannot", order.c_str());
    fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        fprintf(stderr, "Usage: tamvo-attack FIFO TO-EDGE TO-OTHERS\n");
        return 2;
    }
    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, SIGINT);
    sigaddset(&mask, SIGTERM);
    sigprocmask(SIG_BLOCK, &mask, nullptr);
    int signals = signalfd(-1, &mask, SFD_CLOEXEC);
    mkfifo(argv[1], 0600);
    // For writing too, so that it has no end when nobody writes.
    int fifo = open(argv[1], O_RDWR | O_NONBLOCK | O_CLOEXEC);
    Road road;
    if (signals < 0 || fifo < 0 || !road.Open(argv[2], argv[3])) return 1;
    puts("ready");
    fflush(stdout);
    for (;;) {
        pollfd wait[] = {{road.Handle(kUp), POLLIN, 0},
                         {road.Handle(kDown), POLLIN, 0},
                         {fifo, POLLIN, 0},
                         {signals, POLLIN, 0}};
        poll(wait, 4, road.IsFlooding() ? 1 : -1);
        if (wait[3].revents != 0) break;
        if (wait[2].revents != 0) TakeOrders(road, fifo);
        for (Way way : {kUp, kDown}) {
            if (wait[way].revents != 0) road.Receive(way);
        }
        if (road.IsFlooding()) road.GoOnFlooding();
    }
    close(fifo);
    close(signals);
    return 0;
}
