#pragma once

#include "inet/tnet_view.h"

constexpr uint16_t kArpHardwareEthernet = 1;
constexpr uint16_t kArpRequest = 1;
constexpr uint16_t kArpReply = 2;

// ARP for Ethernet and IPv4 (RFC 826).
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | hardware type | protocol type |  0
// +-------+-------+-------+-------+
// |hw len |pr len |  opcode       |  4
// +-------+-------+-------+-------+
// |  sender MAC                   |  8
// +               +-------+-------+
// |               |  sender IPv4  |  12
// +-------+-------+-------+-------+
// |  sender IPv4  |  target MAC   |  16
// +-------+-------+               +
// |                               |  20
// +-------+-------+-------+-------+
// |  target IPv4                  |  24
// +-------+-------+-------+-------+
struct __attribute__((packed)) tnet_arp_hdr {
    uint16_t hardware_type;
    uint16_t protocol_type;
    uint8_t hardware_length;
    uint8_t protocol_length;
    uint16_t opcode;
    tnet_ether_addr sender_mac;
    uint32_t sender_ip;
    tnet_ether_addr target_mac;
    uint32_t target_ip;
};
static_assert(sizeof(tnet_arp_hdr) == 28);

// A view over an ARP packet; see tnet_view.h for what all views have in common.
class CArpHeader {
  public:
    TNET_ATTACH(CArpHeader, tnet_arp_hdr, hdr);
    TNET_COPY(tnet_arp_hdr);
    TNET_PRINT(tnet_arp_hdr, hdr);
    static constexpr int GetHeaderLength() { return sizeof(tnet_arp_hdr); }

    TNET_FIELD16(HardwareType, tnet_arp_hdr, hdr, hardware_type);
    TNET_FIELD16(ProtocolType, tnet_arp_hdr, hdr, protocol_type);
    TNET_FIELD8(HardwareLength, tnet_arp_hdr, hdr, hardware_length);
    TNET_FIELD8(ProtocolLength, tnet_arp_hdr, hdr, protocol_length);
    TNET_FIELD16(Op, tnet_arp_hdr, hdr, opcode);
    TNET_ADDR_FIELD(tnet_ether_addr, SenderEtherAddr, tnet_arp_hdr, hdr, sender_mac);
    TNET_FIELD32(SenderIPv4, tnet_arp_hdr, hdr, sender_ip);
    TNET_ADDR_FIELD(tnet_ether_addr, TargetEtherAddr, tnet_arp_hdr, hdr, target_mac);
    TNET_FIELD32(TargetIPv4, tnet_arp_hdr, hdr, target_ip);

    // The whole packet: types and lengths for Ethernet and IPv4, then the arguments. IPv4
    // addresses in host byte order.
    void SetArp(uint16_t op, uint32_t sender_ip, const tnet_ether_addr* sender_mac,
                uint32_t target_ip, const tnet_ether_addr* target_mac);
    static void SetArp(tnet_arp_hdr* hdr, uint16_t op, uint32_t sender_ip,
                       const tnet_ether_addr* sender_mac, uint32_t target_ip,
                       const tnet_ether_addr* target_mac);

  private:
    static constexpr char kFile[] = "inet/tnet_arp";

    tnet_arp_hdr* m_ptr = nullptr;
};
