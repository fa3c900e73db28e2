#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

// Times in milliseconds, and the two figures that are printed of them.
class Figures {
  public:
    void Add(std::chrono::steady_clock::duration time) {
        m_times.push_back(std::chrono::duration<double, std::milli>(time).count());
    }
    size_t Count() const { return m_times.size(); }
    double Median() { return Part(50); }
    double Percentile99() { return Part(99); }

  private:
    // The smallest time that so many of a hundred do not exceed; 0 without any.
    double Part(size_t percent) {
        if (m_times.empty()) return 0;
        std::sort(m_times.begin(), m_times.end());
        return m_times[std::min(m_times.size() - 1, m_times.size() * percent / 100)];
    }

    std::vector<double> m_times;
};
