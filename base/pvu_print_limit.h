#pragma once

#include <atomic>
#include <cstdint>

#include "base/pvu_mutex.h"
#include "base/pvu_sockaddr.h"
#include "base/pvu_thread_safety.h"

// Prints to standard output what others than the central router cause, one text for each of their
// datagrams: a burst of 1,000 lines, then 100 lines a second by the tick. Texts beyond that are
// left out whole, counted, and mentioned in one line.
//
// Owned by the tunnel port, whose receive thread uses it as the ingress thread does. Any thread.
class CTPrintLimit {
  public:
    static constexpr int kBurst = 1000;
    static constexpr int kPerSecond = 100;
    static constexpr uint32_t kMentionMs = 1000;

    // Prints the text, whole lines, or leaves it out. The address is that of the datagram.
    void Print(const char* text, const CTSockAddr& from);
    // Prints "N lines left out, ..." when there are any that were not mentioned yet, at most once
    // a second, or at once with that flag. Cheap when there are none.
    void Mention(bool at_once = false);

    // Lines left out in all.
    uint64_t GetLeftOut() const { return m_left_out.load(std::memory_order_relaxed); }

  private:
    bool Take(int lines) PVU_REQUIRES(m_mutex);

    static constexpr int64_t kUnit = 1000;  // the allowance is counted in thousandths of a line
    std::atomic<uint64_t> m_left_out{0};
    std::atomic<bool> m_owes_mention{false};

    CTMutex m_mutex;
    int64_t m_allowance PVU_GUARDED_BY(m_mutex) = kBurst * kUnit;
    uint32_t m_refilled PVU_GUARDED_BY(m_mutex) = 0;   // tick
    uint32_t m_mentioned PVU_GUARDED_BY(m_mutex) = 0;  // tick of the last mention
    uint64_t m_unmentioned PVU_GUARDED_BY(m_mutex) = 0;
    CTSockAddr m_last_from PVU_GUARDED_BY(m_mutex);
};
