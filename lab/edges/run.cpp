#include "lab/edges/run.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "lab/edges/figures.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kAtATime = 200;  // joins under way at once
constexpr auto kStartLimit = seconds(5);
constexpr auto kJoinLimit = seconds(30);
constexpr auto kAnnounceLimit = seconds(20);
constexpr auto kLookAgain = milliseconds(50);  // at what every edge knows, which takes a while
constexpr auto kTraffic = seconds(5);
constexpr milliseconds kHeartbeatInterval = seconds(1);
constexpr milliseconds kPacketInterval = milliseconds(100);
// More edges than these send no more in all: it would measure what these edges' process can send.
// They send nothing of their own at once either.
constexpr int kEdgesAtFullRate = 2048;
constexpr size_t kMostAtOnce = kEdgesAtFullRate;
constexpr size_t kBurst = 64;
constexpr auto kLastPacketLimit = seconds(1);
constexpr auto kRestartLimit = seconds(10);
constexpr auto kAskAgain = milliseconds(100);
// Of a hundred packets so many at least arrive: the loopback interface loses none, a full socket
// buffer may.
constexpr uint64_t kLeastDelivered = 99;

double Milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

// Between what one of so many edges sends.
milliseconds Interval(milliseconds at_full_rate, int edges) {
    return at_full_rate * std::max(edges, kEdgesAtFullRate) / kEdgesAtFullRate;
}

}  // namespace

void Run::Miss(const std::string& what) {
    printf("DOES NOT HOLD: %s\n", what.c_str());
    m_failed = true;
}

bool Run::Steps() {
    if (!m_router.Configure(Subnets()) || !m_router.Start(kStartLimit)) {
        Miss("the central router does not start");
        return false;
    }
    m_idle_kb = m_router.MemoryKb();
    if (!Join()) return false;
    Announcements();
    Traffic();
    KillAndRestart();
    Packets();
    Settled();
    return !m_failed;
}

bool Run::Join() {
    double cpu = m_router.CpuSeconds();
    Clock::time_point begin = Clock::now();
    bool all = m_fleet.Join(kAtATime, kJoinLimit);
    double took = Milliseconds(Clock::now() - begin);
    m_join_cpu = m_router.CpuSeconds() - cpu;
    Figures times;
    for (auto& edge : m_fleet.All()) {
        if (edge->IsJoined()) times.Add(edge->joined_at - edge->join_began);
    }
    printf("joined              %zu of %d edges in %d subnets, %.0f joins a second\n",
           times.Count(), m_count, Subnets(), static_cast<double>(times.Count()) / took * 1000);
    printf("time of a join      median %.1f ms, 99th %.1f ms; %lu requests repeated\n",
           times.Median(), times.Percentile99(), m_fleet.Sum(&Edge::repeats));
    if (!all) Miss("not every edge joined");
    if (m_fleet.Sum(&Edge::faults) != 0) Miss("a reply was wrong");
    return all;
}

// Each edge learns of those that joined after it.
void Run::Announcements() {
    Clock::time_point looked_at = Clock::now();
    bool all = m_fleet.Serve(kAnnounceLimit, [&] {
        if (Clock::now() - looked_at < kLookAgain) return false;
        looked_at = Clock::now();
        return m_fleet.CountKnowingAll() == m_fleet.All().size();
    });
    Figures times;
    for (auto& edge : m_fleet.All()) {
        for (Edge* peer : m_fleet.PeersOf(*edge)) {
            auto learned = edge->learned_at.find(peer->ip);
            if (learned == edge->learned_at.end() || peer->joined_at < edge->joined_at) continue;
            times.Add(learned->second - peer->joined_at);
        }
    }
    printf("announcement        median %.1f ms, 99th %.1f ms, from a join to each earlier edge\n",
           times.Median(), times.Percentile99());
    if (all) return;
    size_t without = m_fleet.All().size() - m_fleet.CountKnowingAll();
    Miss(std::to_string(without) + " edges do not know all others of their subnet");
}

// Heartbeats and packets for a while, each edge at its own moments.
void Run::Traffic() {
    double cpu = m_router.CpuSeconds();
    m_sent_before = m_fleet.Sum(&Edge::packets_sent);
    m_received_before = m_fleet.Sum(&Edge::packets_received);
    Clock::time_point begin = Clock::now();
    // Each sends a heartbeat at least.
    auto lasts = std::max<milliseconds>(kTraffic, 2 * Interval(kHeartbeatInterval, m_count));
    m_fleet.Serve(lasts, [&] {
        SendWhatIsDue(Clock::now() - begin);
        return false;
    });
    WaitForPackets();
    double took = Milliseconds(Clock::now() - begin) / 1000;
    uint64_t packets = m_fleet.Sum(&Edge::packets_sent) - m_sent_before;
    printf("traffic             %.0f packets and %.0f heartbeats a second\n",
           static_cast<double>(packets) / took,
           static_cast<double>(m_fleet.Sum(&Edge::heartbeats_answered)) / took);
    PrintUse(m_router.CpuSeconds() - cpu, packets);
    ExpectDelivered("under traffic");
    bool answered = std::all_of(m_fleet.All().begin(), m_fleet.All().end(),
                                [](const auto& edge) { return edge->heartbeats_answered > 0; });
    if (!answered) Miss("an edge's heartbeats were not answered");
}

void Run::PrintUse(double cpu_seconds, uint64_t packets) {
    long all_kb = m_router.MemoryKb();
    printf("processor time      %.2f ms for each join, %.1f us for each packet\n",
           m_join_cpu * 1000 / m_count, cpu_seconds * 1e6 / static_cast<double>(packets));
    printf(
        "memory              %.1f kB for each edge: %ld kB in all, %ld kB before the first one\n",
        static_cast<double>(all_kb) / m_count, all_kb, m_idle_kb);
}

void Run::SendWhatIsDue(Clock::duration since) {
    for (size_t due = Due(since, Interval(kPacketInterval, m_count), m_packets_due); due > 0;
         --due) {
        Edge& edge = *m_fleet.All()[m_next_packet++ % m_fleet.All().size()];
        std::vector<Edge*> peers = m_fleet.PeersOf(edge);
        if (peers.empty()) continue;
        Edge& peer = *peers[m_next_packet % peers.size()];
        edge.SendPacket(peer.identifier, peer.ip);
    }
    SendHeartbeatsDue(since);
}

void Run::SendHeartbeatsDue(Clock::duration since) {
    for (size_t due = Due(since, Interval(kHeartbeatInterval, m_count), m_heartbeats_due); due > 0;
         --due)
        m_fleet.All()[m_next_heartbeat++ % m_fleet.All().size()]->SendHeartbeat();
}

// How much more is due of what every edge does once in the interval. Where the machine has no time
// for us, what is more than a burst is left out: a burst that fills the central router's socket
// buffer would measure the machine.
size_t Run::Due(Clock::duration since, milliseconds interval, double& done) const {
    double due = Milliseconds(since) / static_cast<double>(interval.count()) * m_count;
    size_t more = std::min(static_cast<size_t>(std::max(0.0, due - done)), kBurst);
    done = std::max(done, std::floor(due));
    return more;
}

void Run::WaitForPackets() {
    uint64_t sent = m_fleet.Sum(&Edge::packets_sent) - m_sent_before;
    m_fleet.Serve(kLastPacketLimit,
                  [&] { return m_fleet.Sum(&Edge::packets_received) - m_received_before >= sent; });
}

void Run::ExpectDelivered(const char* when) {
    uint64_t sent = m_fleet.Sum(&Edge::packets_sent) - m_sent_before;
    uint64_t received = m_fleet.Sum(&Edge::packets_received) - m_received_before;
    if (received * 100 >= sent * kLeastDelivered) return;
    Miss("of " + std::to_string(sent) + " packets " + when + " only " + std::to_string(received) +
         " arrived");
}

void Run::KillAndRestart() {
    for (auto& edge : m_fleet.All())
        edge->heartbeats_answered = 0;
    uint64_t logins = m_fleet.Sum(&Edge::logins);
    m_router.Kill();
    Clock::time_point begin = Clock::now();
    m_restarted_at = begin;
    m_announced_before_restart = m_fleet.Sum(&Edge::announcements);
    bool started = m_router.Start(kStartLimit);
    Clock::time_point asked_at = begin - kAskAgain;
    bool all = started && m_fleet.Serve(kRestartLimit, [&] {
        AskTheSilent(asked_at);
        return std::all_of(m_fleet.All().begin(), m_fleet.All().end(),
                           [](const auto& edge) { return edge->heartbeats_answered > 0; });
    });
    printf("restart             last edge answered %.0f ms after it\n",
           Milliseconds(Clock::now() - begin));
    if (!all) Miss("edges are not answered after the central router was killed");
    if (m_fleet.Sum(&Edge::logins) != logins) Miss("an edge had to log in again");
}

void Run::AskTheSilent(Clock::time_point& asked_at) {
    if (Clock::now() - asked_at < kAskAgain) return;
    asked_at = Clock::now();
    size_t asked = 0;
    for (auto& edge : m_fleet.All()) {
        if (edge->heartbeats_answered > 0) continue;
        edge->SendHeartbeat();
        if (++asked == kMostAtOnce) break;
    }
}

// One from each edge to one other.
void Run::Packets() {
    m_sent_before = m_fleet.Sum(&Edge::packets_sent);
    m_received_before = m_fleet.Sum(&Edge::packets_received);
    size_t sent = 0;
    for (auto& edge : m_fleet.All()) {
        std::vector<Edge*> peers = m_fleet.PeersOf(*edge);
        if (!peers.empty()) edge->SendPacket(peers.front()->identifier, peers.front()->ip);
        if (++sent % kMostAtOnce == 0) WaitForPackets();
    }
    WaitForPackets();
    ExpectDelivered("after the restart");
}

// Every edge has every other one announced anew, and is left with the truth.
void Run::Settled() {
    uint64_t before = m_announced_before_restart;
    Clock::time_point begin = Clock::now();
    Clock::time_point looked_at = begin;
    m_heartbeats_due = 0;
    bool all = m_fleet.Serve(kAnnounceLimit, [&] {
        SendHeartbeatsDue(Clock::now() - begin);
        if (Clock::now() - looked_at < kLookAgain) return false;
        looked_at = Clock::now();
        return m_fleet.CountKnowingAll(m_restarted_at) == m_fleet.All().size();
    });
    printf("announced anew      %.1f commands to each edge, all within %.1f s of the restart\n",
           static_cast<double>(m_fleet.Sum(&Edge::announcements) - before) / m_count,
           Milliseconds(Clock::now() - m_restarted_at) / 1000);
    if (!all) Miss("after the restart an edge does not know all others of its subnet anew");
    if (m_fleet.Sum(&Edge::faults) != 0) Miss("a message was wrong");
}
