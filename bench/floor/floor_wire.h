#pragma once

#include <arpa/inet.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "sstp/sstp_pkt.h"

// The floor's messages: network packets of the tunnel, whole or in two halves, with the product's
// header layout and sizes and nothing else of it.

constexpr size_t kFloorHeaderSize = sizeof(sstp_msg_hdr);
constexpr size_t kFloorMessageMax = 1400;  // a longer message is split
constexpr size_t kFloorPacketMax = 1500;   // the interface's MTU
constexpr size_t kFloorFirstData = kFloorMessageMax - kFloorHeaderSize;
constexpr uint8_t kFloorWhole = 0;
constexpr uint8_t kFloorPair = 2;  // frame total of both halves
constexpr uint8_t kFloorFirst = 0;
constexpr uint8_t kFloorSecond = 1;

// Both in the tunnel's numbering of edges, from 0.
struct FloorRoute {
    uint32_t src = 0;
    uint32_t dst = 0;
};

// Writes a header; length counts the whole message. Host order.
inline void FillFloorHeader(uint8_t* at, const FloorRoute& route, uint16_t seq, size_t length,
                            uint8_t total, uint8_t index) {
    sstp_msg_hdr header = {};
    header.type = kSstpNetPacket;
    header.seq = htons(seq);
    header.length = htons(static_cast<uint16_t>(length));
    header.frame_total = total;
    header.frame_index = index;
    header.src = htonl(route.src);
    header.dst = htonl(route.dst);
    memcpy(at, &header, sizeof header);
}

// The header of a datagram; false when it is no whole network packet message.
inline bool ReadFloorHeader(const uint8_t* at, size_t size, sstp_msg_hdr& header) {
    if (size < sizeof header) return false;
    memcpy(&header, at, sizeof header);
    return header.type == kSstpNetPacket && ntohs(header.length) == size;
}
