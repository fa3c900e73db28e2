#pragma once

#include <cstdint>

// What the central router counts. Nothing is printed for a single datagram.
struct TcrCounters {
    uint64_t received = 0;
    uint64_t relayed = 0;
    uint64_t answered = 0;             // requests and heartbeats
    uint64_t pings = 0;                // to a gateway, answered or waiting for a fragment
    uint64_t malformed = 0;            // length field or body does not fit the datagram
    uint64_t foreign = 0;              // not from the address that logged in with the identifier
    uint64_t wrong = 0;                // no request for a central router, or not in that state
    uint64_t unknown_destination = 0;  // network packets for nobody
    uint64_t refused_logins = 0;
    uint64_t ignored_logins = 0;   // from addresses that had too many refused
    uint64_t send_refused = 0;     // network packets that the system did not take
    uint64_t replies_dropped = 0;  // what they depend on could not be written
};
