#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tcr/snapshot.h"

// How much went through the central router in the last hour, and how long round trips took: of all
// edges, of each subnet and of each edge, one sample every ten seconds. Made from snapshots; its
// memory is bounded, 6 kB for each edge and subnet. One thread.
class TcrTrafficHistory {
  public:
    static constexpr int64_t kStepMs = 10'000;
    static constexpr size_t kSamples = 360;
    // Edges beyond these have no history of their own.
    static constexpr size_t kMaxEdges = 4096;

    struct Sample {
        // Bytes a second since the sample before; NAN: not known.
        float from_edges = NAN;
        float to_edges = NAN;
        // Milliseconds, of those edges that are joined: the median and the longest.
        float round_trip = NAN;
        float longest_round_trip = NAN;
    };
    using Samples = std::vector<Sample>;  // the oldest first, at most kSamples

    // Adds a sample; about every kStepMs.
    void Add(const TcrSnapshot& snapshot);

    Samples OfAll() const { return InOrder(m_all.ring); }
    // Empty where there is no such subnet or edge, or was none when the last sample was taken.
    Samples OfSubnet(int index) const;
    Samples OfEdge(uint32_t identifier) const;
    // The wall clock at the last sample; 0: there is none.
    int64_t UnixMillis() const { return m_unix_ms; }

  private:
    // Rings of all series are written at the same place at the same time.
    using Ring = std::vector<Sample>;
    struct Series {
        Ring ring = Ring(kSamples);
        uint64_t last_sample = 0;  // in which it had a part
    };
    struct EdgeSeries : Series {
        uint32_t serial = 0;
        uint64_t from_bytes = 0;
        uint64_t to_bytes = 0;
    };
    struct SubnetSeries : Series {
        std::string name;
    };
    // What a sample of several edges is made of.
    struct Sum;

    void AddEdge(const TcrSnapshotEdge& edge, double seconds, Sum& subnet, Sum& all);
    EdgeSeries* FindEdge(const TcrSnapshotEdge& edge);
    void AddSubnet(const TcrSnapshotSubnet& subnet, Sum& sum);
    void Write(Series& series, const Sample& sample);
    bool IsCurrent(const Series& series) const { return series.last_sample == m_taken; }
    Samples InOrder(const Ring& ring) const;
    template <typename Map>
    void Forget(Map& map);

    Series m_all;
    std::map<int, SubnetSeries> m_subnets;
    std::map<uint32_t, EdgeSeries> m_edges;
    uint64_t m_taken = 0;     // samples
    bool m_left_out = false;  // edges, of the last one
    bool m_knew_all = false;  // those that were there at the one before
    int64_t m_unix_ms = 0;
    int64_t m_uptime_ms = 0;
};
