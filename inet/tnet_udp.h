#pragma once

#include "inet/tnet_cksum.h"
#include "inet/tnet_view.h"

// UDP header (RFC 768).
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | source port   | dest. port    |  0
// +-------+-------+-------+-------+
// | length        | checksum      |  4
// +-------+-------+-------+-------+
struct __attribute__((packed)) tnet_udp_hdr {
    uint16_t src_port;
    uint16_t dst_port;
    uint16_t length;
    uint16_t checksum;
};
static_assert(sizeof(tnet_udp_hdr) == 8);

// A view over a UDP header; see tnet_view.h for what all views have in common.
class CUdpHdr {
  public:
    TNET_ATTACH(CUdpHdr, tnet_udp_hdr, udp_hdr);
    TNET_PRINT(tnet_udp_hdr, udp_hdr);
    static constexpr int GetHeaderLength() { return sizeof(tnet_udp_hdr); }
    // Copies the attached record into the caller's.
    void Copy(tnet_udp_hdr* dst);
    // One of the two may be null, unlike in the other views: nothing is copied then.
    static void Copy(tnet_udp_hdr* dst, const tnet_udp_hdr* src);

    TNET_FIELD16(SrcPort, tnet_udp_hdr, udp_hdr, src_port);
    TNET_FIELD16(DstPort, tnet_udp_hdr, udp_hdr, dst_port);
    // The length field: header and data.
    TNET_FIELD16(PacketLength, tnet_udp_hdr, udp_hdr, length);
    // The data alone, in 16 bits: a length below the header's wraps.
    TNET_GETTER(uint16_t, GetPayloadLength, tnet_udp_hdr, udp_hdr,
                GetPacketLength(udp_hdr) - GetHeaderLength());
    TNET_SETTER(uint16_t, SetPayloadLength, tnet_udp_hdr, udp_hdr, length,
                htons(static_cast<uint16_t>(value + GetHeaderLength())));
    TNET_FIELD16(CheckSum, tnet_udp_hdr, udp_hdr, checksum);

    TNET_L4_CHECKSUM(tnet_udp_hdr, udp_hdr, tnet_ipv4_hdr, ipv4_hdr, tnet_ipv4_udptcp_cksum);
    TNET_L4_CHECKSUM(tnet_udp_hdr, udp_hdr, tnet_ipv6_hdr, ipv6_hdr, tnet_ipv6_udptcp_cksum);

    // Exchanges source and destination.
    void SwapPort();
    static void SwapPort(tnet_udp_hdr* udp_hdr);

  private:
    static constexpr char kFile[] = "inet/tnet_ip";

    tnet_udp_hdr* m_ptr = nullptr;
};
