#pragma once

#include <string>

#include "tests/support/wire_bytes.h"

struct Endpoint {
    uint32_t ip = 0;
    uint16_t port = 0;
    auto operator<=>(const Endpoint&) const = default;
    std::string Text() const {
        std::string text;
        for (int shift = 24; shift >= 0; shift -= 8)
            text += std::to_string(ip >> shift & 0xFF) + (shift > 0 ? "." : ":");
        return text + std::to_string(port);
    }
};

// A UDP datagram of a capture.
struct Datagram {
    size_t frame = 0;  // counted from 1, as capture tools do
    int64_t at = 0;    // in ms
    Endpoint from, to;
    WireBytes bytes;
};
