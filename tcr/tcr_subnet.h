#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "sdwan/sdwan_subnet.h"
#include "tcr/edge_session.h"
#include "tcr/edge_traffic.h"
#include "tcr/line_budget.h"
#include "tcr/tcr_config.h"

// One served subnet: its part of the model, and the session of the edge in each router slot.
struct TcrSubnet {
    // The index is the upper part of its edges' identifiers.
    TcrSubnet(const TcrSubnetConfig& served, int index);
    TcrSubnet(const TcrSubnet&) = delete;
    TcrSubnet& operator=(const TcrSubnet&) = delete;

    // What may change while edges are there; gateway and mask may not.
    void SetLimits(const TcrSubnetConfig& served);

    CTSdwanRouter* Router(int slot) const { return model.GetRouterList().At(slot); }
    uint32_t Identifier(int slot) const {
        return static_cast<uint32_t>(model.GetIndex()) << 8 | static_cast<uint32_t>(slot);
    }
    // The router's devices that are on.
    TcrDevices DevicesOf(int slot) const;
    // The routers that are listed and have settled: what the others see.
    TcrRoster Roster() const;
    // Whether an edge may have the address: inside the subnet, and neither the network's, the
    // broadcast nor the gateway's.
    bool IsHostAddr(uint32_t ip) const;

    // Whether an address is left that no device has. Those of devices all lie in the subnet.
    bool HasFreeAddr() const;
    // Nobody has the slot any more: router, devices with the address, session and counts go.
    void FreeSlot(int slot);
    // Whether an edge with that serial number may log in.
    bool LetsIn(uint32_t serial) const;
    // Whether it may by the way it comes: sealed or not, with that key or null for none.
    bool LetsInBy(uint32_t serial, bool sealed, const CTSealFingerprint* key) const;

    CTSdwanSubnet model;
    TcrSession sessions[kTcrSlots];
    TcrLineBudget lines[kTcrSlots];
    TcrEdgeTraffic traffic[kTcrSlots];             // since the edge, by its serial number, has it
    std::optional<std::vector<uint32_t>> serials;  // let in, ascending; nothing: all are
    TcrSeal seal = TcrSeal::kOff;
    std::map<uint32_t, CTSealFingerprint> keys;  // of those that get in with theirs alone
    uint32_t last_version = 0;                   // given to a session's router; never given twice
};
