#include "base/pvu_semaphore.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace {

constexpr long kNanosPerMilli = 1000000;
constexpr long kNanosPerSecond = 1000000000;

// Sleeps while the count is 0, until the deadline on the steady clock; 0, or the error.
int Sleep(std::atomic<int>& count, const timespec* deadline) {
    long result = syscall(SYS_futex, &count, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, 0, deadline,
                          nullptr, FUTEX_BITSET_MATCH_ANY);
    return result == 0 ? 0 : errno;
}

void WakeAll(std::atomic<int>& count) {
    syscall(SYS_futex, &count, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, INT_MAX, nullptr, nullptr, 0);
}

}  // namespace

int CTSemaphore::Create(int value) {
    if (value < 0) return 0;
    m_count = value;
    m_has_sleepers = 0;
    return 1;
}

// Without a count there is nothing to wake for; the flag that a post clears would be missed by a
// sleeper that set it and has not fallen asleep yet.
int CTSemaphore::Post(int n) {
    if (n == 0) return 0;
    int count = m_count.load(std::memory_order_relaxed);
    do {
        if (n < 0 || count > INT_MAX - n) return -1;
    } while (!m_count.compare_exchange_weak(count, count + n));
    if (m_has_sleepers.load() != 0 && m_has_sleepers.exchange(0) != 0) WakeAll(m_count);
    return 0;
}

int CTSemaphore::Take(int n) {
    int count = m_count.load(std::memory_order_relaxed);
    int taken;
    do {
        taken = std::min(count, n);
        if (taken <= 0) return 0;
    } while (!m_count.compare_exchange_weak(count, count - taken));
    return taken;
}

// The order of the flag and the second look at the count, here, and of the count and the look at
// the flag, in Post, is what keeps a wake-up from being lost.
int CTSemaphore::WaitUntil(const timespec* deadline) {
    while (Take(1) == 0) {
        m_has_sleepers.store(1);
        if (m_count.load() > 0) continue;
        if (Sleep(m_count, deadline) == ETIMEDOUT) return Take(1) == 1 ? 0 : -1;
    }
    return 0;
}

int CTSemaphore::Wait(int ms) {
    if (TryWait() == 0) return 0;
    timespec deadline;
    if (clock_gettime(CLOCK_MONOTONIC, &deadline) != 0) return -1;
    ms = std::max(ms, 0);  // a past deadline is as good as now
    deadline.tv_sec += ms / 1000;
    deadline.tv_nsec += (ms % 1000) * kNanosPerMilli;
    if (deadline.tv_nsec >= kNanosPerSecond) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= kNanosPerSecond;
    }
    // On the steady clock: a wall clock that is set meanwhile neither draws the wait out for hours
    // nor turns it into a busy loop.
    return WaitUntil(&deadline);
}
