#include "inet/tnet_arp.h"

#include "inet/tnet_ether_hdr.h"

void CArpHeader::SetArp(uint16_t op, uint32_t sender_ip, const tnet_ether_addr* sender_mac,
                        uint32_t target_ip, const tnet_ether_addr* target_mac) {
    TNET_ASSERT(m_ptr);
    SetArp(m_ptr, op, sender_ip, sender_mac, target_ip, target_mac);
}

void CArpHeader::SetArp(tnet_arp_hdr* hdr, uint16_t op, uint32_t sender_ip,
                        const tnet_ether_addr* sender_mac, uint32_t target_ip,
                        const tnet_ether_addr* target_mac) {
    TNET_ASSERT(hdr);
    SetHardwareType(hdr, kArpHardwareEthernet);
    SetProtocolType(hdr, kEtherTypeIPv4);
    SetHardwareLength(hdr, kEtherAddrSize);
    SetProtocolLength(hdr, sizeof hdr->sender_ip);
    SetOp(hdr, op);
    SetSenderIPv4(hdr, sender_ip);
    SetSenderEtherAddr(hdr, sender_mac);
    SetTargetIPv4(hdr, target_ip);
    SetTargetEtherAddr(hdr, target_mac);
}

void CArpHeader::Print(const tnet_arp_hdr* hdr, CTString& text) {
    TNET_ASSERT(hdr);
    text.Append(
        "   ARP header:\n"
        "       Hardware: %u\n"
        "       protocol: 0x%04X\n"
        "       hardware length: %u\n"
        "       protocol length: %u\n"
        "       opcode: %u\n",
        GetHardwareType(hdr), GetProtocolType(hdr), GetHardwareLength(hdr), GetProtocolLength(hdr),
        GetOp(hdr));
    tnet_print_line(text, "       Sender MAC: ", GetSenderEtherAddr(hdr));
    tnet_print_line(text, "       Sender IP: ", GetSenderIPv4(hdr));
    tnet_print_line(text, "       Target MAC: ", GetTargetEtherAddr(hdr));
    tnet_print_line(text, "       Target IP: ", GetTargetIPv4(hdr));
}
