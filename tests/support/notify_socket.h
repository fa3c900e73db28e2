#pragma once

#include <string>

#include "tests/support/scratch_dir.h"

// The end of a service manager to which programs tell how they are. Programs that are started while
// it lives find it in their environment, as this process does.
class NotifySocket {
  public:
    // With a watchdog of that many milliseconds, or none.
    explicit NotifySocket(int watchdog_ms = 0);
    ~NotifySocket();
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    // The next message; empty when none comes within that time.
    std::string Next(int wait_ms = 10000);
    // Whether the message is the next one but for others that are passed over.
    bool Tells(const std::string& message);

  private:
    ScratchDir m_dir;
    int m_fd;
};
