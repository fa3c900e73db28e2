#pragma once

#include <cstdint>

#include "sdwan/sdwan_subnet.h"
#include "tcr/edge_session.h"

// One served subnet: its part of the model, and the session of the edge in each router slot.
struct TcrSubnet {
    explicit TcrSubnet(CTSdwanSubnet& subnet) : model(subnet) {}

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

    CTSdwanSubnet& model;
    TcrSession sessions[kTcrSlots];
    uint32_t last_version = 0;  // given to a session's router; never given twice
};
