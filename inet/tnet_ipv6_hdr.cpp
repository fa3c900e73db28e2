#include "inet/tnet_ipv6_hdr.h"

void CIPv6Header::Print(const tnet_ipv6_hdr* iph, CTString& text) {
    TNET_ASSERT(iph);
    text.Append(
        "   IPv6 header:\n"
        "       version: %u\n"
        "       service type: %u\n"
        "       flow label: %u\n"
        "       payload length: %u\n"
        "       protocol: %02x\n"
        "       time to live: %u\n",
        GetVersion(iph), GetServiceType(iph), GetFlowLabel(iph), GetPayloadLength(iph),
        GetNextProto(iph), GetTTL(iph));
    tnet_print_line(text, "       source IP: ", GetSrcIPv6(iph));
    tnet_print_line(text, "       destination IP: ", GetDstIPv6(iph));
}
