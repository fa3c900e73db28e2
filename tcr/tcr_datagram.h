#pragma once

#include <cstdint>

#include "inet/tnet_npkt.h"
#include "sstp/sstp_message.h"
#include "tcr/tcr_path.h"
#include "tcr/tcr_time.h"

// A datagram that holds one whole message, while it is handled.
struct TcrDatagram {
    const TcrPath& from;
    const uint8_t* data;  // as it came
    int length;
    CTSkBuffer& buffer;  // a copy, to which the message classes attach; not of a network packet
    CTSstpMessage& msg;  // over the copy, or a network packet's own bytes
    TcrTime now;
};
