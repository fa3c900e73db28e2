#pragma once

#include "inet/tnet_view.h"

constexpr uint8_t kIcmpEchoReply = 0;
constexpr uint8_t kIcmpEchoRequest = 8;

// ICMP echo header (RFC 792).
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | type  | code  | checksum      |  0
// +-------+-------+-------+-------+
// | identifier    | sequence no.  |  4
// +-------+-------+-------+-------+
struct __attribute__((packed)) tnet_icmp_hdr {
    uint8_t type;
    uint8_t code;
    uint16_t checksum;
    uint16_t identifier;
    uint16_t sequence;
};
static_assert(sizeof(tnet_icmp_hdr) == 8);

// A view over an ICMP echo header; see tnet_view.h for what all views have in common.
class CIcmpHeader {
  public:
    TNET_ATTACH(CIcmpHeader, tnet_icmp_hdr, hdr);
    TNET_COPY(tnet_icmp_hdr);
    TNET_PRINT(tnet_icmp_hdr, hdr);
    static constexpr int GetHeaderLength() { return sizeof(tnet_icmp_hdr); }

    TNET_FIELD8(Type, tnet_icmp_hdr, hdr, type);
    TNET_FIELD8(Code, tnet_icmp_hdr, hdr, code);
    TNET_FIELD16(Checksum, tnet_icmp_hdr, hdr, checksum);
    TNET_FIELD16(Identifier, tnet_icmp_hdr, hdr, identifier);
    TNET_FIELD16(SequenceNumber, tnet_icmp_hdr, hdr, sequence);

    // The Internet checksum of len bytes at words (at any alignment), in memory order: store it as
    // it is, or hand ntohs of it to SetChecksum. For an ICMP message, len counts header and data,
    // and the checksum field is 0 meanwhile.
    static uint16_t CheckSum(const void* words, int len);
    // Whether the stored checksum is that of the eight header bytes. The echo data is left out on
    // purpose, so this holds for an echo without data only.
    bool VerifyCheckSum();
    static bool VerifyCheckSum(const tnet_icmp_hdr* hdr);

  private:
    static constexpr char kFile[] = "inet/tnet_icmp";

    tnet_icmp_hdr* m_ptr = nullptr;
};
