#include "inet/tnet_arp_packet.h"

namespace {

void Build(void* buf, uint16_t op, uint32_t sender_ip, const tnet_ether_addr* sender_mac,
           uint32_t target_ip, const tnet_ether_addr* target_mac) {
    tnet_ether_hdr* eth = static_cast<tnet_ether_hdr*>(buf);
    CEtherHeader::Set(eth, target_mac, sender_mac, kEtherTypeArp);
    // The MACs are taken from the frame: where a reply is built over its request, the arguments may
    // be the addresses that were just overwritten.
    CArpHeader::SetArp(reinterpret_cast<tnet_arp_hdr*>(eth + 1), op, ntohl(sender_ip),
                       CEtherHeader::GetSrc(eth), ntohl(target_ip), CEtherHeader::GetDst(eth));
}

}  // namespace

int CTArpPacket::MakeReply(void* buf, const tnet_ether_addr* own_mac,
                           const tnet_ether_addr* peer_mac, uint32_t own_ip, uint32_t peer_ip) {
    Build(buf, kArpReply, own_ip, own_mac, peer_ip, peer_mac);
    return 0;
}

int CTArpPacket::MakeIPv4Arp(void* buf, uint16_t op, uint32_t sender_ip,
                             const tnet_ether_addr* sender_mac, uint32_t target_ip,
                             const tnet_ether_addr* target_mac) {
    if (!buf || !sender_mac || !target_mac) return 1;
    Build(buf, op, sender_ip, sender_mac, target_ip, target_mac);
    return 0;
}
