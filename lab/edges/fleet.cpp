#include "lab/edges/fleet.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace {

constexpr int kRoundMs = 5;
constexpr size_t kEventsPerRound = 256;

}  // namespace

Fleet::~Fleet() {
    if (m_poll >= 0) close(m_poll);
}

bool Fleet::Make(int edges, const sockaddr_in& central) {
    m_poll = epoll_create1(EPOLL_CLOEXEC);
    if (m_poll < 0) return false;
    for (int i = 0; i < edges; ++i) {
        m_edges.push_back(
            std::make_unique<Edge>(i / kEdgesPerSubnet, static_cast<uint32_t>(i), central));
        Edge& edge = *m_edges.back();
        if (!edge.HasSocket()) return false;
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.ptr = &edge;
        if (epoll_ctl(m_poll, EPOLL_CTL_ADD, edge.Socket(), &event) != 0) return false;
    }
    return true;
}

bool Fleet::Serve(std::chrono::milliseconds most, const std::function<bool()>& done) {
    Clock::time_point end = Clock::now() + most;
    Clock::time_point elapsed_at = Clock::now();
    std::array<epoll_event, kEventsPerRound> events;
    while (!done()) {
        int count = epoll_wait(m_poll, events.data(), kEventsPerRound, kRoundMs);
        Clock::time_point now = Clock::now();
        for (int i = 0; i < count; ++i)
            static_cast<Edge*>(events[static_cast<size_t>(i)].data.ptr)->Read(now);
        if (now - elapsed_at >= std::chrono::milliseconds(kRoundMs)) {
            elapsed_at = now;
            for (std::unique_ptr<Edge>& edge : m_edges)
                edge->Elapse(now);
        }
        if (now >= end) return done();
    }
    return true;
}

bool Fleet::Join(int at_a_time, std::chrono::milliseconds most) {
    size_t next = 0;
    std::vector<Edge*> joining;
    return Serve(most, [&] {
        std::erase_if(joining, [](Edge* edge) {
            if (!edge->IsJoined()) return false;
            edge->SendPacket(kWireCentral, SubnetAddr(edge->subnet) + 1);
            return true;
        });
        while (next < m_edges.size() && joining.size() < static_cast<size_t>(at_a_time)) {
            joining.push_back(m_edges[next++].get());
            joining.back()->StartJoin(Clock::now());
        }
        return joining.empty();
    });
}

std::vector<Edge*> Fleet::PeersOf(const Edge& edge) const {
    std::vector<Edge*> peers;
    size_t first = static_cast<size_t>(edge.subnet) * kEdgesPerSubnet;
    size_t end = std::min(first + kEdgesPerSubnet, m_edges.size());
    for (size_t i = first; i < end; ++i) {
        if (m_edges[i].get() != &edge) peers.push_back(m_edges[i].get());
    }
    return peers;
}

bool Fleet::KnowsAll(const Edge& edge, Clock::time_point since) const {
    std::vector<Edge*> peers = PeersOf(edge);
    return edge.others.size() == peers.size() &&
           std::all_of(peers.begin(), peers.end(), [&](const Edge* peer) {
               auto other = edge.others.find(peer->identifier);
               if (other == edge.others.end() || other->second.size() != 1) return false;
               if (*other->second.begin() != peer->ip) return false;
               auto announced = edge.announced_at.find(peer->ip);
               return announced != edge.announced_at.end() && announced->second >= since;
           });
}

size_t Fleet::CountKnowingAll(Clock::time_point since) const {
    return static_cast<size_t>(
        std::count_if(m_edges.begin(), m_edges.end(),
                      [&](const std::unique_ptr<Edge>& edge) { return KnowsAll(*edge, since); }));
}

uint64_t Fleet::Sum(uint64_t Edge::*counter) const {
    uint64_t sum = 0;
    for (const std::unique_ptr<Edge>& edge : m_edges)
        sum += (*edge).*counter;
    return sum;
}
