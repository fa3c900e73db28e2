#pragma once

#include <cstdint>

#include "inet/tnet_ipv4_hdr.h"
#include "inet/tnet_tcp.h"

constexpr uint8_t kTcpFin = 0x01;
constexpr uint8_t kTcpSyn = 0x02;
constexpr uint8_t kTcpRst = 0x04;
constexpr uint8_t kTcpPsh = 0x08;
constexpr uint8_t kTcpUrg = 0x20;
constexpr uint8_t kTcpCwr = 0x80;

constexpr int kTcpCksumOffset = 16;

// Where things lie in a packet that is TCP over IPv4. A view: the bytes stay the caller's.
struct CTTcpPacket {
    // False when it is none: another version or protocol, a fragment, or headers that do not lie
    // inside the length. The total length is not looked at: that of a burst may be anything.
    bool Attach(uint8_t* packet, int length);

    int HeaderLength() const { return ip_length + tcp_length; }
    int PayloadLength() const { return length - HeaderLength(); }

    uint8_t* bytes = nullptr;
    int length = 0;
    tnet_ipv4_hdr* ip = nullptr;
    tnet_tcp_hdr* tcp = nullptr;
    int ip_length = 0;   // with options
    int tcp_length = 0;  // with options
};
