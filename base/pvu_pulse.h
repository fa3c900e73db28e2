#pragma once

#include <atomic>
#include <cstdint>

// Shows others that a thread still does its work: the thread beats in every turn of its loop, and
// rests where it waits, however long, for something to come. One that stands still elsewhere has no
// pulse.
class CTPulse {
  public:
    // The thread itself.
    void Beat() {
        m_beats.store(m_beats.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        m_rests.store(false, std::memory_order_relaxed);
    }
    void Rest() { m_rests.store(true, std::memory_order_relaxed); }

    // One other thread, with a variable of its own: whether the thread rests, or has beaten since
    // the last look.
    bool Look(uint32_t& seen) const {
        uint32_t before = seen;
        seen = m_beats.load(std::memory_order_relaxed);
        return seen != before || m_rests.load(std::memory_order_relaxed);
    }

  private:
    std::atomic<uint32_t> m_beats{0};
    std::atomic<bool> m_rests{true};  // before it began
};
