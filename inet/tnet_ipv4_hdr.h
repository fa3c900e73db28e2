#pragma once

#include "inet/tnet_view.h"

constexpr uint8_t kIpProtoIcmp = 1;
constexpr uint8_t kIpProtoTcp = 6;
constexpr uint8_t kIpProtoUdp = 17;

// Bits of the fragment field.
constexpr uint16_t kIPv4DontFragment = 0x4000;
constexpr uint16_t kIPv4MoreFragments = 0x2000;
constexpr uint16_t kIPv4OffsetMask = 0x1FFF;

// The fixed part of an IPv4 header (RFC 791).
//
//   0       1       2       3
// +-------+-------+-------+-------+
// |ver|hl | TOS   | total length  |  0    hl: header length in words of 4 bytes
// +-------+-------+-------+-------+
// | packet ID     | fragment      |  4    three flags, 13 bits of offset
// +-------+-------+-------+-------+
// | TTL   | proto | checksum      |  8
// +-------+-------+-------+-------+
// | source                        |  12
// +-------+-------+-------+-------+
// | destination                   |  16
// +-------+-------+-------+-------+
// | options, up to 40 bytes ...   |  20
struct __attribute__((packed)) tnet_ipv4_hdr {
    uint8_t version_length;
    uint8_t service_type;
    uint16_t total_length;
    uint16_t packet_id;
    uint16_t fragment;
    uint8_t ttl;
    uint8_t protocol;
    uint16_t checksum;
    uint32_t src;
    uint32_t dst;
};
static_assert(sizeof(tnet_ipv4_hdr) == 20);

// A view over an IPv4 header; see tnet_view.h for what all views have in common.
//
// The header announces its own length, 60 bytes at most: the checksum operations and the print-out
// read that many.
class CIPv4Header {
  public:
    TNET_ATTACH(CIPv4Header, tnet_ipv4_hdr, iph);
    // Without the options.
    TNET_COPY(tnet_ipv4_hdr);
    TNET_PRINT(tnet_ipv4_hdr, iph);

    // Version 4, no options, packet ID 0x2200, don't fragment, time to live 64, all else 0. The
    // addresses are left as they are.
    void Init();
    static void Init(tnet_ipv4_hdr* iph);

    TNET_GETTER(uint8_t, GetVersion, tnet_ipv4_hdr, iph, iph->version_length >> 4);
    TNET_SETTER(uint8_t, SetVersion, tnet_ipv4_hdr, iph, version_length,
                value << 4 | (iph->version_length & 0x0F));
    // In bytes; the header counts in words of four, so the setter drops the rest.
    TNET_GETTER(int, GetHeaderLength, tnet_ipv4_hdr, iph, (iph->version_length & 0x0F) * 4);
    TNET_SETTER(int, SetHeaderLength, tnet_ipv4_hdr, iph, version_length,
                (iph->version_length & 0xF0) | (value / 4 & 0x0F));
    TNET_FIELD8(ServiceType, tnet_ipv4_hdr, iph, service_type);
    // The total length: header and payload.
    TNET_FIELD16(PacketLength, tnet_ipv4_hdr, iph, total_length);
    // Total length without the header, in 16 bits: a total length below the header length wraps.
    TNET_GETTER(uint16_t, GetPayloadLength, tnet_ipv4_hdr, iph,
                GetPacketLength(iph) - GetHeaderLength(iph));
    TNET_SETTER(uint16_t, SetPayloadLength, tnet_ipv4_hdr, iph, total_length,
                htons(static_cast<uint16_t>(GetHeaderLength(iph) + value)));
    TNET_FIELD16(PacketID, tnet_ipv4_hdr, iph, packet_id);
    // The whole fragment field, flags included.
    TNET_FIELD16(Offset, tnet_ipv4_hdr, iph, fragment);
    TNET_FIELD8(TTL, tnet_ipv4_hdr, iph, ttl);
    TNET_FIELD8(NextProto, tnet_ipv4_hdr, iph, protocol);
    TNET_FIELD16(CheckSum, tnet_ipv4_hdr, iph, checksum);
    TNET_FIELD32(SrcIP, tnet_ipv4_hdr, iph, src);
    TNET_FIELD32(DstIP, tnet_ipv4_hdr, iph, dst);

    // Exchanges source and destination.
    void SwapIPAddr();
    static void SwapIPAddr(tnet_ipv4_hdr* iph);

    // The checksum that the header should carry; the record is not changed.
    uint16_t CalcCheckSum();
    static uint16_t CalcCheckSum(const tnet_ipv4_hdr* iph);
    // Whether it is the stored one.
    bool VerifyCheckSum();
    static bool VerifyCheckSum(const tnet_ipv4_hdr* iph);
    // Stores it; 0.
    int UpdateCheckSum();
    static int UpdateCheckSum(tnet_ipv4_hdr* iph);

  private:
    static constexpr char kFile[] = "inet/tnet_ip";

    tnet_ipv4_hdr* m_ptr = nullptr;
};
