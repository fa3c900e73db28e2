#pragma once

#include "inet/tnet_view.h"

constexpr uint16_t kEtherTypeIPv4 = 0x0800;
constexpr uint16_t kEtherTypeArp = 0x0806;
constexpr uint16_t kEtherTypeIPv6 = 0x86DD;

// Ethernet II header.
//
//   0       1       2       3       4       5
// +-------+-------+-------+-------+-------+-------+
// |  destination MAC                              |  0
// +-------+-------+-------+-------+-------+-------+
// |  source MAC                                   |  6
// +-------+-------+-------+-------+-------+-------+
// |  EtherType    |                                  12
// +-------+-------+
struct __attribute__((packed)) tnet_ether_hdr {
    tnet_ether_addr dst;
    tnet_ether_addr src;
    uint16_t type;
};
static_assert(sizeof(tnet_ether_hdr) == 14);

// A view over an Ethernet header; see tnet_view.h for what all views have in common.
class CEtherHeader {
  public:
    TNET_ATTACH(CEtherHeader, tnet_ether_hdr, eth);
    TNET_COPY(tnet_ether_hdr);
    TNET_PRINT(tnet_ether_hdr, eth);
    static constexpr int GetHeaderLength() { return sizeof(tnet_ether_hdr); }

    TNET_ADDR_FIELD(tnet_ether_addr, Dst, tnet_ether_hdr, eth, dst);
    TNET_ADDR_FIELD(tnet_ether_addr, Src, tnet_ether_hdr, eth, src);
    TNET_FIELD16(Type, tnet_ether_hdr, eth, type);

    // All three fields.
    void Set(const tnet_ether_addr* dst, const tnet_ether_addr* src, uint16_t type);
    static void Set(tnet_ether_hdr* eth, const tnet_ether_addr* dst, const tnet_ether_addr* src,
                    uint16_t type);
    // Exchanges source and destination.
    void SwapEtherAddr();
    static void SwapEtherAddr(tnet_ether_hdr* eth);

  private:
    static constexpr char kFile[] = "inet/tnet_ether";

    tnet_ether_hdr* m_ptr = nullptr;
};
