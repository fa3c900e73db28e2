#pragma once

#include <cstdint>

#include "base/pvu_sockaddr.h"

// The way to an edge: where it sends from, the address of ours that its datagrams came to, so that
// whatever is sent to it leaves from the address that it knows, and the sealed channel that it
// speaks through, if there is one.
struct TcrPath {
    static constexpr uint64_t kOpen = 0;
    // That of a sealed session whose channel went with an earlier run: nobody comes by it.
    static constexpr uint64_t kLostChannel = UINT64_MAX;

    CTSockAddr remote;
    uint32_t local = 0;        // host byte order; 0: not known, the system chooses
    uint64_t channel = kOpen;  // its number, see TcrChannels

    // The remote end alone says who sends: an edge may reach us at several addresses. Where it
    // speaks through a channel, that has to be the same one.
    bool SameRemote(const TcrPath& other) const {
        return remote == other.remote && channel == other.channel;
    }
    bool IsSealed() const { return channel != kOpen; }
};
