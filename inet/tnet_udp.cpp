#include "inet/tnet_udp.h"

void CUdpHdr::Copy(tnet_udp_hdr* dst) {
    TNET_ASSERT(m_ptr);
    Copy(dst, m_ptr);
}

void CUdpHdr::Copy(tnet_udp_hdr* dst, const tnet_udp_hdr* src) {
    TNET_ASSERT_EITHER(dst, src);
    if (dst && src) *dst = *src;
}

void CUdpHdr::SwapPort() {
    TNET_ASSERT(m_ptr);
    SwapPort(m_ptr);
}

void CUdpHdr::SwapPort(tnet_udp_hdr* udp_hdr) {
    TNET_ASSERT(udp_hdr);
    uint16_t src = udp_hdr->src_port;
    udp_hdr->src_port = udp_hdr->dst_port;
    udp_hdr->dst_port = src;
}

void CUdpHdr::Print(const tnet_udp_hdr* udp_hdr, CTString& text) {
    TNET_ASSERT(udp_hdr);
    text.Append(
        "   udp header:\n"
        "       source port: %u\n"
        "       destination port: %u\n"
        "       datagram length: %u\n"
        "       datagram checksum: %u\n",
        GetSrcPort(udp_hdr), GetDstPort(udp_hdr), GetPacketLength(udp_hdr), GetCheckSum(udp_hdr));
}
