#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tcr/tcr_device.h"
#include "tcr/tcr_time.h"

// A moment that is worked out at the next opportunity.
constexpr TcrTime kTcrTimeUnset = -1;

// What one edge knows of another one. The edge surely has what it acknowledged or showed by a
// later request, and may have whatever it was sent since it surely had something else; the
// difference is what a datagram that was lost, doubled or overtaken leaves open. Something is
// announced until it is sure, and taken back for as long as the edge may have it.
//
// Part of the session of the edge that knows. The announcer keeps it; requests for the lists of
// routers and devices add to it.
struct TcrPeerView {
    // More addresses than this count as any: a router has at most 8 at a time.
    static constexpr size_t kMaxDevices = 64;

    // What the edge may have: the router, in any version, with any of these devices.
    bool may_know = false;
    bool unknown = false;  // with any device at all
    TcrDevices may_devices;

    // What it surely has: the router in this version (0: none), and the addresses of these devices
    // leading to it.
    uint32_t offered_version = 0;  // of the router in the last list sent to it
    uint32_t sure_version = 0;
    TcrDevices sure_devices;

    // Commands that may still be under way in some copy: the version that the last router command
    // announced (0: none, kEndVersion: its end), and all devices announced.
    static constexpr uint32_t kEndVersion = UINT32_MAX;
    uint32_t commanded_version = 0;
    TcrDevices announced_devices;

    TcrTime confirm_at = 0;   // when it is announced once more because of those; 0: not
    TcrTime refresh_at = 0;   // when its devices are; 0: no time was set
    TcrTime renew_at = 0;     // when it is because of a late acknowledgement; 0: not
    TcrTime renewed_at = 0;   // when it last was
    TcrTime renew_pause = 0;  // the least time until the next such renewal

    // Whatever the edge has there, it has to be announced anew. For an edge that was restored after
    // a restart of the central router.
    void Forget();
    // The edge logged in again from the same socket: it has nothing, but what was sent to it before
    // may still arrive.
    void StartAnew();
    void MayKnow(const TcrDevices& devices);
    // Announced as well: copies of the command may arrive for some time.
    void Announced(const TcrDevices& devices);
    // Whether the edge may have that address behind the router, now or when a late copy arrives.
    bool MayHold(uint32_t ip) const;
    // Nothing is sure any more of addresses that the other view's router may hold: when that router
    // goes or is replaced, the edge forgets all of them.
    void DoubtAddressesOf(const TcrPeerView& other);
    void DoubtAddresses(const TcrDevices& devices) { tcr_erase_addresses(sure_devices, devices); }
    // The next announcement is of the router, or of its end.
    void DoubtRouter();
};
