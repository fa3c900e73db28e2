#pragma once

#include "lab/wire/wire_fields.h"

// The tunnel protocol as the lab's decoder and the tests' peers speak it: a codec of its own, made
// from the protocol's description. It shares nothing with the product, so that one mistake cannot
// hide on both sides. Here is the header; the bodies are in wire_bodies.h, what belongs together in
// wire_kinds.h.
struct WireMessage {
    uint8_t type = 0;
    uint8_t sub = 0;
    uint16_t seq = 0;
    uint8_t frame_total = 0;
    uint8_t frame_index = 0;
    uint32_t src = 0;
    uint32_t dst = 0;
    WireBytes body = {};
    int length_field = -1;  // what the header states; -1: the truth

    WireBytes Encode() const;
    // Empty for a datagram without a whole header.
    static WireMessage Decode(const WireBytes& datagram, WireFaults& faults);

    bool Is(int want_type, int want_sub) const { return type == want_type && sub == want_sub; }
    bool IsPacket() const { return type == 5; }
    bool IsReply() const { return type % 2 == 0; }
    // The reply to this, from its addressee.
    WireMessage Reply(const WireBytes& reply_body = {}) const;
};

// The Internet checksum as RFC 1071 words it; 0 over bytes whose checksum field is right.
uint16_t ChecksumOf(const WireBytes& bytes, size_t from, size_t to);

constexpr uint32_t Ip(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    return a << 24 | b << 16 | c << 8 | d;
}
