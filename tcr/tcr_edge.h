#pragma once

#include "tcr/tcr_subnet.h"

// One router slot of one subnet, where an edge is or was: a handle, passed by value.
struct TcrEdge {
    TcrSubnet* subnet = nullptr;
    int slot = 0;

    TcrSession& Session() const { return subnet->sessions[slot]; }
    // Null while nobody has the slot.
    CTSdwanRouter* Router() const { return subnet->Router(slot); }
    uint32_t Identifier() const { return subnet->Identifier(slot); }
};
