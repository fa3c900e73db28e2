#include "base/pvu_semaphore.h"

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

#include <algorithm>
#include <ctime>

namespace {

constexpr long kNanosPerMilli = 1000000;
constexpr long kNanosPerSecond = 1000000000;

// ThreadSanitizer knows every operation on a semaphore but the wait on a chosen clock: without
// this it would not see that what was done before the post is done when the wait returns.
void TellTaken([[maybe_unused]] sem_t* semaphore) {
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(semaphore);
#endif
}

}  // namespace

int CTSemaphore::Create(int value) {
    return sem_init(&m_semaphore, 0, static_cast<unsigned>(value)) == 0 ? 1 : 0;
}

int CTSemaphore::Wait(int ms) {
    timespec deadline;
    if (clock_gettime(CLOCK_MONOTONIC, &deadline) != 0) return -1;
    ms = std::max(ms, 0);  // a past deadline is as good as now; negative nanoseconds are refused
    deadline.tv_sec += ms / 1000;
    deadline.tv_nsec += (ms % 1000) * kNanosPerMilli;
    if (deadline.tv_nsec >= kNanosPerSecond) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= kNanosPerSecond;
    }
    // On the steady clock: a wall clock that is set meanwhile neither draws the wait out for hours
    // nor turns it into a busy loop.
    int result = sem_clockwait(&m_semaphore, CLOCK_MONOTONIC, &deadline);
    if (result == 0) TellTaken(&m_semaphore);
    return result;
}

int CTSemaphore::GetValue() {
    int value = 0;
    return sem_getvalue(&m_semaphore, &value) == 0 ? value : 0;
}
