#pragma once

#include <cstdint>

#include "base/pvu_tick.h"
#include "seal/seal_fingerprint.h"
#include "tcr/tcr_path.h"

// The central router's way out, so that its logic runs without a socket in tests.
class TcrLink {
  public:
    virtual ~TcrLink() = default;
    // One datagram, from the path's local address where that is known. False when the system
    // refused it: it is lost, as it might have been on the road.
    virtual bool Send(const TcrPath& to, const void* data, int length) = 0;
    // A network packet that is passed on: the same, but its bytes stay where they are until Flush,
    // and it may leave only then, in order with the others.
    virtual bool Pass(const TcrPath& to, const uint8_t* data, int length) {
        return Send(to, data, length);
    }
    // Sends what was passed on; how many of those that Pass took the system refused after all.
    virtual int Flush() { return 0; }
    // The key that the other end of a path's sealed channel has shown; null without one.
    virtual const CTSealFingerprint* PeerOf(const TcrPath&) const { return nullptr; }
    // An edge has logged in through the path's channel, which stays as long as its session has it.
    virtual void Keep(const TcrPath&) {}
    // The monotonic clock in microseconds, for round trips alone: everything that is decided by the
    // time goes by the one that is handed in.
    virtual int64_t Micros() const { return pvu_get_current_micros(); }
    // One line for the operator, without newline.
    virtual void Tell(const char* line) = 0;
};
