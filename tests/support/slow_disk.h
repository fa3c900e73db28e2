#pragma once

#include <sqlite3.h>

// Every database that is opened while it lives lies on a disk whose flushes can be held up and
// whose writes can be made to fail. One at a time in a process; databases opened on it must be
// closed before it goes. Its verbs may be called while another thread writes.
class SlowDisk {
  public:
    SlowDisk();
    ~SlowDisk();
    SlowDisk(const SlowDisk&) = delete;
    SlowDisk& operator=(const SlowDisk&) = delete;

    // From now on a flush does not return before LetGo.
    void HoldFlushes();
    // Waits until a flush is held; false when none comes within ten seconds.
    bool WaitForFlush();
    void LetGo();

    // From now on writes give this result of SQLite's, such as SQLITE_FULL, flushes this one;
    // SQLITE_OK: as the real disk.
    void FailWrites(int result);
    void FailFlushes(int result);

    int Flushes();
};
