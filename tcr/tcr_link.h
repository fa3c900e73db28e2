#pragma once

#include <cstdint>

#include "base/pvu_sockaddr.h"

// The central router's way out, so that its logic runs without a socket in tests.
class TcrLink {
  public:
    virtual ~TcrLink() = default;
    // One datagram.
    virtual void Send(const CTSockAddr& to, const void* data, int length) = 0;
    // One line for the operator, without newline.
    virtual void Tell(const char* line) = 0;
};
