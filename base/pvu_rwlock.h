#pragma once

#include <pthread.h>

#include "base/pvu_thread_safety.h"

// A read-write lock. Init returns 1 on success and 0 on failure; every other operation returns
// the POSIX result: 0 on success, otherwise an error number.
class PVU_CAPABILITY("read-write lock") CTReadWriteLock {
  public:
    int Init() { return pthread_rwlock_init(&m_lock, nullptr) == 0 ? 1 : 0; }
    int DeInit() { return pthread_rwlock_destroy(&m_lock); }
    int ReadLock() PVU_ACQUIRE_SHARED() { return pthread_rwlock_rdlock(&m_lock); }
    int WriteLock() PVU_ACQUIRE() { return pthread_rwlock_wrlock(&m_lock); }
    int TryReadLock() PVU_TRY_ACQUIRE_SHARED(0) { return pthread_rwlock_tryrdlock(&m_lock); }
    int TryWriteLock() PVU_TRY_ACQUIRE(0) { return pthread_rwlock_trywrlock(&m_lock); }
    int UnLock() PVU_RELEASE_GENERIC() { return pthread_rwlock_unlock(&m_lock); }

  private:
    // Usable without Init(), which a lock of static or member storage may skip.
    pthread_rwlock_t m_lock = PTHREAD_RWLOCK_INITIALIZER;
};

// Hold the lock, shared or exclusive, for the life of the guard.
class PVU_SCOPED_CAPABILITY CTReadGuard {
  public:
    explicit CTReadGuard(CTReadWriteLock& lock) PVU_ACQUIRE_SHARED(lock) : m_lock(lock) {
        m_lock.ReadLock();
    }
    ~CTReadGuard() PVU_RELEASE() { m_lock.UnLock(); }
    CTReadGuard(const CTReadGuard&) = delete;
    CTReadGuard& operator=(const CTReadGuard&) = delete;

  private:
    CTReadWriteLock& m_lock;
};

class PVU_SCOPED_CAPABILITY CTWriteGuard {
  public:
    explicit CTWriteGuard(CTReadWriteLock& lock) PVU_ACQUIRE(lock) : m_lock(lock) {
        m_lock.WriteLock();
    }
    ~CTWriteGuard() PVU_RELEASE() { m_lock.UnLock(); }
    CTWriteGuard(const CTWriteGuard&) = delete;
    CTWriteGuard& operator=(const CTWriteGuard&) = delete;

  private:
    CTReadWriteLock& m_lock;
};
