#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/pvu_mutex.h"
#include "base/pvu_thread_safety.h"
#include "tcr/central_router.h"
#include "tcr/edge_removal.h"
#include "tcr/snapshot.h"

// Where other threads have the central router's thread do something for them, as the central router
// takes no lock. They wait for it; it never waits for them, and what it does here is short.
//
// Owned by the server. Whoever asks ends before this object does.
class TcrDesk {
  public:
    // An answer that does not come within this time does not come.
    static constexpr int kWaitMs = 2000;

    TcrDesk() = default;
    ~TcrDesk();
    TcrDesk(const TcrDesk&) = delete;
    TcrDesk& operator=(const TcrDesk&) = delete;

    // -- Any thread but the central router's. False when the answer did not come in time, or the
    // central router has ended; nothing was done then.

    // The state, its clocks included.
    bool TakeSnapshot(TcrSnapshot& snapshot);
    // See tcr_remove_edge.
    bool RemoveEdge(uint32_t serial, std::vector<TcrRemovedEdge>& removed);

    // -- The server's

    // Before anybody asks; false with one line in fault.
    bool Open(std::string& fault);
    // The time at which it begins to serve.
    void SetStart(TcrTime now) { m_start = now; }
    // The sealed channels, which must stay.
    void SetChannels(const TcrChannels& channels) { m_channels = &channels; }
    // A descriptor that is readable while somebody waits; this object's own.
    int EventHandle() const { return m_event; }
    // Does what is asked for.
    void Serve(CTCentralRouter& router, TcrTime now) PVU_EXCLUDES(m_mutex);
    // Nothing is done from now on.
    void Close() PVU_EXCLUDES(m_mutex);

  private:
    struct Task;

    using Work = std::function<void(CTCentralRouter&, TcrTime)>;
    bool Ask(Work work) PVU_EXCLUDES(m_mutex);

    int m_event = -1;
    TcrTime m_start = 0;
    const TcrChannels* m_channels = nullptr;  // null: there are none
    CTMutex m_mutex;
    bool m_closed PVU_GUARDED_BY(m_mutex) = false;
    std::vector<Task*> m_tasks PVU_GUARDED_BY(m_mutex);  // those who wait own them
};
