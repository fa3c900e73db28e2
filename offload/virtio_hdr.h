#pragma once

#include <cstddef>
#include <cstdint>

// What the interface puts in front of each packet, and wants there, once it was opened with
// IFF_VNET_HDR: how much of the packet is left to be done. All fields in host byte order, as the
// driver has them unless asked otherwise. (linux/virtio_net.h is no C++.)
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | flags | gso   | hdr_len       |  0    gso: how the packet is to be cut; 0: it is one packet
// +-------+-------+-------+-------+
// | gso_size      | csum_start    |  4    gso_size: payload of each packet but the last
// +-------+-------+-------+-------+
// | csum_offset   |                  8    from csum_start on
// +-------+-------+
struct __attribute__((packed)) tnet_virtio_hdr {
    uint8_t flags;
    uint8_t gso_type;
    uint16_t hdr_len;
    uint16_t gso_size;
    uint16_t csum_start;
    uint16_t csum_offset;
};
static_assert(sizeof(tnet_virtio_hdr) == 10);
static_assert(offsetof(tnet_virtio_hdr, gso_size) == 4 &&
              offsetof(tnet_virtio_hdr, csum_offset) == 8);

constexpr int kVirtioHdrSize = sizeof(tnet_virtio_hdr);

// The field at csum_start + csum_offset holds the pseudo-header's sum only.
constexpr uint8_t kVirtioNeedsCsum = 1;

constexpr uint8_t kVirtioOnePacket = 0;
constexpr uint8_t kVirtioTcp4Burst = 1;
constexpr uint8_t kVirtioEcn = 0x80;  // beside a type: the first packet carries CWR
