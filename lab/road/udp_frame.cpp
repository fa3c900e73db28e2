#include "lab/road/udp_frame.h"

#include <arpa/inet.h>
#include <net/ethernet.h>
#include <netinet/ip.h>
#include <netinet/udp.h>

#include <cstring>

static_assert(kUdpHeader == sizeof(udphdr) && kIpAt == sizeof(ether_header));

namespace {

constexpr size_t kSmallestUdpFrame = kIpAt + sizeof(iphdr) + sizeof(udphdr);

uint16_t HeaderCheckSum(const uint8_t* header, size_t size) {
    uint32_t sum = 0;
    for (size_t i = 0; i + 1 < size; i += 2)
        sum += static_cast<uint32_t>(header[i]) << 8 | header[i + 1];
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return htons(static_cast<uint16_t>(~sum));
}

}  // namespace

size_t UdpOffset(const Frame& frame) {
    if (frame.size() < kSmallestUdpFrame) return 0;
    ether_header ether;
    iphdr ip;
    memcpy(&ether, frame.data(), sizeof ether);
    memcpy(&ip, frame.data() + kIpAt, sizeof ip);
    if (ether.ether_type != htons(ETHERTYPE_IP) || ip.version != 4) return 0;
    if (ip.protocol != IPPROTO_UDP || (ip.frag_off & htons(IP_MF | IP_OFFMASK)) != 0) return 0;
    size_t offset = kIpAt + static_cast<size_t>(ip.ihl) * 4;
    size_t end = kIpAt + ntohs(ip.tot_len);
    return ip.ihl >= 5 && offset + sizeof(udphdr) <= end && end <= frame.size() ? offset : 0;
}

size_t PayloadSize(const Frame& frame, size_t udp_offset) {
    uint16_t total;
    memcpy(&total, frame.data() + kIpAt + offsetof(iphdr, tot_len), sizeof total);
    return kIpAt + ntohs(total) - udp_offset - kUdpHeader;
}

void SetPayload(Frame& frame, size_t udp_offset, size_t payload) {
    iphdr ip;
    udphdr udp;
    memcpy(&ip, frame.data() + kIpAt, sizeof ip);
    memcpy(&udp, frame.data() + udp_offset, sizeof udp);
    udp.uh_ulen = htons(static_cast<uint16_t>(sizeof udp + payload));
    udp.uh_sum = 0;
    ip.tot_len = htons(static_cast<uint16_t>(udp_offset - kIpAt + sizeof udp + payload));
    ip.check = 0;
    memcpy(frame.data() + kIpAt, &ip, sizeof ip);
    memcpy(frame.data() + udp_offset, &udp, sizeof udp);
    ip.check = HeaderCheckSum(frame.data() + kIpAt, udp_offset - kIpAt);
    memcpy(frame.data() + kIpAt, &ip, sizeof ip);
    frame.resize(udp_offset + sizeof udp + payload);
}
