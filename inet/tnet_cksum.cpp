#include "inet/tnet_cksum.h"

#include <cstring>

#include "inet/tnet_ipv4_hdr.h"
#include "inet/tnet_ipv6_hdr.h"

namespace {

constexpr uint16_t kAllOnes = 0xFFFF;

// What a UDP or TCP checksum covers besides the datagram itself (RFC 768, RFC 793).
struct __attribute__((packed)) IPv4PseudoHeader {
    uint32_t src;
    uint32_t dst;
    uint8_t zero;
    uint8_t protocol;
    uint16_t length;
};

// The same over IPv6 (RFC 8200, section 8.1).
struct __attribute__((packed)) IPv6PseudoHeader {
    tsdw_ipv6_addr src;
    tsdw_ipv6_addr dst;
    uint32_t length;
    uint8_t zero[3];
    uint8_t next_header;
};

uint16_t Fold(uint32_t sum) {
    sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<uint16_t>((sum & 0xFFFF) + (sum >> 16));
}

bool LengthsAgree(const tnet_ipv4_hdr* ipv4_hdr) {
    return CIPv4Header::GetPacketLength(ipv4_hdr) >= CIPv4Header::GetHeaderLength(ipv4_hdr);
}

// Upper layer and pseudo-header, folded together.
uint16_t Sum(const tnet_ipv4_hdr* ipv4_hdr, const void* l4) {
    uint32_t sum = tsdw_raw_cksum(l4, CIPv4Header::GetPayloadLength(ipv4_hdr));
    return Fold(sum + tsdw_ipv4_phdr_cksum(ipv4_hdr));
}

uint16_t Sum(const tnet_ipv6_hdr* ipv6_hdr, const void* l4) {
    uint32_t sum = tsdw_raw_cksum(l4, CIPv6Header::GetPayloadLength(ipv6_hdr));
    return Fold(sum + tsdw_ipv6_phdr_cksum(ipv6_hdr));
}

uint16_t Complement(uint16_t sum, uint8_t protocol) {
    uint16_t checksum = static_cast<uint16_t>(~sum);
    return checksum == 0 && protocol == kIpProtoUdp ? kAllOnes : checksum;
}

}  // namespace

uint16_t tsdw_raw_cksum(const void* buf, size_t len) {
    const uint8_t* at = static_cast<const uint8_t*>(buf);
    uint32_t sum = 0;
    uint16_t word;
    for (; len >= sizeof word; len -= sizeof word, at += sizeof word) {
        memcpy(&word, at, sizeof word);
        sum += word;
    }
    if (len > 0) {
        word = 0;
        memcpy(&word, at, 1);
        sum += word;
    }
    return Fold(sum);
}

uint16_t tnet_ipv4_cksum(const tnet_ipv4_hdr* ipv4_hdr) {
    size_t length = static_cast<size_t>(CIPv4Header::GetHeaderLength(ipv4_hdr));
    return static_cast<uint16_t>(~tsdw_raw_cksum(ipv4_hdr, length));
}

uint16_t tsdw_ipv4_phdr_cksum(const tnet_ipv4_hdr* ipv4_hdr) {
    IPv4PseudoHeader pseudo = {ipv4_hdr->src, ipv4_hdr->dst, 0, ipv4_hdr->protocol,
                               htons(CIPv4Header::GetPayloadLength(ipv4_hdr))};
    return tsdw_raw_cksum(&pseudo, sizeof pseudo);
}

uint16_t tsdw_ipv6_phdr_cksum(const tnet_ipv6_hdr* ipv6_hdr) {
    IPv6PseudoHeader pseudo = {ipv6_hdr->src,
                               ipv6_hdr->dst,
                               htonl(CIPv6Header::GetPayloadLength(ipv6_hdr)),
                               {},
                               ipv6_hdr->next_header};
    return tsdw_raw_cksum(&pseudo, sizeof pseudo);
}

uint16_t tnet_ipv4_udptcp_cksum(const tnet_ipv4_hdr* ipv4_hdr, const void* l4) {
    if (!LengthsAgree(ipv4_hdr)) return 0;
    return Complement(Sum(ipv4_hdr, l4), ipv4_hdr->protocol);
}

uint16_t tnet_ipv6_udptcp_cksum(const tnet_ipv6_hdr* ipv6_hdr, const void* l4) {
    return Complement(Sum(ipv6_hdr, l4), ipv6_hdr->next_header);
}

int tnet_ipv4_udptcp_cksum_verify(const tnet_ipv4_hdr* ipv4_hdr, const void* l4) {
    return LengthsAgree(ipv4_hdr) && Sum(ipv4_hdr, l4) == kAllOnes ? 0 : -1;
}

int tnet_ipv6_udptcp_cksum_verify(const tnet_ipv6_hdr* ipv6_hdr, const void* l4) {
    return Sum(ipv6_hdr, l4) == kAllOnes ? 0 : -1;
}
