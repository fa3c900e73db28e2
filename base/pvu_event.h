#pragma once

#include <cstdint>
#include <string>

#include "base/pvu_event_log.h"

// A change of state for the system's log, where operators and their tools look: what happened and
// its circumstances, "joined address=192.168.15.11 interface=Tamvo". Values may come from anywhere:
// whatever is not plain text is quoted and escaped, so that a line stays one line and a field one
// field. No value is ever a secret.
//
//     CTEvent(CTEventLevel::kNotice, "joined").Add("address", ip).Log();
//
// Any thread. Log never waits; without pvu_events_start it does nothing.
class CTEvent {
  public:
    static constexpr size_t kMaxValue = 256;  // bytes of a value; the rest is cut

    // In small letters, as programs look for it.
    CTEvent(CTEventLevel level, const char* what) : m_level(level), m_line(what) {}

    CTEvent& Add(const char* field, const std::string& value);
    // Plain numbers, and identifiers in hexadecimal.
    CTEvent& Add(const char* field, int64_t value) { return Add(field, std::to_string(value)); }
    CTEvent& AddHex(const char* field, uint32_t value);
    void Log();

    const std::string& GetLine() const { return m_line; }

  private:
    CTEventLevel m_level;
    std::string m_line;
};

// From here on state changes go to the system's log under that name, which must outlive the
// process; after the program's last fork. Only the programs' mains call it. False when there is no
// thread for it: the program then runs without.
bool pvu_events_start(const char* program);
// The same with another writer, for tests, in the place of an earlier one that has ended.
bool pvu_events_start(CTEventLog::Writer writer);
// Writes out what waits, for at most a second; harmless without a start.
void pvu_events_end();

// Ends the log with the scope.
class CTEventsEnd {
  public:
    CTEventsEnd() = default;
    ~CTEventsEnd() { pvu_events_end(); }
    CTEventsEnd(const CTEventsEnd&) = delete;
    CTEventsEnd& operator=(const CTEventsEnd&) = delete;
};
