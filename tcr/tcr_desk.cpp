#include "tcr/tcr_desk.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include "base/pvu_semaphore.h"

namespace {

int64_t UnixMillis() {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

}  // namespace

struct TcrDesk::Task {
    Work work;
    CTSemaphore ended = {};
    bool done = false;
};

TcrDesk::~TcrDesk() {
    if (m_event >= 0) close(m_event);
}

bool TcrDesk::Open(std::string& fault) {
    m_event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_event < 0) fault = std::string("event descriptor: ") + strerror(errno);
    return m_event >= 0;
}

bool TcrDesk::TakeSnapshot(TcrSnapshot& snapshot) {
    return Ask([&](const CTCentralRouter& router, TcrTime now) {
        router.TakeSnapshot(now, snapshot);
        snapshot.unix_ms = UnixMillis();
        snapshot.uptime_ms = now - m_start;
        snapshot.sealed.reset();
        if (m_channels) snapshot.sealed = tcr_snapshot_of(*m_channels);
    });
}

bool TcrDesk::RemoveEdge(uint32_t serial, std::vector<TcrRemovedEdge>& removed) {
    return Ask(
        [&](CTCentralRouter& router, TcrTime now) { removed = router.RemoveEdge(serial, now); });
}

bool TcrDesk::Ask(Work work) {
    Task task{std::move(work)};
    {
        CTMutexGuard guard(m_mutex);
        if (m_closed) return false;
        m_tasks.push_back(&task);
    }
    uint64_t one = 1;
    // It can only fail where the count is at its end, and then the descriptor is readable.
    [[maybe_unused]] ssize_t written = write(m_event, &one, sizeof one);
    task.ended.Wait(kWaitMs);
    // Also so that nobody is at the task any more when it goes.
    CTMutexGuard guard(m_mutex);
    std::erase(m_tasks, &task);
    return task.done;
}

void TcrDesk::Serve(CTCentralRouter& router, TcrTime now) {
    uint64_t count = 0;
    if (read(m_event, &count, sizeof count) != sizeof count) return;
    CTMutexGuard guard(m_mutex);
    for (Task* task : std::exchange(m_tasks, {})) {
        task->work(router, now);
        task->done = true;
        task->ended.Post();
    }
}

void TcrDesk::Close() {
    CTMutexGuard guard(m_mutex);
    m_closed = true;
    for (Task* task : std::exchange(m_tasks, {}))
        task->ended.Post();
}
