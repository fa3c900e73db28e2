#include "tests/support/moved_clock.h"

#include <atomic>

#include "base/pvu_tick.h"

namespace {

std::atomic<uint64_t> g_now{0};

uint64_t Read() {
    return g_now.load();
}

}  // namespace

MovedClock::MovedClock(uint64_t start) {
    g_now = start;
    pvu_set_tick_source(Read);
}

MovedClock::~MovedClock() {
    pvu_set_tick_source(nullptr);
}

void MovedClock::Set(uint64_t ms) {
    g_now = ms;
}

void MovedClock::Advance(uint64_t ms) {
    g_now += ms;
}

uint64_t MovedClock::Now() const {
    return g_now;
}
