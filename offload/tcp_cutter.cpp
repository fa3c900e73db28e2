#include "offload/tcp_cutter.h"

#include <algorithm>
#include <cstring>

#include "inet/tnet_byteorder.h"

bool CTTcpCutter::Attach(const tnet_virtio_hdr& hdr, uint8_t* packet, int length) {
    m_index = 0;
    m_offset = 0;
    m_size = hdr.gso_size;
    return (hdr.gso_type & ~kVirtioEcn) == kVirtioTcp4Burst && m_size > 0 &&
           m_burst.Attach(packet, length) && m_burst.PayloadLength() > 0;
}

int CTTcpCutter::Count() const {
    return (m_burst.PayloadLength() + m_size - 1) / m_size;
}

int CTTcpCutter::Next(uint8_t* out) {
    int headers = m_burst.HeaderLength();
    int payload = std::min(m_size, m_burst.PayloadLength() - m_offset);
    memcpy(out, m_burst.bytes, static_cast<size_t>(headers));
    memcpy(out + headers, m_burst.bytes + headers + m_offset, static_cast<size_t>(payload));
    Complete(out, headers + payload);
    ++m_index;
    m_offset += payload;
    return headers + payload;
}

// What differs between the packets of a burst.
void CTTcpCutter::Complete(uint8_t* out, int length) const {
    tnet_ipv4_hdr* ip = reinterpret_cast<tnet_ipv4_hdr*>(out);
    tnet_tcp_hdr* tcp = reinterpret_cast<tnet_tcp_hdr*>(out + m_burst.ip_length);
    bool is_last = m_offset + length - m_burst.HeaderLength() >= m_burst.PayloadLength();
    if (m_index > 0) tcp->flags &= static_cast<uint8_t>(~kTcpCwr);
    if (!is_last) tcp->flags &= static_cast<uint8_t>(~(kTcpFin | kTcpPsh));
    uint32_t sequence = CTcpHdr::GetSequenceNumber(tcp);
    CTcpHdr::SetSequenceNumber(tcp, sequence + static_cast<uint32_t>(m_offset));
    CIPv4Header::SetPacketID(ip, static_cast<uint16_t>(CIPv4Header::GetPacketID(ip) + m_index));
    CIPv4Header::SetPacketLength(ip, static_cast<uint16_t>(length));
    ip->checksum = 0;
    ip->checksum = tnet_ipv4_cksum(ip);
    tcp->checksum = 0;
    tcp->checksum = tnet_ipv4_udptcp_cksum(ip, tcp);
}
