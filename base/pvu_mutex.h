#pragma once

#include <pthread.h>

#include "base/pvu_thread_safety.h"

// A process-private mutex with default attributes. Every operation returns the POSIX result: 0 on
// success, otherwise an error number.
class PVU_CAPABILITY("mutex") CTMutex {
  public:
    CTMutex() { Create(); }
    ~CTMutex() { Destroy(); }
    CTMutex(const CTMutex&) = delete;
    CTMutex& operator=(const CTMutex&) = delete;

    int Create() { return pthread_mutex_init(&m_mutex, nullptr); }
    int Destroy() { return pthread_mutex_destroy(&m_mutex); }
    int Lock() PVU_ACQUIRE() { return pthread_mutex_lock(&m_mutex); }
    int TryLock() PVU_TRY_ACQUIRE(0) { return pthread_mutex_trylock(&m_mutex); }
    int UnLock() PVU_RELEASE() { return pthread_mutex_unlock(&m_mutex); }

  private:
    pthread_mutex_t m_mutex;
};

// Holds the mutex for the life of the guard.
class PVU_SCOPED_CAPABILITY CTMutexGuard {
  public:
    explicit CTMutexGuard(CTMutex& mutex) PVU_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~CTMutexGuard() PVU_RELEASE() { m_mutex.UnLock(); }
    CTMutexGuard(const CTMutexGuard&) = delete;
    CTMutexGuard& operator=(const CTMutexGuard&) = delete;

  private:
    CTMutex& m_mutex;
};
