#include "offload/tcp_packet.h"

namespace {

constexpr int kIPv4Version = 4;
constexpr int kIPv4HeaderSize = sizeof(tnet_ipv4_hdr);
constexpr int kTcpHeaderSize = sizeof(tnet_tcp_hdr);

}  // namespace

bool CTTcpPacket::Attach(uint8_t* packet, int packet_length) {
    bytes = packet;
    length = packet_length;
    if (length < kIPv4HeaderSize + kTcpHeaderSize) return false;
    ip = reinterpret_cast<tnet_ipv4_hdr*>(packet);
    ip_length = CIPv4Header::GetHeaderLength(ip);
    bool tcp_follows = CIPv4Header::GetVersion(ip) == kIPv4Version && ip->protocol == kIpProtoTcp &&
                       ip_length >= kIPv4HeaderSize && ip_length + kTcpHeaderSize <= length &&
                       (CIPv4Header::GetOffset(ip) & (kIPv4MoreFragments | kIPv4OffsetMask)) == 0;
    if (!tcp_follows) return false;
    tcp = reinterpret_cast<tnet_tcp_hdr*>(packet + ip_length);
    tcp_length = CTcpHdr::GetHeaderLength(tcp);
    return tcp_length >= kTcpHeaderSize && HeaderLength() <= length;
}
