#include "offload/tcp_joiner.h"

#include <cstring>

#include "inet/tnet_byteorder.h"

namespace {

constexpr int kMaxBurst = 65535;  // what the total length of an IPv4 packet can say
constexpr int kPlainIPv4Header = sizeof(tnet_ipv4_hdr);
constexpr uint8_t kEndsBurst = kTcpFin | kTcpPsh;  // may stand in the last packet of a burst only
constexpr uint8_t kNeverJoined = kTcpSyn | kTcpRst | kTcpUrg | kTcpCwr;

bool IsSame(const void* a, const void* b, size_t size) {
    return memcmp(a, b, size) == 0;
}

}  // namespace

bool CTTcpJoiner::Add(uint8_t* packet, int length) {
    if (m_count == 0) {
        Begin(packet, length);
        return true;
    }
    CTTcpPacket next;
    if (!m_is_open || m_count >= kMaxPackets || !next.Attach(packet, length)) return false;
    if (!Continues(next) || !IsWhole(next)) return false;
    int payload = next.PayloadLength();
    m_pieces[static_cast<size_t>(m_count) + 1] = {next.bytes + next.HeaderLength(),
                                                  static_cast<size_t>(payload)};
    ++m_count;
    m_total += payload;
    m_next_seq += static_cast<uint32_t>(payload);
    ++m_next_id;
    m_last_flags = next.tcp->flags & kEndsBurst;
    m_is_open = payload == m_size && m_last_flags == 0;
    return true;
}

void CTTcpJoiner::Begin(uint8_t* packet, int length) {
    m_count = 1;
    m_pieces[1] = {packet, static_cast<size_t>(length)};
    m_is_open = m_first.Attach(packet, length) && MayGrow() && IsWhole(m_first);
    if (!m_is_open) return;
    m_size = m_first.PayloadLength();
    m_total = length;
    m_next_seq = CTcpHdr::GetSequenceNumber(m_first.tcp) + static_cast<uint32_t>(m_size);
    m_next_id = static_cast<uint16_t>(CIPv4Header::GetPacketID(m_first.ip) + 1);
    m_last_flags = 0;
}

// A packet with payload that does not end what it begins.
bool CTTcpJoiner::MayGrow() const {
    return m_first.ip_length == kPlainIPv4Header && m_first.PayloadLength() > 0 &&
           (m_first.tcp->flags & (kNeverJoined | kEndsBurst)) == 0;
}

// Its lengths and both its checksums are right. The burst gets checksums of its own: whatever was
// spoilt on the way would be hidden by them.
bool CTTcpJoiner::IsWhole(const CTTcpPacket& packet) const {
    return CIPv4Header::GetPacketLength(packet.ip) == packet.length &&
           tnet_ipv4_cksum(packet.ip) == 0 &&
           tnet_ipv4_udptcp_cksum_verify(packet.ip, packet.tcp) == 0;
}

bool CTTcpJoiner::Continues(const CTTcpPacket& next) const {
    int payload = next.PayloadLength();
    return HasSameHeaders(next) && payload > 0 && payload <= m_size &&
           m_total + payload <= kMaxBurst && (next.tcp->flags & kNeverJoined) == 0 &&
           CTcpHdr::GetSequenceNumber(next.tcp) == m_next_seq &&
           CIPv4Header::GetPacketID(next.ip) == m_next_id;
}

// All but lengths, identification, sequence number, checksums, and the flags that a burst may end
// with.
bool CTTcpJoiner::HasSameHeaders(const CTTcpPacket& next) const {
    const tnet_ipv4_hdr& ip = *m_first.ip;
    const tnet_tcp_hdr& tcp = *m_first.tcp;
    if (next.ip_length != m_first.ip_length || next.tcp_length != m_first.tcp_length) return false;
    bool same_ip = ip.service_type == next.ip->service_type && ip.fragment == next.ip->fragment &&
                   ip.ttl == next.ip->ttl && ip.src == next.ip->src && ip.dst == next.ip->dst;
    bool same_tcp = tcp.src_port == next.tcp->src_port && tcp.dst_port == next.tcp->dst_port &&
                    tcp.acknowledgment == next.tcp->acknowledgment &&
                    tcp.data_offset == next.tcp->data_offset && tcp.window == next.tcp->window &&
                    ((tcp.flags ^ next.tcp->flags) & ~kEndsBurst) == 0 &&
                    tcp.urgent_pointer == next.tcp->urgent_pointer;
    size_t options = static_cast<size_t>(m_first.tcp_length) - sizeof(tnet_tcp_hdr);
    return same_ip && same_tcp && IsSame(m_first.tcp + 1, next.tcp + 1, options);
}

const iovec* CTTcpJoiner::Finish(int& pieces) {
    m_hdr = {};
    if (m_count > 1) MakeBurst();
    m_pieces[0] = {&m_hdr, sizeof m_hdr};
    pieces = m_count + 1;
    return m_pieces.data();
}

// As the host's own stack would hand it to a network card: the TCP checksum holds the
// pseudo-header's sum, folded and not inverted.
void CTTcpJoiner::MakeBurst() {
    CIPv4Header::SetPacketLength(m_first.ip, static_cast<uint16_t>(m_total));
    m_first.ip->checksum = 0;
    m_first.ip->checksum = tnet_ipv4_cksum(m_first.ip);
    m_first.tcp->flags |= m_last_flags;
    m_first.tcp->checksum = tsdw_ipv4_phdr_cksum(m_first.ip);
    m_hdr.flags = kVirtioNeedsCsum;
    m_hdr.gso_type = kVirtioTcp4Burst;
    m_hdr.hdr_len = static_cast<uint16_t>(m_first.HeaderLength());
    m_hdr.gso_size = static_cast<uint16_t>(m_size);
    m_hdr.csum_start = static_cast<uint16_t>(m_first.ip_length);
    m_hdr.csum_offset = kTcpCksumOffset;
}
