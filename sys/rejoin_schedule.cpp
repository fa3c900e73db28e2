#include "sys/rejoin_schedule.h"

#include <algorithm>

#include "base/pvu_random.h"

namespace {

constexpr int64_t kMillisPerSecond = 1000;
constexpr int kSpreadPart = 5;  // a fifth

// From a fifth below to a fifth above.
int Spread(int ms) {
    uint32_t range = static_cast<uint32_t>(2 * ms / kSpreadPart);
    return ms - ms / kSpreadPart + static_cast<int>(pvu_rand32() % (range + 1));
}

}  // namespace

void CTRejoinSchedule::SetAfter(int seconds) {
    m_after_ms = std::max(seconds, 0) * kMillisPerSecond;
}

CTRejoinSchedule::Step CTRejoinSchedule::Look(int64_t unanswered_since, int64_t now) {
    if (m_under_way) {
        if (!m_login_sent && unanswered_since != m_since) {
            Reset();
            return Step::kAnswered;
        }
        return now >= m_next ? Step::kJoin : Step::kNone;
    }
    if (m_after_ms == 0 || unanswered_since == kAnswered) return Step::kNone;
    if (now - unanswered_since < m_after_ms) return Step::kNone;
    m_under_way = true;
    m_since = unanswered_since;
    m_next = now;
    return Step::kJoin;
}

int CTRejoinSchedule::Failed(int64_t now) {
    int delay = Spread(m_delay_ms);
    m_delay_ms = std::min(2 * m_delay_ms, kLongestDelayMs);
    m_next = now + delay;
    return delay;
}

int CTRejoinSchedule::NotSent(int64_t now) {
    int delay = Spread(kFirstDelayMs);
    m_next = now + delay;
    return delay;
}

void CTRejoinSchedule::Reset() {
    m_under_way = false;
    m_login_sent = false;
    m_since = kAnswered;
    m_delay_ms = kFirstDelayMs;
}
