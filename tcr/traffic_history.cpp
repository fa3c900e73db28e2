#include "tcr/traffic_history.h"

#include <algorithm>

namespace {

constexpr double kMicrosPerMilli = 1000;
constexpr double kMillisPerSecond = 1000;

// Where the count began anew there is no rate.
float Rate(uint64_t before, uint64_t now, double seconds) {
    if (now < before || !(seconds > 0)) return NAN;
    return static_cast<float>(static_cast<double>(now - before) / seconds);
}

}  // namespace

struct TcrTrafficHistory::Sum {
    double from_edges = 0;
    double to_edges = 0;
    std::vector<float> round_trips = {};

    void Add(const Sample& sample) {
        if (!std::isnan(sample.from_edges)) from_edges += sample.from_edges;
        if (!std::isnan(sample.to_edges)) to_edges += sample.to_edges;
        if (!std::isnan(sample.round_trip)) round_trips.push_back(sample.round_trip);
    }
    // Whether there was a sample before.
    Sample Whole(bool has_rate) {
        Sample sample;
        if (has_rate) {
            sample.from_edges = static_cast<float>(from_edges);
            sample.to_edges = static_cast<float>(to_edges);
        }
        if (round_trips.empty()) return sample;
        auto middle = round_trips.begin() + static_cast<ptrdiff_t>(round_trips.size() / 2);
        std::nth_element(round_trips.begin(), middle, round_trips.end());
        sample.round_trip = *middle;
        sample.longest_round_trip = *std::max_element(round_trips.begin(), round_trips.end());
        return sample;
    }
};

void TcrTrafficHistory::Add(const TcrSnapshot& snapshot) {
    double seconds = static_cast<double>(snapshot.uptime_ms - m_uptime_ms) / kMillisPerSecond;
    if (m_taken == 0) seconds = 0;
    m_uptime_ms = snapshot.uptime_ms;
    m_unix_ms = snapshot.unix_ms;
    m_knew_all = m_taken > 0 && !m_left_out;
    m_left_out = false;
    ++m_taken;
    Sum all;
    for (const TcrSnapshotSubnet& subnet : snapshot.subnets) {
        Sum sum;
        for (size_t i = 0; i < subnet.edge_count; ++i)
            AddEdge(snapshot.edges[subnet.first_edge + i], seconds, sum, all);
        AddSubnet(subnet, sum);
    }
    Write(m_all, all.Whole(seconds > 0));
    Forget(m_edges);
    Forget(m_subnets);
}

void TcrTrafficHistory::AddEdge(const TcrSnapshotEdge& edge, double seconds, Sum& subnet,
                                Sum& all) {
    EdgeSeries* series = FindEdge(edge);
    if (!series) {
        m_left_out = true;
        return;
    }
    Sample sample;
    // One that came since the last sample was counted from nothing.
    if (series->last_sample != 0 || m_knew_all) {
        sample.from_edges = Rate(series->from_bytes, edge.from_edge.bytes, seconds);
        sample.to_edges = Rate(series->to_bytes, edge.to_edge.bytes, seconds);
    }
    if (edge.state == TcrEdgeState::kJoined && edge.round_trip_us >= 0) {
        sample.round_trip =
            static_cast<float>(static_cast<double>(edge.round_trip_us) / kMicrosPerMilli);
        sample.longest_round_trip = sample.round_trip;
    }
    series->from_bytes = edge.from_edge.bytes;
    series->to_bytes = edge.to_edge.bytes;
    Write(*series, sample);
    subnet.Add(sample);
    all.Add(sample);
}

TcrTrafficHistory::EdgeSeries* TcrTrafficHistory::FindEdge(const TcrSnapshotEdge& edge) {
    auto found = m_edges.find(edge.identifier);
    if (found == m_edges.end()) {
        if (m_edges.size() >= kMaxEdges) return nullptr;
        found = m_edges.try_emplace(edge.identifier).first;
    } else if (found->second.serial != edge.serial) {
        found->second = {};  // another edge has the slot now
    }
    found->second.serial = edge.serial;
    return &found->second;
}

void TcrTrafficHistory::AddSubnet(const TcrSnapshotSubnet& subnet, Sum& sum) {
    SubnetSeries& series = m_subnets[subnet.index];
    if (series.name != subnet.name) series = {};  // the index was given to another
    bool has_rate = series.last_sample != 0;
    series.name = subnet.name;
    Write(series, sum.Whole(has_rate));
}

void TcrTrafficHistory::Write(Series& series, const Sample& sample) {
    series.ring[(m_taken - 1) % kSamples] = sample;
    series.last_sample = m_taken;
}

// What is gone leaves at once: edges that are away stay in the snapshot as long as they have a
// slot.
template <typename Map>
void TcrTrafficHistory::Forget(Map& map) {
    std::erase_if(map, [&](const auto& entry) { return !IsCurrent(entry.second); });
}

TcrTrafficHistory::Samples TcrTrafficHistory::OfSubnet(int index) const {
    auto found = m_subnets.find(index);
    return found == m_subnets.end() ? Samples() : InOrder(found->second.ring);
}

TcrTrafficHistory::Samples TcrTrafficHistory::OfEdge(uint32_t identifier) const {
    auto found = m_edges.find(identifier);
    return found == m_edges.end() ? Samples() : InOrder(found->second.ring);
}

TcrTrafficHistory::Samples TcrTrafficHistory::InOrder(const Ring& ring) const {
    size_t count = static_cast<size_t>(std::min<uint64_t>(m_taken, kSamples));
    Samples samples;
    samples.reserve(count);
    for (uint64_t i = m_taken - count; i < m_taken; ++i)
        samples.push_back(ring[i % kSamples]);
    return samples;
}
