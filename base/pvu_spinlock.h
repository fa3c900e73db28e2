#pragma once

#include <pthread.h>

#include "base/pvu_thread_safety.h"

// A process-private spin lock. Init returns 1 on success and 0 on failure; every other operation
// returns the POSIX result: 0 on success, otherwise an error number.
class PVU_CAPABILITY("spin lock") CTSpinLock {
  public:
    int Init() { return pthread_spin_init(&m_lock, PTHREAD_PROCESS_PRIVATE) == 0 ? 1 : 0; }
    int DeInit() { return pthread_spin_destroy(&m_lock); }
    int Lock() PVU_ACQUIRE() { return pthread_spin_lock(&m_lock); }
    int TryLock() PVU_TRY_ACQUIRE(0) { return pthread_spin_trylock(&m_lock); }
    int UnLock() PVU_RELEASE() { return pthread_spin_unlock(&m_lock); }

  private:
    pthread_spinlock_t m_lock;
};
