#include "base/pvu_output.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "base/pvu_block_signals.h"
#include "base/pvu_tick.h"

namespace {

// A pipe that has room at all takes so much without waiting.
constexpr size_t kMostAtOnce = 4096;
constexpr int kSignalBits = 8;
constexpr uint64_t kSignalMask = 0xFF;
constexpr int kSignalsMost = 8;
constexpr int kNoteSize = 96;
constexpr int kGraceMs = 50;  // beyond the deadline, for a writer that does not wait

uint64_t CountLines(const char* text, size_t length) {
    return static_cast<uint64_t>(std::count(text, text + length, '\n'));
}

}  // namespace

CTOutput::~CTOutput() {
    if (m_wake >= 0) close(m_wake);
}

bool CTOutput::Start() {
    m_wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_wake < 0) return false;
    m_taken.reset(new (std::nothrow) char[kMaxPending]);
    {
        CTMutexGuard guard(m_mutex);
        m_pending.reset(new (std::nothrow) char[kMaxPending]);
        if (!m_pending || !m_taken) return false;
    }
    CTBlockSignals blocked;
    return m_thread.Start(thread_process, this);
}

void* CTOutput::thread_process(void* output) {
    static_cast<CTOutput*>(output)->Loop();
    return nullptr;
}

void CTOutput::Write(const char* text, size_t length) {
    bool wake = false;
    {
        CTMutexGuard guard(m_mutex);
        if (!m_pending) return;
        Append(text, length);
        wake = !std::exchange(m_woken, true);
    }
    if (wake) Wake();
}

void CTOutput::Wake() {
    uint64_t one = 1;
    // Fails only where the writer has wakes enough.
    [[maybe_unused]] ssize_t written = write(m_wake, &one, sizeof one);
}

void CTOutput::Append(const char* text, size_t length) {
    AppendSignals();
    while (length > 0) {
        const void* end = memchr(text, '\n', length);
        size_t part = end ? static_cast<size_t>(static_cast<const char*>(end) - text) + 1 : length;
        AppendPart(text, part, end != nullptr);
        text += part;
        length -= part;
    }
}

// A line goes in whole or not at all, so what stands of it already may have to go again. After the
// first one that found no room none goes in before the writer has looked: the mention of the lines
// left out has its place behind what is pending.
void CTOutput::AppendPart(const char* text, size_t length, bool ends_line) {
    if (m_full || m_inside_left_out || length > kMaxPending - m_size) {
        m_size = m_lines_end;
        m_full = true;
        m_inside_left_out = !ends_line;
        if (!ends_line) return;
        ++m_dropped;
        LeaveOut(1);
        return;
    }
    memcpy(m_pending.get() + m_size, text, length);
    m_size += length;
    if (ends_line) m_lines_end = m_size;
}

void CTOutput::AppendSignals() {
    if (m_signals.load() == 0 || m_size != m_lines_end || m_inside_left_out) return;
    uint64_t signals = m_signals.exchange(0);
    for (int i = kSignalsMost - 1; i >= 0; --i) {
        int sig = static_cast<int>(signals >> (i * kSignalBits) & kSignalMask);
        if (sig == 0) continue;
        SignalText text;
        size_t length = FormatSignal(sig, text);
        AppendPart(text.data(), length, true);
    }
}

void CTOutput::WriteSignal(int sig) {
    static_assert(std::atomic<uint64_t>::is_always_lock_free);
    constexpr int kRoomFor = kSignalBits * (kSignalsMost - 1);
    uint64_t before = m_signals.load();
    while (before >> kRoomFor == 0) {
        uint64_t after = before << kSignalBits | (static_cast<uint64_t>(sig) & kSignalMask);
        if (m_signals.compare_exchange_weak(before, after)) break;
    }
    Wake();
}

size_t CTOutput::FormatSignal(int sig, SignalText& text) {
    constexpr char kBefore[] = "\n\nSignal ";
    constexpr char kAfter[] = " received, preparing to exit...\n";
    char digits[12];
    size_t first = sizeof digits;
    do {
        digits[--first] = static_cast<char>('0' + sig % 10);
        sig /= 10;
    } while (sig > 0);
    static_assert(sizeof kBefore + sizeof kAfter + sizeof digits <= kSignalTextMax);
    char* end = std::copy(kBefore, kBefore + sizeof kBefore - 1, text.data());
    end = std::copy(digits + first, digits + sizeof digits, end);
    end = std::copy(kAfter, kAfter + sizeof kAfter - 1, end);
    return static_cast<size_t>(end - text.data());
}

bool CTOutput::End(int ms) {
    if (m_ending.exchange(true)) return m_ended;
    m_deadline = pvu_get_current_tick() + static_cast<uint64_t>(std::max(ms, 0));
    Wake();
    if (m_done.Wait(ms + kGraceMs) != 0) return false;
    m_thread.Stop();
    m_ended = true;
    return true;
}

void CTOutput::LeaveOut(uint64_t lines) {
    m_left_out.fetch_add(lines, std::memory_order_relaxed);
}

void CTOutput::Loop() {
    for (;;) {
        bool ending = m_ending;  // before the look: what was written before the end is taken
        bool taken = Take(ending);
        if (taken) WriteTaken();
        if (ending) break;
        if (!taken) WaitForWake();
    }
    m_done.Post();
}

// Whole lines, and at the end the rest; false when there is nothing.
bool CTOutput::Take(bool all) {
    CTMutexGuard guard(m_mutex);
    m_woken = false;
    AppendSignals();
    m_taken_size = all ? m_size : m_lines_end;
    m_taken_dropped = std::exchange(m_dropped, 0);
    m_full = false;
    if (m_taken_size == 0 && m_taken_dropped == 0) return false;
    size_t rest = m_size - m_taken_size;
    std::swap(m_pending, m_taken);
    memcpy(m_pending.get(), m_taken.get() + m_taken_size, rest);
    m_size = rest;
    m_lines_end = 0;
    return true;
}

void CTOutput::WriteTaken() {
    SayLeftOut();
    const char* text = m_taken.get();
    size_t written = m_unsaid == 0 ? Put(text, m_taken_size) : 0;
    uint64_t lost = CountLines(text + written, m_taken_size - written);
    LeaveOut(lost);
    m_unsaid += lost + m_taken_dropped;
    SayLeftOut();
}

// Only a line whose end was taken counts as written, so a mention that was cut is made again.
void CTOutput::SayLeftOut() {
    if (m_unsaid == 0) return;
    char note[kNoteSize];
    int length = snprintf(note, sizeof note, "%s%llu lines left out, standard output not read\n",
                          m_inside_line ? "\n" : "", static_cast<unsigned long long>(m_unsaid));
    if (Put(note, static_cast<size_t>(length)) == static_cast<size_t>(length)) m_unsaid = 0;
}

// How much the descriptor took before it failed or the time was over.
size_t CTOutput::Put(const char* text, size_t length) {
    size_t done = 0;
    while (done < length && WaitWritable()) {
        ssize_t written = write(m_fd, text + done, std::min(length - done, kMostAtOnce));
        if (written < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (written <= 0) break;
        done += static_cast<size_t>(written);
        m_inside_line = text[done - 1] != '\n';
    }
    return done;
}

// False when the descriptor has no room and the end can wait no longer. Errors of the descriptor
// are left to the write.
bool CTOutput::WaitWritable() {
    for (;;) {
        int timeout = -1;
        if (m_ending) {
            uint64_t now = pvu_get_current_tick();
            timeout = now < m_deadline ? static_cast<int>(m_deadline - now) : 0;
        }
        pollfd wait[] = {{m_fd, POLLOUT, 0}, {m_wake, POLLIN, 0}};
        int ready = poll(wait, 2, timeout);
        if (ready == 0) return false;
        if (wait[0].revents != 0) return true;
        uint64_t wakes = 0;
        if (wait[1].revents != 0 && read(m_wake, &wakes, sizeof wakes) < 0) continue;
    }
}

void CTOutput::WaitForWake() {
    pollfd wait = {m_wake, POLLIN, 0};
    poll(&wait, 1, -1);
    uint64_t wakes = 0;
    [[maybe_unused]] ssize_t result = read(m_wake, &wakes, sizeof wakes);
}
