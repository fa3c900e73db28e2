#pragma once

#include <cstdint>

#include "base/pvu_sockaddr.h"

// The way to an edge: where it sends from, and the address of ours that its datagrams came to, so
// that whatever is sent to it leaves from the address that it knows.
struct TcrPath {
    CTSockAddr remote;
    uint32_t local = 0;  // host byte order; 0: not known, the system chooses

    // The remote end alone says who sends: an edge may reach us at several addresses.
    bool SameRemote(const TcrPath& other) const { return remote == other.remote; }
};
