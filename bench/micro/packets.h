#pragma once

#include <cstdint>

#include "inet/xmit_pkt_pool.h"

// What the measurements of single operations work with: one pool of the system's size, and packets
// made from it.

constexpr int kMicroBufSize = 2048;
constexpr int kMicroFullPacket = 1500;
constexpr int kMicroSmallPacket = 92;  // 64 bytes of UDP data
constexpr int kMicroMtu = 1400;        // the tunnel's

// Lives as long as the program.
CTXmitPktPool& MicroPool();

// A network packet message of that length, header included, from edge src. The caller releases it.
CTXmitPkt* MicroMessage(int length, uint32_t src, uint16_t seq, uint8_t total, uint8_t index);

// Makes the packet's data a UDP packet of that length to that address (host order), as the
// interface gives it.
void MicroFillPacket(CTXmitPkt& pkt, int length, uint32_t dst);
