#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <utility>

#include "lab/wire/wire_bytes.h"
#include "tcr/tcr_time.h"

// How bad the road between edges and central router is: of a hundred datagrams so many are lost,
// doubled or held up, each up to that long.
struct RoadQuality {
    unsigned lost = 0;
    unsigned doubled = 0;
    unsigned late = 0;
    unsigned delay_ms = 20;
    unsigned late_ms = 0;
};

// Carries datagrams as the quality and a random source want it; each copy takes a time of its own,
// so that they overtake each other.
class RoughRoad {
  public:
    struct Datagram {
        uint16_t port = 0;  // the edge's end
        bool to_edge = false;
        WireBytes bytes;
    };

    explicit RoughRoad(std::mt19937& random) : m_random(random) {}

    // A sure one is not lost, but may be doubled and late.
    void Put(const Datagram& datagram, TcrTime now, bool sure = false) {
        if (OneIn(quality.lost) && !sure) return;
        int copies = OneIn(quality.doubled) ? 2 : 1;
        for (int i = 0; i < copies; ++i) {
            unsigned most = OneIn(quality.late) ? quality.late_ms : quality.delay_ms;
            m_under_way.emplace(now + 1 + static_cast<TcrTime>(m_random() % (most + 1)), datagram);
        }
    }
    bool IsEmpty() const { return m_under_way.empty(); }
    // When the next one arrives. Precondition: it is not empty.
    TcrTime NextAt() const { return m_under_way.begin()->first; }
    Datagram Take() { return std::move(m_under_way.extract(m_under_way.begin()).mapped()); }

    RoadQuality quality;

  private:
    bool OneIn(unsigned percent) { return m_random() % 100 < percent; }

    std::mt19937& m_random;
    std::multimap<TcrTime, Datagram> m_under_way;
};
