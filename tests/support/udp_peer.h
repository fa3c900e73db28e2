#pragma once

#include <netinet/in.h>

#include <optional>

#include "lab/wire/wire_message.h"

// What comes on a socket of datagrams or packets within the wait; fills in where it came from.
std::optional<WireBytes> ReceiveWithin(int fd, int wait_ms, sockaddr_in* from = nullptr);

// A plain datagram socket on 127.0.0.1, for the other end of what is tested. Waits are bounded:
// what does not come within ten seconds does not come.
class UdpPeer {
  public:
    UdpPeer();
    ~UdpPeer();
    UdpPeer(const UdpPeer&) = delete;
    UdpPeer& operator=(const UdpPeer&) = delete;

    uint16_t Port() const { return m_port; }

    // The next datagram; remembers where it came from. Nothing after the wait.
    std::optional<WireBytes> ReceiveBytes(int wait_ms = 10000);
    // The next message; fails the test when none comes.
    WireMessage Receive();
    // Whether a datagram is waiting, now or within that time.
    bool HasWaiting(int wait_ms = 0);

    // To a port on 127.0.0.1, or to where the last datagram came from.
    void SendBytes(const WireBytes& bytes, uint16_t port);
    void Reply(const WireMessage& message) { SendBytes(message.Encode(), m_last_port); }
    uint16_t LastPort() const { return m_last_port; }

  private:
    int m_fd;
    uint16_t m_port = 0;
    uint16_t m_last_port = 0;
};
