#include "tcr/login_allowance.h"

#include <algorithm>

bool TcrLoginAllowance::Allows(uint32_t ip, int64_t now) const {
    auto found = m_by_ip.find(ip);
    if (found == m_by_ip.end()) return true;
    return found->second->whole_at - now <= (kBurst - 1) * kRefillMs;
}

void TcrLoginAllowance::Failed(uint32_t ip, int64_t now) {
    ForgetOld(now);
    int64_t whole_at = now;
    if (auto found = m_by_ip.find(ip); found != m_by_ip.end()) {
        whole_at = std::max(whole_at, found->second->whole_at);
        m_entries.erase(found->second);
        m_by_ip.erase(found);
    }
    if (m_entries.size() >= kMaxAddresses) {
        m_by_ip.erase(m_entries.front().ip);
        m_entries.pop_front();
    }
    // Never further ahead than a whole allowance, also for failures that Allows was not asked of.
    whole_at = std::min(whole_at + kRefillMs, now + kBurst * kRefillMs);
    m_entries.push_back({ip, whole_at});
    m_by_ip[ip] = std::prev(m_entries.end());
}

// Entries that say nothing any more go at the next failure, so that the table is small at rest.
void TcrLoginAllowance::ForgetOld(int64_t now) {
    while (!m_entries.empty() && m_entries.front().whole_at <= now) {
        m_by_ip.erase(m_entries.front().ip);
        m_entries.pop_front();
    }
}
