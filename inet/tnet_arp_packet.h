#pragma once

#include "inet/tnet_arp.h"
#include "inet/tnet_ether_hdr.h"

// Builds whole ARP frames, Ethernet header included, in a caller's buffer. IPv4 addresses are
// written unchanged: pass them in network byte order.
class CTArpPacket {
  public:
    // Bytes that each operation writes; the caller's buffer has at least as many.
    static constexpr int kFrameSize = sizeof(tnet_ether_hdr) + sizeof(tnet_arp_hdr);
    static_assert(kFrameSize == 42);

    // The answer to a peer's request: 0. A null pointer is a failed assertion of the views.
    static int MakeReply(void* buf, const tnet_ether_addr* own_mac, const tnet_ether_addr* peer_mac,
                         uint32_t own_ip, uint32_t peer_ip);
    // A frame with any opcode (host byte order), sent to the target's MAC: 0, or 1 when a pointer
    // is null.
    static int MakeIPv4Arp(void* buf, uint16_t op, uint32_t sender_ip,
                           const tnet_ether_addr* sender_mac, uint32_t target_ip,
                           const tnet_ether_addr* target_mac);
};
