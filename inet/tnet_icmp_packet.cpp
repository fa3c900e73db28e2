#include "inet/tnet_icmp_packet.h"

#include <cerrno>
#include <cstring>

namespace {

constexpr uint8_t kReplyTTL = 64;

// Not CIPv4Header::Init: a reply has packet ID 0 and may be fragmented.
void WriteIPv4(tnet_ipv4_hdr* iph, uint32_t own_ip, uint32_t peer_ip, int icmp_length) {
    *iph = {};
    CIPv4Header::SetVersion(iph, 4);
    CIPv4Header::SetHeaderLength(iph, sizeof *iph);
    CIPv4Header::SetPayloadLength(iph, static_cast<uint16_t>(icmp_length));
    CIPv4Header::SetTTL(iph, kReplyTTL);
    CIPv4Header::SetNextProto(iph, kIpProtoIcmp);
    iph->src = own_ip;
    iph->dst = peer_ip;
    CIPv4Header::UpdateCheckSum(iph);
}

}  // namespace

int CIcmpPacket::MakeReply(void* buf, const tnet_ether_addr* own_mac,
                           const tnet_ether_addr* peer_mac, uint32_t own_ip, uint32_t peer_ip,
                           uint16_t identifier, uint16_t sequence, const void* data, int length) {
    if (!buf || !own_mac || !peer_mac) return EINVAL;
    tnet_ether_hdr* eth = static_cast<tnet_ether_hdr*>(buf);
    int result = MakeL3Reply(eth + 1, own_ip, peer_ip, identifier, sequence, data, length);
    if (result == 0) CEtherHeader::Set(eth, peer_mac, own_mac, kEtherTypeIPv4);
    return result;
}

int CIcmpPacket::MakeL3Reply(void* buf, uint32_t own_ip, uint32_t peer_ip, uint16_t identifier,
                             uint16_t sequence, const void* data, int length) {
    if (!buf || length < 0 || length > kDataMax || (!data && length > 0)) return EINVAL;
    tnet_ipv4_hdr* iph = static_cast<tnet_ipv4_hdr*>(buf);
    tnet_icmp_hdr* icmp = reinterpret_cast<tnet_icmp_hdr*>(iph + 1);
    int icmp_length = CIcmpHeader::GetHeaderLength() + length;
    WriteIPv4(iph, own_ip, peer_ip, icmp_length);
    *icmp = {kIcmpEchoReply, 0, 0, identifier, sequence};
    if (length > 0) memmove(icmp + 1, data, static_cast<size_t>(length));
    icmp->checksum = CIcmpHeader::CheckSum(icmp, icmp_length);
    return 0;
}

int CIcmpPacket::MakeReply(const void* request, void* reply) {
    if (!request || !reply) return EINVAL;
    const tnet_ether_hdr* in = static_cast<const tnet_ether_hdr*>(request);
    tnet_ether_hdr* out = static_cast<tnet_ether_hdr*>(reply);
    int result = MakeL3Reply(in + 1, out + 1);
    if (result == 0) CEtherHeader::Set(out, &in->src, &in->dst, kEtherTypeIPv4);
    return result;
}

int CIcmpPacket::MakeL3Reply(const void* request, void* reply) {
    if (!request || !reply) return EINVAL;
    const tnet_ipv4_hdr* iph = static_cast<const tnet_ipv4_hdr*>(request);
    int header_length = CIPv4Header::GetHeaderLength(iph);
    int data_length =
        CIPv4Header::GetPacketLength(iph) - header_length - CIcmpHeader::GetHeaderLength();
    // Announced by a stranger: with either length too short, the echo data would lie outside.
    if (header_length < static_cast<int>(sizeof *iph) || data_length < 0) return EINVAL;
    const uint8_t* at = static_cast<const uint8_t*>(request) + header_length;
    const tnet_icmp_hdr* icmp = reinterpret_cast<const tnet_icmp_hdr*>(at);
    return MakeL3Reply(reply, iph->dst, iph->src, icmp->identifier, icmp->sequence, icmp + 1,
                       data_length);
}
