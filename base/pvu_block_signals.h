#pragma once

#include <csignal>

// New threads take no signal while it lives: they are for the threads that expect them.
class CTBlockSignals {
  public:
    CTBlockSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~CTBlockSignals() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    CTBlockSignals(const CTBlockSignals&) = delete;
    CTBlockSignals& operator=(const CTBlockSignals&) = delete;

  private:
    sigset_t m_before;
};
