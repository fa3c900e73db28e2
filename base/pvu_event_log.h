#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <string>

#include "base/pvu_mutex.h"
#include "base/pvu_semaphore.h"
#include "base/pvu_thread.h"
#include "base/pvu_thread_safety.h"

// How much an operator has to mind a change of state.
enum class CTEventLevel {
    kError,    // does not work until somebody does something
    kWarning,  // works less, or not for now
    kNotice,   // as it should be, and worth knowing
    kInfo,
};

// Lines on their way to the system's log, which may be slow or stuck, and for which nobody waits:
//
//   Add() -> queue -> [writer thread] -> writer
//
// While 256 lines wait, further ones are left out and counted; one line says so in their place.
//
// Any thread adds; one thread starts and ends it.
class CTEventLog {
  public:
    static constexpr size_t kMaxPending = 256;

    // Takes one line, without an end of line; may take its time. Called by the writer's thread.
    using Writer = void (*)(CTEventLevel level, const char* line);

    explicit CTEventLog(Writer writer) : m_writer(writer) {}
    CTEventLog(const CTEventLog&) = delete;
    CTEventLog& operator=(const CTEventLog&) = delete;

    // True when the writer's thread runs. It takes no signal.
    bool Start();
    // Never waits, but for another Add.
    void Add(CTEventLevel level, std::string line);
    // Has written what waits, for at most that long. False when the writer is stuck all the same:
    // then its thread lives on, and so must this object. A further call waits again.
    bool End(int ms);

    // Lines left out since the start. Any thread.
    uint64_t GetLeftOut() const { return m_left_out.load(std::memory_order_relaxed); }

  private:
    struct Line {
        CTEventLevel level;
        std::string text;
    };

    static void* thread_process(void* log);
    void Loop();
    bool Take(Line& line, uint64_t& left_out);

    const Writer m_writer;
    CTThread m_thread;
    CTSemaphore m_posted;  // once for each line, and for the end
    CTSemaphore m_done;
    std::atomic<bool> m_ending{false};
    bool m_ended = false;
    std::atomic<uint64_t> m_left_out{0};

    CTMutex m_mutex;
    std::deque<Line> m_lines PVU_GUARDED_BY(m_mutex);
    uint64_t m_unsaid PVU_GUARDED_BY(m_mutex) = 0;  // left out, behind the pending lines
};
