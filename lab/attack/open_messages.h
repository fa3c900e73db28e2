#pragma once

#include "lab/wire/wire_message.h"

// Whom open messages are about: the identifiers and overlay addresses of the edge on this road and
// of another one.
struct Victims {
    uint32_t edge = 0, other = 0;
    uint32_t edge_ip = 0, other_ip = 0;
};

// What each injected network packet carries, between the overlay addresses, as UDP.
constexpr char kInjectedText[] = "INJECTED-PACKET";

// Messages that would harm if they were taken: what a central router tells an edge, and what the
// edge tells the central router.
std::vector<WireMessage> MessagesToEdge(const Victims& victims);
std::vector<WireMessage> MessagesToCentralRouter(const Victims& victims);
