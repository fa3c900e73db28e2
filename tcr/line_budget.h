#pragma once

#include <algorithm>
#include <cstdint>

#include "tcr/tcr_time.h"

// How many lines one edge may cause: kBurst at once and one more each kRefillMs. What is left out
// is counted, and reported once there is room for that. One for each slot of a subnet, kept when
// the slot's edge logs in anew. One thread.
class TcrLineBudget {
  public:
    static constexpr int kBurst = 20;
    static constexpr TcrTime kRefillMs = 200;

    // Whether a line may be printed at that time; if not, it counts as left out.
    bool Take(TcrTime now) {
        if (Has(now)) {
            m_whole_at = std::max(m_whole_at, now) + kRefillMs;
            return true;
        }
        ++m_left_out;
        return false;
    }
    bool Has(TcrTime now) const { return m_whole_at - now <= (kBurst - 1) * kRefillMs; }
    // How many were left out, if there is room for the line that says so: 0 otherwise, and from
    // then on.
    uint64_t TakeLeftOut(TcrTime now) {
        if (m_left_out == 0 || !Has(now)) return 0;
        uint64_t left_out = m_left_out;
        m_left_out = 0;
        Take(now);
        return left_out;
    }

  private:
    TcrTime m_whole_at = INT64_MIN / 2;  // the whole burst is there again
    uint64_t m_left_out = 0;
};
