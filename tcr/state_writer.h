#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/pvu_mutex.h"
#include "base/pvu_semaphore.h"
#include "base/pvu_thread.h"
#include "base/pvu_thread_safety.h"
#include "tcr/state_file.h"
#include "tcr/state_pending.h"
#include "tcr/state_sink.h"

// Writes the central router's changes on a thread of its own, so that nobody else waits for the
// disk. While one write is under way, what comes meanwhile is joined into the next one.
//
// Owned by the server, whose thread calls everything here; the file, which must outlive it, is the
// writer's thread's from Start on, and closed by it at its end.
class TcrStateWriter : public TcrStateSink {
  public:
    // What became of a write. It stands for its ticket and for every lower one without an outcome.
    struct Outcome {
        uint64_t ticket = 0;
        bool saved = false;
        std::string reason;  // one line with file and reason when it was not saved
    };

    explicit TcrStateWriter(TcrStateFile& file) : m_file(file) {}
    ~TcrStateWriter() override;

    // Starts the thread, with all signals blocked; false with the reason in fault.
    bool Start(std::string& fault);
    void Save(TcrStateBatch&& batch, uint64_t ticket) override;

    // A descriptor that is readable while there are outcomes to take; the writer's own.
    int EventHandle() const { return m_event; }
    // Takes them, the oldest first.
    std::vector<Outcome> TakeOutcomes();

    // Has everything that waits written and ends the thread. False when it is still at it after
    // so many milliseconds: the thread goes on then, and neither writer nor file may be destroyed
    // before the process ends. Outcomes can be taken after it.
    bool Stop(int wait_ms);

  private:
    static void* ThreadEntry(void* self);
    void Loop();
    void WriteOnce();

    TcrStateFile& m_file;
    CTThread m_thread;
    CTSemaphore m_work;   // posted when there is something to write, and for the end
    CTSemaphore m_ended;  // posted by the thread as its last act
    int m_event = -1;
    bool m_running = false;

    CTMutex m_mutex;
    TcrStatePending m_pending PVU_GUARDED_BY(m_mutex);
    uint64_t m_pending_ticket PVU_GUARDED_BY(m_mutex) = 0;  // the last that was given
    bool m_has_pending PVU_GUARDED_BY(m_mutex) = false;
    bool m_ending PVU_GUARDED_BY(m_mutex) = false;
    std::vector<Outcome> m_outcomes PVU_GUARDED_BY(m_mutex);
};
