#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

struct cJSON;

// Packets and their bytes, counted in one direction since the start.
struct CTTraffic {
    uint64_t packets = 0;
    uint64_t bytes = 0;

    void Add(uint64_t more_packets, uint64_t more_bytes) {
        packets += more_packets;
        bytes += more_bytes;
    }
};

struct CTTrafficRate {
    double packets_per_second = 0;
    double bytes_per_second = 0;
};

// How fast a direction's traffic was lately: over the last five seconds, or since it is watched
// where that is less. Its owner hands in the counts about once a second; one thread at a time.
class CTTrafficWindow {
  public:
    static constexpr int64_t kSampleMs = 1000;

    // The counts at that time, in milliseconds of a clock that never goes back.
    void Sample(int64_t now, const CTTraffic& count);
    // With the counts at that time. Counts that fell, as of something that began anew, are none.
    CTTrafficRate Rate(int64_t now, const CTTraffic& count) const;

  private:
    static constexpr size_t kSamples = 5;

    struct Entry {
        int64_t at = 0;
        CTTraffic count;
    };

    std::array<Entry, kSamples> m_samples;  // a ring
    size_t m_next = 0;
    size_t m_count = 0;
};

// Adds the object {"packets", "bytes", "packets_per_second", "bytes_per_second"}.
void control_add_traffic(cJSON* parent, const char* key, const CTTraffic& count,
                         const CTTrafficRate& rate);
