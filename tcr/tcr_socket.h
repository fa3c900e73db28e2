#pragma once

#include <cstdint>
#include <string>

#include "base/pvu_udp.h"
#include "tcr/tcr_path.h"

// The central router's UDP socket. It knows for each datagram which address of this host it came
// to, and lets what is sent leave from a given one, so that an edge hears from the address that it
// speaks to also where the host has several. Never waits. One thread.
class TcrSocket {
  public:
    TcrSocket() = default;
    ~TcrSocket() { m_udp.Close(); }

    // Binds to the address (host byte order, 0: all of this host's) and the port. False with the
    // system's reason in fault.
    bool Open(uint32_t ip, uint16_t port, std::string& fault);
    // For poll.
    int Handle() const { return m_udp.GetHandle(); }

    // One datagram that waits: its true length, which may be more than size, then the rest is
    // lost. -1 when none waits.
    int Receive(TcrPath& from, void* data, int size);
    // False when the system did not take it whole.
    bool Send(const TcrPath& to, const void* data, int length);

  private:
    CTUdp m_udp;
};
