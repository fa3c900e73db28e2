#include "inet/tnet_ipv4_hdr.h"

#include <cstddef>
#include <cstring>

#include "inet/tnet_cksum.h"

namespace {

constexpr int kHeaderLengthMax = 60;
constexpr uint8_t kFreshVersionLength = 0x45;
constexpr uint16_t kFreshPacketID = 0x2200;
constexpr uint8_t kFreshTTL = 64;

}  // namespace

void CIPv4Header::Init() {
    TNET_ASSERT(m_ptr);
    Init(m_ptr);
}

void CIPv4Header::Init(tnet_ipv4_hdr* iph) {
    TNET_ASSERT(iph);
    memset(iph, 0, offsetof(tnet_ipv4_hdr, src));
    iph->version_length = kFreshVersionLength;
    SetPacketID(iph, kFreshPacketID);
    SetOffset(iph, kIPv4DontFragment);
    SetTTL(iph, kFreshTTL);
}

void CIPv4Header::SwapIPAddr() {
    TNET_ASSERT(m_ptr);
    SwapIPAddr(m_ptr);
}

void CIPv4Header::SwapIPAddr(tnet_ipv4_hdr* iph) {
    TNET_ASSERT(iph);
    uint32_t src = iph->src;
    iph->src = iph->dst;
    iph->dst = src;
}

uint16_t CIPv4Header::CalcCheckSum() {
    TNET_ASSERT(m_ptr);
    return CalcCheckSum(m_ptr);
}

// Computed on a copy, so that a header can be verified and printed where it may not be written.
uint16_t CIPv4Header::CalcCheckSum(const tnet_ipv4_hdr* iph) {
    TNET_ASSERT(iph);
    uint8_t copy[kHeaderLengthMax] = {};
    memcpy(copy, iph, static_cast<size_t>(GetHeaderLength(iph)));
    tnet_ipv4_hdr* header = reinterpret_cast<tnet_ipv4_hdr*>(copy);
    header->checksum = 0;
    return ntohs(tnet_ipv4_cksum(header));
}

bool CIPv4Header::VerifyCheckSum() {
    TNET_ASSERT(m_ptr);
    return VerifyCheckSum(m_ptr);
}

bool CIPv4Header::VerifyCheckSum(const tnet_ipv4_hdr* iph) {
    TNET_ASSERT(iph);
    return CalcCheckSum(iph) == GetCheckSum(iph);
}

int CIPv4Header::UpdateCheckSum() {
    TNET_ASSERT(m_ptr);
    return UpdateCheckSum(m_ptr);
}

int CIPv4Header::UpdateCheckSum(tnet_ipv4_hdr* iph) {
    TNET_ASSERT(iph);
    SetCheckSum(iph, CalcCheckSum(iph));
    return 0;
}

void CIPv4Header::Print(const tnet_ipv4_hdr* iph, CTString& text) {
    TNET_ASSERT(iph);
    text.Append(
        "   IPv4 header:\n"
        "       version: %u\n"
        "       head length: %u(%u)\n"
        "       service type: %u\n"
        "       packet length: %u\n"
        "       packet ID: %u\n"
        "       flag: %u\n"
        "       fragmentation offset: %u\n"
        "       time to live: %u\n"
        "       protocol ID: %02x\n"
        "       header checksum: %u, verify: %d\n",
        GetVersion(iph), GetHeaderLength(iph) / 4, GetHeaderLength(iph), GetServiceType(iph),
        GetPacketLength(iph), GetPacketID(iph), GetOffset(iph) & kIPv4MoreFragments,
        GetOffset(iph) & kIPv4OffsetMask, GetTTL(iph), GetNextProto(iph), GetCheckSum(iph),
        VerifyCheckSum(iph));
    tnet_print_line(text, "       source IP: ", GetSrcIP(iph));
    tnet_print_line(text, "       destination IP: ", GetDstIP(iph));
}
