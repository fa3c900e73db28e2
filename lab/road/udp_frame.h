#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// Ethernet frames with a UDP datagram over IPv4, for the lab's programs that stand on the road.
// They share nothing with the programs whose traffic they carry.
using Frame = std::vector<uint8_t>;

constexpr size_t kUdpHeader = 8;
constexpr size_t kIpAt = 14;

// The place of the UDP header in an unfragmented IPv4 frame; 0 for any other frame.
size_t UdpOffset(const Frame& frame);
// The bytes behind it.
size_t PayloadSize(const Frame& frame, size_t udp_offset);
// Cuts the datagram to that many bytes of payload, which must be there, and makes the headers true
// again. The UDP checksum becomes 0, "none": what is changed on the road is to reach the program,
// and what the sending host left to its network card to sum up would not be summed up by anybody.
void SetPayload(Frame& frame, size_t udp_offset, size_t payload);
