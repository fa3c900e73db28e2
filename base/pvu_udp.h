#pragma once

#include <netinet/in.h>

#include "base/pvu_socket.h"

// A datagram socket whose receive time-out is a wait for readiness. One thread may read while
// another writes.
class CTUdp : public CTSocket {
  public:
    static constexpr int kDefaultRecvTimeoutMs = 5000;

    // Opens the socket unbound: the system picks the local port at the first send. Always true.
    bool Open();
    // Opens and binds to the wildcard address and the port; true when the bind succeeds.
    bool Open(int port);

    // Stores the peer address, without a system call; 0, or -1 for a null text.
    int Connect(const char* ip, int port);
    // Milliseconds; prints the value to standard output. No socket option is set.
    void SetRecvTimeout(int ms);
    int GetRecvTimeout() const { return m_recv_timeout; }

    // Waits until fd is readable, at most ms milliseconds: 0 when it is, 1 on time-out or error.
    static int SelectWait(int fd, int ms);

    // The bytes sent, or -1.
    int Write(const sockaddr_in* to, const void* buf, int len);
    // One datagram, cut to len; the byte count, or -1 when none arrived within the time-out.
    int Read(sockaddr_in* from, void* buf, int len);
    // The same within ms milliseconds.
    int Read(sockaddr_in* from, void* buf, int len, int ms);

  private:
    sockaddr_in m_peer = {};
    int m_recv_timeout = kDefaultRecvTimeoutMs;
};
