#include "inet/tnet_icmp.h"

#include "inet/tnet_cksum.h"

uint16_t CIcmpHeader::CheckSum(const void* words, int len) {
    if (len < 1) return 0xFFFF;
    return static_cast<uint16_t>(~tsdw_raw_cksum(words, static_cast<size_t>(len)));
}

bool CIcmpHeader::VerifyCheckSum() {
    TNET_ASSERT(m_ptr);
    return VerifyCheckSum(m_ptr);
}

bool CIcmpHeader::VerifyCheckSum(const tnet_icmp_hdr* hdr) {
    TNET_ASSERT(hdr);
    tnet_icmp_hdr copy = *hdr;
    copy.checksum = 0;
    return CheckSum(&copy, sizeof copy) == hdr->checksum;
}

void CIcmpHeader::Print(const tnet_icmp_hdr* hdr, CTString& text) {
    TNET_ASSERT(hdr);
    text.Append(
        "   icmp pkt:\n"
        "       type: %u\n"
        "       code: %u\n"
        "       checksum: %u\n"
        "       identifier: %u\n"
        "       sequence number: %u\n",
        GetType(hdr), GetCode(hdr), GetChecksum(hdr), GetIdentifier(hdr), GetSequenceNumber(hdr));
}
