#include "base/pvu_event_log.h"

#include <utility>

#include "base/pvu_block_signals.h"

bool CTEventLog::Start() {
    CTBlockSignals blocked;
    return m_thread.Start(thread_process, this);
}

void* CTEventLog::thread_process(void* log) {
    static_cast<CTEventLog*>(log)->Loop();
    return nullptr;
}

void CTEventLog::Add(CTEventLevel level, std::string line) {
    {
        CTMutexGuard guard(m_mutex);
        if (m_lines.size() >= kMaxPending) {
            ++m_unsaid;
            m_left_out.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        m_lines.push_back({level, std::move(line)});
    }
    m_posted.Post();
}

bool CTEventLog::End(int ms) {
    if (m_ended) return true;
    if (!m_ending.exchange(true)) m_posted.Post();
    if (m_done.Wait(ms) != 0) return false;
    m_thread.Stop();
    m_ended = true;
    return true;
}

// The next line, and how many were left out behind those that waited, once all of these are out.
bool CTEventLog::Take(Line& line, uint64_t& left_out) {
    CTMutexGuard guard(m_mutex);
    left_out = 0;
    if (m_lines.empty()) return false;
    line = std::move(m_lines.front());
    m_lines.pop_front();
    if (m_lines.empty()) left_out = std::exchange(m_unsaid, 0);
    return true;
}

void CTEventLog::Loop() {
    for (;;) {
        m_posted.Wait();
        Line line;
        uint64_t left_out = 0;
        if (Take(line, left_out)) {
            m_writer(line.level, line.text.c_str());
            if (left_out == 0) continue;
            std::string mention = "lines left out, the log was not read count=";
            m_writer(CTEventLevel::kWarning, (mention + std::to_string(left_out)).c_str());
        } else if (m_ending) {
            break;
        }
    }
    m_done.Post();
}
