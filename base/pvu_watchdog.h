#pragma once

#include <cstdint>
#include <vector>

#include "base/pvu_pulse.h"

// Tells a service manager that the process works, for as long as it does: the main thread looks
// here in every turn of its loop, and three times in the manager's interval, if it asked for it,
// the manager is told; but not while one of the watched threads stands still. The manager then ends
// and starts the process again.
//
// Main thread only. Times are readings of the tick in milliseconds.
class CTWatchdog {
  public:
    // As the manager asks for it, with a first sign of life. Watch comes before.
    void Start(uint64_t now) { Start(now, AskedMs()); }
    void Start(uint64_t now, uint64_t interval_ms);
    // A thread that has to have a pulse. Name and pulse must outlive the watchdog.
    void Watch(const char* name, const CTPulse& pulse) { m_threads.push_back({name, &pulse}); }
    void Look(uint64_t now);
    // The same where the watched threads are made to wait by the main thread itself.
    void LookAlone(uint64_t now);

  private:
    struct Thread {
        const char* name;
        const CTPulse* pulse;
        uint32_t seen = 0;
    };

    static uint64_t AskedMs();
    bool IsDue(uint64_t now);
    bool HavePulses();

    uint64_t m_period_ms = 0;  // 0: nobody asks
    uint64_t m_last = 0;
    std::vector<Thread> m_threads;
};
