#pragma once

#include <atomic>
#include <cstdint>

// Counts what happens on the packets' road, for the operator's eyes. Any thread adds and reads;
// nothing else may depend on the order in which others see it.
class CTCounter {
  public:
    void Add(uint64_t n = 1) { m_count.fetch_add(n, std::memory_order_relaxed); }
    uint64_t Get() const { return m_count.load(std::memory_order_relaxed); }

  private:
    std::atomic<uint64_t> m_count{0};
};

// The same where never two threads add at once: for what each packet counts, as it needs no locked
// instruction. Any thread reads.
class CTOwnCounter {
  public:
    void Add(uint64_t n = 1) {
        m_count.store(m_count.load(std::memory_order_relaxed) + n, std::memory_order_relaxed);
    }
    uint64_t Get() const { return m_count.load(std::memory_order_relaxed); }

  private:
    std::atomic<uint64_t> m_count{0};
};
