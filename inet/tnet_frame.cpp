#include "inet/tnet_frame.h"

#include <cstddef>

#include "inet/tnet_arp.h"
#include "inet/tnet_ether_hdr.h"
#include "inet/tnet_ipv4_hdr.h"
#include "inet/tnet_ipv6_hdr.h"

namespace {

constexpr int kEtherHeaderLength = CEtherHeader::GetHeaderLength();
constexpr int kIPv4HeaderLength = sizeof(tnet_ipv4_hdr);
// The beginning of a header, up to and with a field.
constexpr int kIPv4UpToLength = offsetof(tnet_ipv4_hdr, packet_id);
constexpr int kIPv4UpToProto = offsetof(tnet_ipv4_hdr, checksum);
constexpr int kIPv4Version = 4;

tnet_ipv4_hdr* AsIPv4(uint8_t* p) {
    return reinterpret_cast<tnet_ipv4_hdr*>(p);
}

// Shows the header only if all of it is there, options included: its checksum covers them.
void ShowIPv4(uint8_t* p, int len) {
    if (len < kIPv4HeaderLength || len < CIPv4Header::GetHeaderLength(AsIPv4(p))) return;
    CIPv4Header::Show(AsIPv4(p));
}

}  // namespace

int CTEtherFrame::Attach(void* p, int len) {
    if (!p || len <= kEtherHeaderLength) return 0;
    m_ptr = static_cast<uint8_t*>(p);
    m_len = len;
    return 1;
}

uint8_t* CTEtherFrame::Payload() const {
    return m_ptr + kEtherHeaderLength;
}

bool CTEtherFrame::Holds(int payload_length) const {
    return m_len >= kEtherHeaderLength + payload_length;
}

int CTEtherFrame::GetEtherType() {
    return m_ptr ? CEtherHeader::GetType(reinterpret_cast<tnet_ether_hdr*>(m_ptr)) : 0;
}

int CTEtherFrame::IsArp() {
    return GetEtherType() == kEtherTypeArp ? 1 : 0;
}

int CTEtherFrame::IsIPv4() {
    return GetEtherType() == kEtherTypeIPv4 ? 1 : 0;
}

int CTEtherFrame::IsIPv6() {
    return GetEtherType() == kEtherTypeIPv6 ? 1 : 0;
}

int CTEtherFrame::GetIPv4Proto() {
    if (!IsIPv4() || !Holds(kIPv4UpToProto)) return 0;
    return CIPv4Header::GetNextProto(AsIPv4(Payload()));
}

int CTEtherFrame::IsIcmp() {
    return GetIPv4Proto() == kIpProtoIcmp ? 1 : 0;
}

int CTEtherFrame::IsTcp() {
    return GetIPv4Proto() == kIpProtoTcp ? 1 : 0;
}

int CTEtherFrame::IsUdp() {
    return GetIPv4Proto() == kIpProtoUdp ? 1 : 0;
}

// Needs no more of a header than the field with the length: what is announced may be less than a
// header. An IPv6 header announces its own length too.
int CTEtherFrame::Verify() {
    switch (GetEtherType()) {
        case kEtherTypeIPv4:
            return Holds(kIPv4UpToLength) && Holds(CIPv4Header::GetPacketLength(AsIPv4(Payload())));
        case kEtherTypeIPv6:
            return Holds(CIPv6Header::GetHeaderLength()) &&
                   Holds(CIPv6Header::GetPacketLength(reinterpret_cast<tnet_ipv6_hdr*>(Payload())));
        case kEtherTypeArp:
            return Holds(CArpHeader::GetHeaderLength());
        default:
            return 0;
    }
}

void CTEtherFrame::Print() {
    if (!m_ptr) return;
    CEtherHeader::Show(reinterpret_cast<tnet_ether_hdr*>(m_ptr));
    if (IsIPv4()) {
        ShowIPv4(Payload(), m_len - kEtherHeaderLength);
    } else if (IsArp() && Holds(CArpHeader::GetHeaderLength())) {
        CArpHeader::Show(reinterpret_cast<tnet_arp_hdr*>(Payload()));
    }
}

void CTEtherFrame::Print(void* p, int len) {
    CTEtherFrame frame;
    if (frame.Attach(p, len)) frame.Print();
}

int CTIPv4Frame::Attach(void* p, int len) {
    if (!p || len < kIPv4HeaderLength) return 0;
    m_ptr = static_cast<uint8_t*>(p);
    m_len = len;
    return 1;
}

int CTIPv4Frame::GetIPv4Proto() {
    return m_ptr ? CIPv4Header::GetNextProto(AsIPv4(m_ptr)) : 0;
}

int CTIPv4Frame::IsIcmp() {
    return GetIPv4Proto() == kIpProtoIcmp ? 1 : 0;
}

int CTIPv4Frame::IsTcp() {
    return GetIPv4Proto() == kIpProtoTcp ? 1 : 0;
}

int CTIPv4Frame::IsUdp() {
    return GetIPv4Proto() == kIpProtoUdp ? 1 : 0;
}

void CTIPv4Frame::Print() {
    if (m_ptr && CIPv4Header::GetVersion(AsIPv4(m_ptr)) == kIPv4Version) ShowIPv4(m_ptr, m_len);
}
