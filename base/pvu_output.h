#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/pvu_mutex.h"
#include "base/pvu_semaphore.h"
#include "base/pvu_thread.h"
#include "base/pvu_thread_safety.h"

// Text on its way to a descriptor whose reader may be slow, stopped or gone, and whom nobody may
// wait for:
//
//   Write() -> pending text -> [writer thread] -> descriptor
//
// A reader that keeps up gets every line, in the order of the writes. Where half a megabyte waits
// already, and where the descriptor fails (reader gone, disk full), whole lines are left out; they
// are counted, and one line says so in their place as soon as the descriptor takes text again.
//
// Any thread writes; one thread starts and ends it. Nothing here prints.
class CTOutput {
  public:
    static constexpr size_t kMaxPending = 512 * 1024;  // and as much at the writer

    // The descriptor stays the caller's, and open until the end.
    explicit CTOutput(int fd) : m_fd(fd) {}
    // After an End that gave true, or without a Start.
    ~CTOutput();
    CTOutput(const CTOutput&) = delete;
    CTOutput& operator=(const CTOutput&) = delete;

    // True when the writer runs. It takes no signal.
    bool Start();
    // Takes the text, which may end inside a line: the rest is to follow. Never waits.
    void Write(const char* text, size_t length);
    // Puts the line of a signal behind what was written so far. Safe in a signal handler; of more
    // than eight signals at once the later ones have no line.
    void WriteSignal(int sig);
    // Writes out what waits, for at most that long, and ends the writer. False when it is stuck in
    // the system all the same: then it lives on, and so must this object. A second call gives the
    // first one's result at once.
    bool End(int ms);

    // Lines left out since the start. Any thread.
    uint64_t GetLeftOut() const { return m_left_out.load(std::memory_order_relaxed); }

    static constexpr size_t kSignalTextMax = 64;
    using SignalText = std::array<char, kSignalTextMax>;
    // The line of a signal; its length. Safe in a signal handler.
    static size_t FormatSignal(int sig, SignalText& text);

  private:
    static void* thread_process(void* output);

    // Under the lock.
    void Append(const char* text, size_t length) PVU_REQUIRES(m_mutex);
    void AppendPart(const char* text, size_t length, bool ends_line) PVU_REQUIRES(m_mutex);
    void AppendSignals() PVU_REQUIRES(m_mutex);
    void Wake();

    // The writer's.
    void Loop();
    bool Take(bool all);
    void WriteTaken();
    size_t Put(const char* text, size_t length);
    bool WaitWritable();
    void WaitForWake();
    void SayLeftOut();
    void LeaveOut(uint64_t lines);

    const int m_fd;
    int m_wake = -1;  // an event descriptor: there is text, a signal or the end
    CTThread m_thread;
    CTSemaphore m_done;
    std::atomic<bool> m_ending{false};
    std::atomic<uint64_t> m_deadline{0};  // tick until which an ending writer goes on
    std::atomic<uint64_t> m_signals{0};   // a byte for each that has no line yet, newest lowest
    std::atomic<uint64_t> m_left_out{0};
    std::atomic<bool> m_ended{false};  // what End gave

    CTMutex m_mutex;
    std::unique_ptr<char[]> m_pending PVU_GUARDED_BY(m_mutex);
    size_t m_size PVU_GUARDED_BY(m_mutex) = 0;
    size_t m_lines_end PVU_GUARDED_BY(m_mutex) = 0;          // of it: whole lines
    bool m_full PVU_GUARDED_BY(m_mutex) = false;             // nothing more before the next look
    bool m_inside_left_out PVU_GUARDED_BY(m_mutex) = false;  // a line whose start was left out
    uint64_t m_dropped PVU_GUARDED_BY(m_mutex) = 0;          // lines, behind the pending ones
    bool m_woken PVU_GUARDED_BY(m_mutex) = false;

    // The writer's: what it took, and the lines left out that have not been mentioned.
    std::unique_ptr<char[]> m_taken;
    size_t m_taken_size = 0;
    uint64_t m_taken_dropped = 0;
    uint64_t m_unsaid = 0;
    bool m_inside_line = false;  // the last byte that the descriptor took was no line's end
};
