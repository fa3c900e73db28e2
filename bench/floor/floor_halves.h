#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "bench/floor/floor_wire.h"

// The second halves that wait for their first ones, which follow at once: a place for each of the
// last numbers. What is lost is overwritten by a later one. One thread.
class FloorHalves {
  public:
    struct Half {
        uint8_t data[kFloorPacketMax - kFloorFirstData];
        size_t size = 0;  // 0: none was kept here yet
        uint16_t seq = 0;
    };

    // Keeps the data behind the header; what is longer than any second half is cut.
    void Keep(uint16_t seq, const uint8_t* data, size_t size) {
        Half& half = At(seq);
        half.seq = seq;
        half.size = std::min(size, sizeof half.data);
        memcpy(half.data, data, half.size);
    }
    // The half with that number, which stays until as many others were kept as there are places;
    // null when it is not there.
    const Half* Find(uint16_t seq) {
        Half& half = At(seq);
        return half.seq == seq && half.size > 0 ? &half : nullptr;
    }

  private:
    static constexpr size_t kPlaces = 1024;

    Half& At(uint16_t seq) { return m_places[seq % kPlaces]; }

    std::array<Half, kPlaces> m_places;
};
