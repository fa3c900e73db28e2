#pragma once

#include <cstdint>

// Starts a thread with default attributes: 0 on success, 22 (EINVAL) for a null handle pointer,
// otherwise the POSIX error.
int pvu_thread_start(unsigned long* handle, void* (*fn)(void*), void* arg);
// Joins the thread; returns the join's result.
int pvu_thread_stop(unsigned long handle);

// A thread that its owner starts and stops.
//
// Stopping, in every component: the owner clears its running flag, posts the semaphore if the
// thread may be waiting on it without time limit, and calls Stop(), which joins. The started flag
// is the owner's; one thread controls the object.
class CTThread {
  public:
    CTThread() = default;
    ~CTThread() { Stop(); }
    CTThread(const CTThread&) = delete;
    CTThread& operator=(const CTThread&) = delete;

    // True when the thread runs.
    bool Start(void* (*fn)(void*), void* arg);
    // Joins a started thread; does not tell it to end. A second call does nothing.
    void Stop();

    static void Sleep(int ms);
    static void SleepUs(int us);
    static uint32_t GetCurrentTick();

  private:
    unsigned long m_handle = 0;
    bool m_started = false;
};
