#pragma once

#include <cstddef>
#include <cstdint>

struct tnet_ipv4_hdr;
struct tnet_ipv6_hdr;

// The Internet checksum (RFC 1071) and its uses in IPv4, UDP and TCP.
//
// Sums and checksums are in memory order, as the words lie in the packet: a checksum is stored as
// it is, and ntohs of it is the value that the header views deal in.
//
// Precondition of every function that takes a header: the bytes that it announces are there, that
// is the IPv4 header length, and for the upper layer at l4 the rest of the IPv4 total length or
// the IPv6 payload length. The functions have no way to know how many bytes were received; compare
// before the call.

// The 16-bit words of the buffer, at any alignment, added and folded to 16 bits. An odd last byte
// counts as the first byte of a word whose second is 0. len up to 65535.
uint16_t tsdw_raw_cksum(const void* buf, size_t len);

// The complement of the raw sum over the header length. The checksum field takes part: it is 0
// while a checksum is made, and the result is 0 for a header that carries the right one.
uint16_t tnet_ipv4_cksum(const tnet_ipv4_hdr* ipv4_hdr);

// The folded sum of the pseudo-header: addresses, protocol, and as the upper layer's length the
// total length less the header length, or the payload length.
uint16_t tsdw_ipv4_phdr_cksum(const tnet_ipv4_hdr* ipv4_hdr);
uint16_t tsdw_ipv6_phdr_cksum(const tnet_ipv6_hdr* ipv6_hdr);

// The checksum of a UDP datagram or TCP segment whose checksum field is 0 meanwhile. In UDP a
// result of 0 becomes 0xFFFF, because 0 means "no checksum" there. 0 when the IPv4 total length is
// below the header length. Extension headers of IPv6 are not walked.
uint16_t tnet_ipv4_udptcp_cksum(const tnet_ipv4_hdr* ipv4_hdr, const void* l4);
uint16_t tnet_ipv6_udptcp_cksum(const tnet_ipv6_hdr* ipv6_hdr, const void* l4);

// 0 when the datagram or segment carries the right checksum; -1 otherwise, and when the IPv4 total
// length is below the header length.
int tnet_ipv4_udptcp_cksum_verify(const tnet_ipv4_hdr* ipv4_hdr, const void* l4);
int tnet_ipv6_udptcp_cksum_verify(const tnet_ipv6_hdr* ipv6_hdr, const void* l4);
