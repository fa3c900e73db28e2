#include "base/pvu_event.h"

#include <syslog.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

namespace {

constexpr int kEndMs = 1000;

// Not destroyed at the end: a thread may still add to it, and a writer that is stuck in the system
// outlives main.
std::atomic<CTEventLog*> g_log{nullptr};

bool IsPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           (c != '\0' && strchr("._:/@+-", c));
}

std::string Quoted(const std::string& value) {
    constexpr unsigned char kFirstPrintable = 0x20;
    constexpr unsigned char kLastPrintable = 0x7e;
    std::string text = "\"";
    for (char c : value) {
        auto byte = static_cast<unsigned char>(c);
        char code[sizeof "\\xff"];
        if (c == '"' || c == '\\') {
            snprintf(code, sizeof code, "\\%c", c);
        } else {
            bool plain = byte >= kFirstPrintable && byte <= kLastPrintable;
            snprintf(code, sizeof code, plain ? "%c" : "\\x%02x", byte);
        }
        text += code;
    }
    return text + "\"";
}

int PriorityOf(CTEventLevel level) {
    switch (level) {
        case CTEventLevel::kError:
            return LOG_ERR;
        case CTEventLevel::kWarning:
            return LOG_WARNING;
        case CTEventLevel::kNotice:
            return LOG_NOTICE;
        case CTEventLevel::kInfo:
            break;
    }
    return LOG_INFO;
}

void WriteToSystem(CTEventLevel level, const char* line) {
    syslog(PriorityOf(level), "%s", line);
}

}  // namespace

CTEvent& CTEvent::Add(const char* field, const std::string& value) {
    std::string cut = value.substr(0, kMaxValue);
    bool plain = !cut.empty() && std::all_of(cut.begin(), cut.end(), IsPlain);
    m_line += std::string(" ") + field + "=" + (plain ? cut : Quoted(cut));
    return *this;
}

CTEvent& CTEvent::AddHex(const char* field, uint32_t value) {
    char text[sizeof "0x00000000"];
    snprintf(text, sizeof text, "0x%08x", value);
    return Add(field, std::string(text));
}

void CTEvent::Log() {
    if (CTEventLog* log = g_log) log->Add(m_level, m_line);
}

bool pvu_events_start(const char* program) {
    openlog(program, LOG_PID, LOG_DAEMON);
    return pvu_events_start(WriteToSystem);
}

bool pvu_events_start(CTEventLog::Writer writer) {
    std::unique_ptr<CTEventLog> log(new (std::nothrow) CTEventLog(writer));
    if (!log || !log->Start()) return false;
    std::unique_ptr<CTEventLog> before(g_log.exchange(log.release()));
    if (before && !before->End(0)) [[maybe_unused]]
        CTEventLog* stuck = before.release();
    return true;
}

void pvu_events_end() {
    if (CTEventLog* log = g_log) log->End(kEndMs);
}
