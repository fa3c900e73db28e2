#pragma once

// Whether an edge takes part.
enum class TcrPresence {
    kAbsent,    // never logged in, or logged out
    kLoggedIn,  // joining
    kSilent,    // not heard of for too long; back with its next heartbeat
};
