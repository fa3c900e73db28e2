#include "lab/road/road_end.h"

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

constexpr size_t kMaxFrame = 65536;

}  // namespace

RoadEnd::~RoadEnd() {
    if (m_fd >= 0) close(m_fd);
}

bool RoadEnd::Open(const char* interface) {
    sockaddr_ll addr = {};
    addr.sll_family = AF_PACKET;
    addr.sll_protocol = htons(ETH_P_ALL);
    addr.sll_ifindex = static_cast<int>(if_nametoindex(interface));
    m_fd = socket(AF_PACKET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (addr.sll_ifindex == 0 || m_fd < 0 ||
        bind(m_fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        fprintf(stderr, "%s: %s\n", interface, strerror(errno));
        return false;
    }
    m_buffer.resize(kMaxFrame);
    packet_mreq all = {};
    all.mr_ifindex = addr.sll_ifindex;
    all.mr_type = PACKET_MR_PROMISC;
    setsockopt(m_fd, SOL_PACKET, PACKET_ADD_MEMBERSHIP, &all, sizeof all);
    return true;
}

bool RoadEnd::Receive(Frame& frame) {
    for (;;) {
        sockaddr_ll from = {};
        socklen_t size = sizeof from;
        ssize_t n = recvfrom(m_fd, m_buffer.data(), m_buffer.size(), 0,
                             reinterpret_cast<sockaddr*>(&from), &size);
        if (n <= 0) return false;
        // The system shows us what we send, too.
        if (from.sll_pkttype == PACKET_OUTGOING) continue;
        frame.assign(m_buffer.begin(), m_buffer.begin() + n);
        return true;
    }
}

void RoadEnd::Send(const Frame& frame) {
    [[maybe_unused]] ssize_t n = send(m_fd, frame.data(), frame.size(), 0);
}
