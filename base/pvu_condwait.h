#pragma once

#include <pthread.h>

// A condition with a mutex of its own and no predicate: a signal sent while nobody waits is lost,
// and a spurious wake-up returns early. Operations return the POSIX result, 0 on success.
class CTCondWait {
  public:
    CTCondWait() { Create(); }
    ~CTCondWait() { Destroy(); }
    CTCondWait(const CTCondWait&) = delete;
    CTCondWait& operator=(const CTCondWait&) = delete;

    int Create();
    int Destroy();
    int Wait();
    // Waits at most ms milliseconds, whatever becomes of the wall clock; ETIMEDOUT when they have
    // passed. They are turned into nanoseconds in 32-bit arithmetic, so only waits up to 2147 ms
    // come out right and longer ones wrap; callers rely on none longer.
    int TimeWait(int ms);
    // Neither takes the mutex.
    int Signal() { return pthread_cond_signal(&m_cond); }
    int Broadcast() { return pthread_cond_broadcast(&m_cond); }

  private:
    pthread_mutex_t m_mutex;
    pthread_cond_t m_cond;
    bool m_created = false;
};
