#pragma once

#include <cstdint>

// Puts the tick under the test's hand for the life of the object: it stands still until moved.
// One at a time.
class MovedClock {
  public:
    explicit MovedClock(uint64_t start = 1000000);
    ~MovedClock();
    MovedClock(const MovedClock&) = delete;
    MovedClock& operator=(const MovedClock&) = delete;

    void Set(uint64_t ms);
    void Advance(uint64_t ms);
    uint64_t Now() const;
};
