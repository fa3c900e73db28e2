#pragma once

#include <cstdint>
#include <string>

#include "tests/support/wire_bytes.h"

// The tunnel protocol as a test's peer speaks it: a codec of its own, which shares nothing with
// the product, so that one mistake cannot hide on both sides.
struct WireMessage {
    uint8_t type = 0;
    uint8_t sub = 0;
    uint16_t seq = 0;
    uint8_t frame_total = 0;
    uint8_t frame_index = 0;
    uint32_t src = 0;
    uint32_t dst = 0;
    WireBytes body;
    int length_field = -1;  // what the header states; -1: the truth

    WireBytes Encode() const;
    // Fails the test for a datagram that is no message.
    static WireMessage Decode(const WireBytes& datagram);

    bool Is(int want_type, int want_sub) const { return type == want_type && sub == want_sub; }
};

constexpr uint32_t kWireCentral = 0xFFFFFFFF;

void Put8(WireBytes& bytes, uint32_t value);
void Put16(WireBytes& bytes, uint32_t value);
void Put32(WireBytes& bytes, uint32_t value);
// A text field of 32 bytes.
void PutText(WireBytes& bytes, const std::string& text);
uint32_t At8(const WireBytes& bytes, size_t offset);
uint32_t At16(const WireBytes& bytes, size_t offset);
uint32_t At32(const WireBytes& bytes, size_t offset);
std::string TextAt(const WireBytes& bytes, size_t offset);

constexpr uint32_t Ip(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    return a << 24 | b << 16 | c << 8 | d;
}
