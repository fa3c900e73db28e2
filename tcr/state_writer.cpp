#include "tcr/state_writer.h"

#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

TcrStateWriter::~TcrStateWriter() {
    if (m_running) Stop(-1);
    if (m_event >= 0) close(m_event);
}

bool TcrStateWriter::Start(std::string& fault) {
    m_event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    // The thread inherits the mask: the signals are the server's.
    pthread_sigmask(SIG_SETMASK, &all, &before);
    m_running = m_event >= 0 && m_thread.Start(ThreadEntry, this);
    if (!m_running) fault = std::string("state writer: ") + strerror(errno);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return m_running;
}

void TcrStateWriter::Save(TcrStateBatch&& batch, uint64_t ticket) {
    CTMutexGuard guard(m_mutex);
    m_pending.Add(std::move(batch));
    m_pending_ticket = ticket;
    if (!m_has_pending) m_work.Post();
    m_has_pending = true;
}

std::vector<TcrStateWriter::Outcome> TcrStateWriter::TakeOutcomes() {
    uint64_t count = 0;
    // Nothing to read is nothing to take.
    if (read(m_event, &count, sizeof count) != sizeof count) return {};
    CTMutexGuard guard(m_mutex);
    return std::exchange(m_outcomes, {});
}

bool TcrStateWriter::Stop(int wait_ms) {
    if (!m_running) return true;
    {
        CTMutexGuard guard(m_mutex);
        m_ending = true;
        m_has_pending = !m_pending.IsEmpty();  // also what could not be written before
    }
    m_work.Post();
    if (wait_ms >= 0 && m_ended.Wait(wait_ms) != 0) return false;
    m_thread.Stop();
    m_running = false;
    return true;
}

void* TcrStateWriter::ThreadEntry(void* self) {
    static_cast<TcrStateWriter*>(self)->Loop();
    return nullptr;
}

void TcrStateWriter::Loop() {
    bool ending = false;
    while (!ending) {
        m_work.Wait();
        {
            CTMutexGuard guard(m_mutex);
            ending = m_ending;
        }
        WriteOnce();
    }
    m_file.Close();  // here too a disk may take its time
    m_ended.Post();
}

void TcrStateWriter::WriteOnce() {
    TcrStateBatch batch;
    Outcome outcome;
    {
        CTMutexGuard guard(m_mutex);
        if (!m_has_pending) return;
        m_has_pending = false;
        batch = m_pending.Take();
        outcome.ticket = m_pending_ticket;
    }
    outcome.saved = m_file.Write(batch, outcome.reason);
    CTMutexGuard guard(m_mutex);
    if (!outcome.saved) {
        // What follows builds on it, so that the next write has to carry it too.
        TcrStatePending both;
        both.Add(std::move(batch));
        both.Add(m_pending.Take());
        m_pending = std::move(both);
    }
    m_outcomes.push_back(std::move(outcome));
    uint64_t one = 1;
    // It can only fail where the count is at its end, and then the descriptor is readable.
    [[maybe_unused]] ssize_t written = write(m_event, &one, sizeof one);
}
