#pragma once

#include <atomic>

#include "base/pvu_tick.h"

// Puts the tick under the test's hand for the life of the object: it stands still until moved.
// One at a time.
class MovedClock {
  public:
    explicit MovedClock(uint64_t start = 1000000) {
        Set(start);
        pvu_set_tick_source([] { return s_now.load(); });
    }
    ~MovedClock() { pvu_set_tick_source(nullptr); }
    MovedClock(const MovedClock&) = delete;
    MovedClock& operator=(const MovedClock&) = delete;

    void Set(uint64_t ms) { s_now = ms; }
    void Advance(uint64_t ms) { s_now += ms; }

  private:
    inline static std::atomic<uint64_t> s_now;
};
