#include "inet/tnet_tcp.h"

void CTcpHdr::SwapPort() {
    TNET_ASSERT(m_ptr);
    SwapPort(m_ptr);
}

void CTcpHdr::SwapPort(tnet_tcp_hdr* tcp_hdr) {
    TNET_ASSERT(tcp_hdr);
    uint16_t src = tcp_hdr->src_port;
    tcp_hdr->src_port = tcp_hdr->dst_port;
    tcp_hdr->dst_port = src;
}

void CTcpHdr::Print(const tnet_tcp_hdr* tcp_hdr, CTString& text) {
    TNET_ASSERT(tcp_hdr);
    text.Append(
        "   tcp header:\n"
        "       source port: %u\n"
        "       destination port: %u\n"
        "       tx sequence number: %u\n"
        "       rx acknowledgment sequence number: %u\n"
        "       offset: %u\n"
        "       flags: %u\n"
        "       RX flow control window: %u\n"
        "       checksum: %u\n"
        "       urgent pointer: %u\n",
        GetSrcPort(tcp_hdr), GetDstPort(tcp_hdr), GetSequenceNumber(tcp_hdr),
        GetAcknowledgmentNumber(tcp_hdr), GetDataOffset(tcp_hdr), GetFlags(tcp_hdr),
        GetWindow(tcp_hdr), GetCheckSum(tcp_hdr), GetUrgentPointer(tcp_hdr));
}
