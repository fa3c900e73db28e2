#pragma once

#include <atomic>
#include <climits>
#include <cstdint>

struct timespec;

// A process-private counting semaphore; the queues between threads post it once for each entry.
//
// It lies on the kernel's futex, because the system's own semaphore has no way to add a whole
// burst: it would make a system call for each entry for as long as the thread that it woke has not
// run. Here the first post wakes, and the others only count.
class CTSemaphore {
  public:
    CTSemaphore() { Create(0); }
    explicit CTSemaphore(int value) { Create(value); }
    ~CTSemaphore() { Destroy(); }
    CTSemaphore(const CTSemaphore&) = delete;
    CTSemaphore& operator=(const CTSemaphore&) = delete;

    // 1 on success, 0 on failure, unlike the operations below. Nobody may be waiting.
    int Create(int value);
    int Destroy() { return 0; }

    // 0 on success, -1 on failure. Post may be called by a signal handler.
    int Post() { return Post(1); }
    int Wait() { return WaitUntil(nullptr); }
    int TryWait() { return Take(1) == 1 ? 0 : -1; }
    // Waits at most ms milliseconds, whatever becomes of the wall clock: 0 when the semaphore was
    // taken, -1 on time-out. With 0 or less it takes what is there.
    int Wait(int ms);

    // The count.
    int GetValue() const { return m_count.load(std::memory_order_relaxed); }

    // Bursts: n posts in one, and up to n counts in one, without waiting; how many were taken.
    int Post(int n);
    int Take(int n);

  private:
    int WaitUntil(const timespec* deadline);

    std::atomic<int> m_count{0};
    // Somebody sleeps or is about to. The post that finds it set clears it and wakes all who do,
    // who set it again when there is nothing left for them.
    std::atomic<int> m_has_sleepers{0};
};
