#pragma once

#include "inet/tnet_view.h"

// IPv6 header (RFC 8200).
//
//   0       1       2       3
// +-------+-------+-------+-------+
// |ver| class |  flow label       |  0    4, 8 and 20 bits
// +-------+-------+-------+-------+
// |payload length | next  | hops  |  4    next header, hop limit
// +-------+-------+-------+-------+
// | source, 16 bytes ...          |  8
// +-------+-------+-------+-------+
// | destination, 16 bytes ...     |  24
struct __attribute__((packed)) tnet_ipv6_hdr {
    uint32_t version_class_flow;
    uint16_t payload_length;
    uint8_t next_header;
    uint8_t hop_limit;
    tsdw_ipv6_addr src;
    tsdw_ipv6_addr dst;
};
static_assert(sizeof(tnet_ipv6_hdr) == 40);

// A view over an IPv6 header; see tnet_view.h for what all views have in common. Extension headers
// are not walked: they count as payload.
class CIPv6Header {
  public:
    TNET_ATTACH(CIPv6Header, tnet_ipv6_hdr, iph);
    TNET_COPY(tnet_ipv6_hdr);
    TNET_PRINT(tnet_ipv6_hdr, iph);
    static constexpr int GetHeaderLength() { return sizeof(tnet_ipv6_hdr); }

    TNET_GETTER(uint8_t, GetVersion, tnet_ipv6_hdr, iph, FirstWord(iph) >> 28);
    TNET_SETTER(uint8_t, SetVersion, tnet_ipv6_hdr, iph, version_class_flow,
                htonl((FirstWord(iph) & ~kVersionBits) | (uint32_t{value} << 28 & kVersionBits)));
    // The traffic class.
    TNET_GETTER(uint8_t, GetServiceType, tnet_ipv6_hdr, iph, FirstWord(iph) >> 20);
    TNET_SETTER(uint8_t, SetServiceType, tnet_ipv6_hdr, iph, version_class_flow,
                htonl((FirstWord(iph) & ~kClassBits) | uint32_t{value} << 20));
    TNET_GETTER(uint32_t, GetFlowLabel, tnet_ipv6_hdr, iph, FirstWord(iph) & kFlowBits);
    TNET_SETTER(uint32_t, SetFlowLabel, tnet_ipv6_hdr, iph, version_class_flow,
                htonl((FirstWord(iph) & ~kFlowBits) | (value & kFlowBits)));
    TNET_FIELD16(PayloadLength, tnet_ipv6_hdr, iph, payload_length);
    // Header and payload. Wider than 16 bits, so that a payload length near 65535 does not wrap
    // into a packet length that looks harmless.
    TNET_GETTER(int, GetPacketLength, tnet_ipv6_hdr, iph,
                GetHeaderLength() + GetPayloadLength(iph));
    // The setter's name is established as it stands.
    TNET_GETTER(uint8_t, GetNextProto, tnet_ipv6_hdr, iph, iph->next_header);
    TNET_SETTER(uint8_t, SetNextProro, tnet_ipv6_hdr, iph, next_header, value);
    TNET_FIELD8(TTL, tnet_ipv6_hdr, iph, hop_limit);
    TNET_ADDR_FIELD(tsdw_ipv6_addr, SrcIPv6, tnet_ipv6_hdr, iph, src);
    TNET_ADDR_FIELD(tsdw_ipv6_addr, DstIPv6, tnet_ipv6_hdr, iph, dst);

  private:
    static constexpr char kFile[] = "inet/tnet_ip";
    static constexpr uint32_t kVersionBits = 0xF0000000;
    static constexpr uint32_t kClassBits = 0x0FF00000;
    static constexpr uint32_t kFlowBits = 0x000FFFFF;

    static uint32_t FirstWord(const tnet_ipv6_hdr* iph) { return ntohl(iph->version_class_flow); }

    tnet_ipv6_hdr* m_ptr = nullptr;
};
