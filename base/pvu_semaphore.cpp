#include "base/pvu_semaphore.h"

#include <algorithm>
#include <ctime>

namespace {

constexpr long kNanosPerMilli = 1000000;
constexpr long kNanosPerSecond = 1000000000;

}  // namespace

int CTSemaphore::Create(int value) {
    return sem_init(&m_semaphore, 0, static_cast<unsigned>(value)) == 0 ? 1 : 0;
}

int CTSemaphore::Wait(int ms) {
    timespec deadline;
    if (clock_gettime(CLOCK_REALTIME, &deadline) != 0) return -1;
    ms = std::max(ms, 0);  // a past deadline is as good as now; negative nanoseconds are refused
    deadline.tv_sec += ms / 1000;
    deadline.tv_nsec += (ms % 1000) * kNanosPerMilli;
    if (deadline.tv_nsec >= kNanosPerSecond) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= kNanosPerSecond;
    }
    return sem_timedwait(&m_semaphore, &deadline);
}

int CTSemaphore::GetValue() {
    int value = 0;
    return sem_getvalue(&m_semaphore, &value) == 0 ? value : 0;
}
