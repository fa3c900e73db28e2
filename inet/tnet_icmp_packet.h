#pragma once

#include <cstdint>

#include "inet/tnet_ether_hdr.h"
#include "inet/tnet_icmp.h"
#include "inet/tnet_ipv4_hdr.h"

// Builds whole ICMP echo replies in a caller's buffer, MakeReply with an Ethernet header in front
// and MakeL3Reply without one. The IPv4 header carries no options.
//
// Results: 0, or 22 (EINVAL) with the buffer untouched.
//
// Addresses, identifier and sequence number are written unchanged: pass them in network byte
// order, as a request holds them.
class CIcmpPacket {
  public:
    // Bytes in front of the echo data.
    static constexpr int kL3HeaderSize = sizeof(tnet_ipv4_hdr) + sizeof(tnet_icmp_hdr);
    static constexpr int kFrameHeaderSize = sizeof(tnet_ether_hdr) + kL3HeaderSize;
    // The most echo data that fits the total length of an IPv4 header.
    static constexpr int kDataMax = 65535 - kL3HeaderSize;

    // From parts. The buffer has room for the headers and length bytes of data, and does not
    // overlap the data. 22 when a pointer is null (data may be, with length 0) or length is
    // negative or above kDataMax.
    static int MakeReply(void* buf, const tnet_ether_addr* own_mac, const tnet_ether_addr* peer_mac,
                         uint32_t own_ip, uint32_t peer_ip, uint16_t identifier, uint16_t sequence,
                         const void* data, int length);
    static int MakeL3Reply(void* buf, uint32_t own_ip, uint32_t peer_ip, uint16_t identifier,
                           uint16_t sequence, const void* data, int length);

    // From a received echo request, addresses exchanged. The reply is never longer than the bytes
    // that the request announces (with MakeReply, 14 plus its total length): the reply buffer has
    // that much room, and may be the request's own. 22 when a pointer is null, the header length is
    // below 20, or the total length is below header length + 8.
    //
    // Precondition: the bytes that the request's IPv4 header announces were received, at least 20,
    // and it is an echo request; neither is looked at here.
    static int MakeReply(const void* request, void* reply);
    static int MakeL3Reply(const void* request, void* reply);
};
