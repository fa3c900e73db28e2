#pragma once

#include <functional>

#include "lab/wire/wire_bytes.h"

struct Endpoint {
    uint32_t ip = 0;
    uint16_t port = 0;
    auto operator<=>(const Endpoint&) const = default;
    std::string Text() const;
};

// A UDP datagram of a capture.
struct Datagram {
    size_t frame = 0;  // counted from 1, as capture tools do
    int64_t at = 0;    // in ms
    Endpoint from, to;
    WireBytes bytes;
};

// Hands on every UDP datagram over IPv4 of a capture of Ethernet frames, in the file's order. What
// went wrong, or an empty text; a datagram that is not whole is wrong.
std::string ReadCapture(const char* path, const std::function<void(const Datagram&)>& take);
