#include "lab/edges/crowd.h"

#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kAtATime = 16;
constexpr auto kJoinLimit = seconds(30);
constexpr auto kForEver = std::chrono::hours(24);
constexpr auto kRound = milliseconds(100);
constexpr int kRoundsPerHeartbeat = 10;
constexpr size_t kLargestPacket = 1384;
constexpr int kRates = 7;  // that edges differ in
constexpr double kRoundsPerWave = 900;

// Of each subnet.
constexpr int kSilent = Fleet::kEdgesPerSubnet - 5;
constexpr int kGone = Fleet::kEdgesPerSubnet - 9;

std::atomic<bool> g_end = false;

void End(int) {
    g_end = true;
}

// What an edge sends in a round; all of them swell and ebb.
int PacketsOf(int number, int64_t round) {
    double wave = 1.2 + std::sin(2 * M_PI * static_cast<double>(round) / kRoundsPerWave);
    return static_cast<int>(std::lround(wave * (number % kRates) * 0.7));
}

}  // namespace

bool Crowd::Prepare(std::span<char*> labels) {
    if (!m_fleet.Make(m_count, m_central)) return false;
    for (size_t i = 0; i < m_fleet.All().size(); ++i)
        m_fleet.All()[i]->label = i < labels.size() ? labels[i] : "edge-" + std::to_string(i);
    return true;
}

bool Crowd::Stay() {
    signal(SIGINT, End);
    signal(SIGTERM, End);
    if (!m_fleet.Join(kAtATime, kJoinLimit)) {
        printf("not every edge joined\n");
        return false;
    }
    printf("joined\n");
    for (int i = kGone; i < m_count; i += Fleet::kEdgesPerSubnet)
        m_fleet.All()[static_cast<size_t>(i)]->LogOut();
    Clock::time_point begin = Clock::now();
    int64_t done = 0;
    m_fleet.Serve(kForEver, [&] {
        int64_t due = (Clock::now() - begin) / kRound;
        // Where the machine had no time for us, what was due is left out.
        if (due > done) SendPackets(done = due);
        return g_end.load();
    });
    return true;
}

void Crowd::SendPackets(int64_t round) {
    for (int i = 0; i < m_count; ++i) {
        int place = i % Fleet::kEdgesPerSubnet;
        if (place == kSilent || place == kGone) continue;
        Edge& edge = *m_fleet.All()[static_cast<size_t>(i)];
        if ((round + i) % kRoundsPerHeartbeat == 0) edge.SendHeartbeat();
        std::vector<Edge*> peers = m_fleet.PeersOf(edge);
        if (peers.empty()) continue;
        for (int left = PacketsOf(i, round); left > 0; --left) {
            Edge& peer = *peers[static_cast<size_t>(round + left) % peers.size()];
            edge.SendPacket(peer.identifier, peer.ip,
                            kLargestPacket / static_cast<size_t>(1 + i % 3));
        }
    }
}
