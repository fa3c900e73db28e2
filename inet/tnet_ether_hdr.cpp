#include "inet/tnet_ether_hdr.h"

#include <utility>

void CEtherHeader::Set(const tnet_ether_addr* dst, const tnet_ether_addr* src, uint16_t type) {
    TNET_ASSERT(m_ptr);
    Set(m_ptr, dst, src, type);
}

void CEtherHeader::Set(tnet_ether_hdr* eth, const tnet_ether_addr* dst, const tnet_ether_addr* src,
                       uint16_t type) {
    TNET_ASSERT(eth);
    TNET_ASSERT_BOTH(dst, src);
    *eth = {*dst, *src, htons(type)};  // whole, as the addresses may be those of the header itself
}

void CEtherHeader::SwapEtherAddr() {
    TNET_ASSERT(m_ptr);
    SwapEtherAddr(m_ptr);
}

void CEtherHeader::SwapEtherAddr(tnet_ether_hdr* eth) {
    TNET_ASSERT(eth);
    std::swap(eth->dst, eth->src);
}

void CEtherHeader::Print(const tnet_ether_hdr* eth, CTString& text) {
    TNET_ASSERT(eth);
    text.Append("   ether header:\n");
    tnet_print_line(text, "       Source: ", GetSrc(eth));
    tnet_print_line(text, "       Destination: ", GetDst(eth));
    text.Append("       Type: 0x%04X\n", GetType(eth));
}
