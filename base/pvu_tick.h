#pragma once

#include <cstdint>

// The tick: the monotonic clock in milliseconds, from which every time-out and heartbeat of the
// system is computed. Its users keep it as 32 bits, which wrap, and subtract readings as unsigned
// numbers, which stays right across the wrap. Any thread.
uint64_t pvu_get_current_tick();

// The same clock in microseconds, for measuring round trips.
int64_t pvu_get_current_micros();

// The one seam for tests: every reading of the tick goes through the source, so that heartbeat
// ladders and state machines run on a clock that a test moves. Null restores the real clock.
using PvuTickSource = uint64_t (*)();
void pvu_set_tick_source(PvuTickSource source);
