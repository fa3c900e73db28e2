#include "base/pvu_watchdog.h"

#include <algorithm>

#include "base/pvu_event.h"
#include "base/pvu_service.h"

namespace {

constexpr uint64_t kLooksInInterval = 3;

}  // namespace

uint64_t CTWatchdog::AskedMs() {
    return pvu_service_watchdog_ms();
}

void CTWatchdog::Start(uint64_t now, uint64_t interval_ms) {
    m_period_ms = interval_ms == 0 ? 0 : std::max<uint64_t>(interval_ms / kLooksInInterval, 1);
    LookAlone(now);
    m_last = now;
}

bool CTWatchdog::IsDue(uint64_t now) {
    if (m_period_ms == 0 || now - m_last < m_period_ms) return false;
    m_last = now;
    return true;
}

void CTWatchdog::Look(uint64_t now) {
    if (IsDue(now) && HavePulses()) pvu_service_alive();
}

void CTWatchdog::LookAlone(uint64_t now) {
    if (!IsDue(now)) return;
    pvu_service_alive();
    for (Thread& thread : m_threads)
        thread.pulse->Look(thread.seen);
}

bool CTWatchdog::HavePulses() {
    bool all = true;
    for (Thread& thread : m_threads) {
        if (thread.pulse->Look(thread.seen)) continue;
        all = false;
        CTEvent(CTEventLevel::kError, "thread stands still").Add("thread", thread.name).Log();
    }
    return all;
}
