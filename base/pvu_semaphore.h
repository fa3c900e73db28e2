#pragma once

#include <semaphore.h>

// A process-private counting semaphore; the queues between threads post it once for each entry.
class CTSemaphore {
  public:
    CTSemaphore() { Create(0); }
    explicit CTSemaphore(int value) { Create(value); }
    ~CTSemaphore() { Destroy(); }
    CTSemaphore(const CTSemaphore&) = delete;
    CTSemaphore& operator=(const CTSemaphore&) = delete;

    // 1 on success, 0 on failure, unlike the operations below.
    int Create(int value);
    int Destroy() { return sem_destroy(&m_semaphore); }

    // 0 on success, -1 on failure.
    int Post() { return sem_post(&m_semaphore); }
    int Wait() { return sem_wait(&m_semaphore); }
    int TryWait() { return sem_trywait(&m_semaphore); }
    // Waits at most ms milliseconds, whatever becomes of the wall clock: 0 when the semaphore was
    // taken, -1 on time-out. With 0 or less it takes what is there.
    int Wait(int ms);

    // The count, or 0 if it cannot be read.
    int GetValue();

  private:
    sem_t m_semaphore;
};
