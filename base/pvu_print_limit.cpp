#include "base/pvu_print_limit.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/pvu_string.h"
#include "base/pvu_tick.h"

namespace {

constexpr int kAddrCapacity = 64;

uint32_t Now() {
    return static_cast<uint32_t>(pvu_get_current_tick());
}

int CountLines(const char* text) {
    std::string_view view(text);
    return static_cast<int>(std::count(view.begin(), view.end(), '\n'));
}

}  // namespace

bool CTPrintLimit::Take(int lines) {
    uint32_t now = Now();
    int64_t gained = static_cast<int64_t>(now - m_refilled) * kPerSecond * kUnit / 1000;
    m_allowance = std::min(m_allowance + gained, kBurst * kUnit);
    m_refilled = now;
    if (m_allowance < lines * kUnit) return false;
    m_allowance -= lines * kUnit;
    return true;
}

void CTPrintLimit::Print(const char* text, const CTSockAddr& from) {
    int lines = CountLines(text);
    CTMutexGuard guard(m_mutex);
    if (Take(lines)) {
        fputs(text, stdout);
        return;
    }
    m_left_out.fetch_add(static_cast<uint64_t>(lines), std::memory_order_relaxed);
    m_unmentioned += static_cast<uint64_t>(lines);
    m_last_from = from;
    m_owes_mention = true;
}

void CTPrintLimit::Mention(bool at_once) {
    if (!m_owes_mention) return;
    CTMutexGuard guard(m_mutex);
    if (!at_once && Now() - m_mentioned < kMentionMs) return;
    CTString addr(kAddrCapacity);
    m_last_from.Print(addr);
    printf("%llu lines left out, caused by others than the central router, last from %s\n",
           static_cast<unsigned long long>(m_unmentioned), addr.c_str());
    m_unmentioned = 0;
    m_mentioned = Now();
    m_owes_mention = false;
}
