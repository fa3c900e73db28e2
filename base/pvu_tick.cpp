#include "base/pvu_tick.h"

#include <atomic>
#include <ctime>

namespace {

uint64_t MonotonicMillis() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

std::atomic<PvuTickSource> g_source{MonotonicMillis};

}  // namespace

uint64_t pvu_get_current_tick() {
    return g_source.load(std::memory_order_relaxed)();
}

int64_t pvu_get_current_micros() {
    PvuTickSource source = g_source.load(std::memory_order_relaxed);
    if (source != MonotonicMillis) return static_cast<int64_t>(source()) * 1000;
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

void pvu_set_tick_source(PvuTickSource source) {
    g_source.store(source ? source : MonotonicMillis, std::memory_order_relaxed);
}
