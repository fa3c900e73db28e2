#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <optional>

#include "tests/support/wire_message.h"

// A plain datagram socket on 127.0.0.1, for the other end of what is tested. Waits are bounded:
// what does not come within ten seconds does not come.
class UdpPeer {
  public:
    UdpPeer();
    ~UdpPeer();
    UdpPeer(const UdpPeer&) = delete;
    UdpPeer& operator=(const UdpPeer&) = delete;

    uint16_t Port() const { return m_port; }
    int Fd() const { return m_fd; }

    // The next datagram; remembers where it came from. Nothing after the wait.
    std::optional<WireBytes> ReceiveBytes(int wait_ms = 10000);
    // The next message; fails the test when none comes.
    WireMessage Receive();
    // Whether a datagram is waiting already.
    bool HasWaiting();

    // To a port on 127.0.0.1, or to where the last datagram came from.
    void SendBytes(const WireBytes& bytes, uint16_t port);
    void Reply(const WireMessage& message);
    uint16_t LastPort() const { return m_last_port; }

  private:
    int m_fd;
    uint16_t m_port = 0;
    uint16_t m_last_port = 0;
};
