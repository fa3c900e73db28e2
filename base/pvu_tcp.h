#pragma once

#include <netinet/in.h>

#include "base/pvu_socket.h"

// A stream client.
class CTTcpConnect : public CTSocket {
  public:
    // Opens a stream socket and connects it; 0 on success, -1 on failure or for a null text.
    int Connect(const char* ip, int port);
    // Adopts a connected descriptor and, when the address is not null, its peer address; 0.
    int Attach(int fd, const sockaddr* addr);
    void DisConnect() { Close(); }

    // The system call's result; 1 when the buffer is null or len is 0 or less.
    int Write(const void* buf, int len);
    int Read(void* buf, int len);

  private:
    sockaddr_in m_peer = {};
};
