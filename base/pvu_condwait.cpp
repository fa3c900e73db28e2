#include "base/pvu_condwait.h"

#include <cerrno>
#include <cstdint>
#include <ctime>

namespace {

constexpr uint32_t kNanosPerMilli = 1000000;
constexpr int64_t kNanosPerSecond = 1000000000;

}  // namespace

int CTCondWait::Create() {
    if (m_created) return 0;
    int result = pthread_mutex_init(&m_mutex, nullptr);
    if (result != 0) return result;
    result = pthread_cond_init(&m_cond, nullptr);
    if (result != 0) {
        pthread_mutex_destroy(&m_mutex);
        return result;
    }
    m_created = true;
    return 0;
}

int CTCondWait::Destroy() {
    if (!m_created) return 0;
    m_created = false;
    int result = pthread_cond_destroy(&m_cond);
    int mutex_result = pthread_mutex_destroy(&m_mutex);
    return result != 0 ? result : mutex_result;
}

int CTCondWait::Wait() {
    pthread_mutex_lock(&m_mutex);
    int result = pthread_cond_wait(&m_cond, &m_mutex);
    pthread_mutex_unlock(&m_mutex);
    return result;
}

int CTCondWait::TimeWait(int ms) {
    timespec now;
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) return errno;
    int32_t wait = static_cast<int32_t>(static_cast<uint32_t>(ms) * kNanosPerMilli);
    int64_t nanos = now.tv_sec * kNanosPerSecond + now.tv_nsec + wait;
    timespec deadline;
    deadline.tv_sec = nanos / kNanosPerSecond;
    deadline.tv_nsec = nanos % kNanosPerSecond;

    pthread_mutex_lock(&m_mutex);
    // On the steady clock, as the semaphore's wait.
    int result = pthread_cond_clockwait(&m_cond, &m_mutex, CLOCK_MONOTONIC, &deadline);
    pthread_mutex_unlock(&m_mutex);
    return result;
}
