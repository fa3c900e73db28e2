#pragma once

#include "inet/tnet_cksum.h"
#include "inet/tnet_ipv4_hdr.h"
#include "inet/tnet_ipv6_hdr.h"
#include "inet/tnet_view.h"

// The fixed part of a TCP header (RFC 793).
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | source port   | dest. port    |  0
// +-------+-------+-------+-------+
// | sequence number               |  4
// +-------+-------+-------+-------+
// | acknowledgment number         |  8
// +-------+-------+-------+-------+
// |off|   | flags | window        |  12   off: data offset in words of 4 bytes
// +-------+-------+-------+-------+
// | checksum      |urgent pointer |  16
// +-------+-------+-------+-------+
// | options, up to 40 bytes ...   |  20
struct __attribute__((packed)) tnet_tcp_hdr {
    uint16_t src_port;
    uint16_t dst_port;
    uint32_t sequence;
    uint32_t acknowledgment;
    uint8_t data_offset;  // high four bits; the low four are reserved
    uint8_t flags;
    uint16_t window;
    uint16_t checksum;
    uint16_t urgent_pointer;
};
static_assert(sizeof(tnet_tcp_hdr) == 20);

// The lengths of the segment under one kind of IP header. A TCP header holds none: the segment is
// the payload of the IP header in front of it, and its length is read and set there.
//   Get/SetPacketLength(ip)     header and data
//   Get/SetPayloadLength(ip)    the data alone, in 16 bits: a segment shorter than its header wraps
// each also static, with the record first.
//
// Types and parameter names take no parentheses. NOLINTBEGIN(bugprone-macro-parentheses)
#define TNET_TCP_LENGTHS(IpView, IpRecord, ip_arg)                                                 \
    static uint16_t GetPacketLength(const tnet_tcp_hdr* tcp_hdr, const IpRecord* ip_arg) {         \
        TNET_ASSERT_BOTH(tcp_hdr, ip_arg);                                                         \
        return IpView::GetPayloadLength(ip_arg);                                                   \
    }                                                                                              \
    static void SetPacketLength(const tnet_tcp_hdr* tcp_hdr, IpRecord* ip_arg, uint16_t value) {   \
        TNET_ASSERT_BOTH(tcp_hdr, ip_arg);                                                         \
        IpView::SetPayloadLength(ip_arg, value);                                                   \
    }                                                                                              \
    static uint16_t GetPayloadLength(const tnet_tcp_hdr* tcp_hdr, const IpRecord* ip_arg) {        \
        TNET_ASSERT_BOTH(tcp_hdr, ip_arg);                                                         \
        return static_cast<uint16_t>(GetPacketLength(tcp_hdr, ip_arg) - GetHeaderLength(tcp_hdr)); \
    }                                                                                              \
    static void SetPayloadLength(const tnet_tcp_hdr* tcp_hdr, IpRecord* ip_arg, uint16_t value) {  \
        TNET_ASSERT_BOTH(tcp_hdr, ip_arg);                                                         \
        int length = GetHeaderLength(tcp_hdr) + value;                                             \
        SetPacketLength(tcp_hdr, ip_arg, static_cast<uint16_t>(length));                           \
    }                                                                                              \
    uint16_t GetPacketLength(const IpRecord* ip_arg) {                                             \
        TNET_ASSERT(m_ptr);                                                                        \
        return GetPacketLength(m_ptr, ip_arg);                                                     \
    }                                                                                              \
    void SetPacketLength(IpRecord* ip_arg, uint16_t value) {                                       \
        TNET_ASSERT(m_ptr);                                                                        \
        SetPacketLength(m_ptr, ip_arg, value);                                                     \
    }                                                                                              \
    uint16_t GetPayloadLength(const IpRecord* ip_arg) {                                            \
        TNET_ASSERT(m_ptr);                                                                        \
        return GetPayloadLength(m_ptr, ip_arg);                                                    \
    }                                                                                              \
    void SetPayloadLength(IpRecord* ip_arg, uint16_t value) {                                      \
        TNET_ASSERT(m_ptr);                                                                        \
        SetPayloadLength(m_ptr, ip_arg, value);                                                    \
    }
// NOLINTEND(bugprone-macro-parentheses)

// A view over a TCP header; see tnet_view.h for what all views have in common.
class CTcpHdr {
  public:
    TNET_ATTACH(CTcpHdr, tnet_tcp_hdr, tcp_hdr);
    // Without the options.
    TNET_COPY(tnet_tcp_hdr);
    TNET_PRINT(tnet_tcp_hdr, tcp_hdr);

    TNET_FIELD16(SrcPort, tnet_tcp_hdr, tcp_hdr, src_port);
    TNET_FIELD16(DstPort, tnet_tcp_hdr, tcp_hdr, dst_port);
    TNET_FIELD32(SequenceNumber, tnet_tcp_hdr, tcp_hdr, sequence);
    TNET_FIELD32(AcknowledgmentNumber, tnet_tcp_hdr, tcp_hdr, acknowledgment);
    // In words of four bytes.
    TNET_GETTER(uint8_t, GetDataOffset, tnet_tcp_hdr, tcp_hdr, tcp_hdr->data_offset >> 4);
    TNET_SETTER(uint8_t, SetDataOffset, tnet_tcp_hdr, tcp_hdr, data_offset,
                value << 4 | (tcp_hdr->data_offset & 0x0F));
    // The data offset in bytes.
    TNET_GETTER(int, GetHeaderLength, tnet_tcp_hdr, tcp_hdr, GetDataOffset(tcp_hdr) * 4);
    TNET_FIELD8(Flags, tnet_tcp_hdr, tcp_hdr, flags);
    TNET_FIELD16(Window, tnet_tcp_hdr, tcp_hdr, window);
    TNET_FIELD16(CheckSum, tnet_tcp_hdr, tcp_hdr, checksum);
    TNET_FIELD16(UrgentPointer, tnet_tcp_hdr, tcp_hdr, urgent_pointer);

    TNET_TCP_LENGTHS(CIPv4Header, tnet_ipv4_hdr, ipv4_hdr);
    TNET_TCP_LENGTHS(CIPv6Header, tnet_ipv6_hdr, ipv6_hdr);

    TNET_L4_CHECKSUM(tnet_tcp_hdr, tcp_hdr, tnet_ipv4_hdr, ipv4_hdr, tnet_ipv4_udptcp_cksum);
    TNET_L4_CHECKSUM(tnet_tcp_hdr, tcp_hdr, tnet_ipv6_hdr, ipv6_hdr, tnet_ipv6_udptcp_cksum);

    // Exchanges source and destination.
    void SwapPort();
    static void SwapPort(tnet_tcp_hdr* tcp_hdr);

  private:
    static constexpr char kFile[] = "inet/tnet_ip";

    tnet_tcp_hdr* m_ptr = nullptr;
};
