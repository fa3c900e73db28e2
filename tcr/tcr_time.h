#pragma once

#include <cstdint>

// Milliseconds of the monotonic clock, as the central router keeps them: 64 bits, which never wrap.
// Differences are signed; one that is negative is a moment that lies ahead.
using TcrTime = int64_t;
