#pragma once

#include <gtest/gtest.h>

#include "lab/wire/wire_bodies.h"
#include "lab/wire/wire_kinds.h"

// Decoding in tests, which fail on whatever the codec finds wrong.

// A datagram's header; with the body held against its kind if it is one that a whole program sent.
inline WireMessage ExpectMessage(const WireBytes& datagram, bool check_body) {
    WireFaults faults;
    WireMessage message = WireMessage::Decode(datagram, faults);
    if (check_body) CheckWireKind(message, faults);
    EXPECT_EQ(faults, WireFaults());
    return message;
}

template <typename Body>
Body ExpectBody(const WireMessage& message) {
    WireFaults faults;
    Body body = DecodeWire<Body>(message.body, faults);
    EXPECT_EQ(faults, WireFaults());
    return body;
}
