#include "inet/tnet_cksum.h"

#include <gtest/gtest.h>

#include <string>

#include "inet/tnet_icmp.h"
#include "inet/tnet_ipv4_hdr.h"
#include "inet/tnet_ipv6_hdr.h"
#include "inet/tnet_tcp.h"
#include "inet/tnet_udp.h"
#include "lab/wire/wire_bytes.h"

// The expected values were worked out as big-endian numbers modulo 65535, without any folding.

namespace {

TEST(Checksum, RawSumAddsWordsFoldsTheCarryAndPadsAnOddByteBehind) {
    auto raw = [](const WireBytes& bytes) {
        return ntohs(tsdw_raw_cksum(bytes.data(), bytes.size()));
    };
    EXPECT_EQ(raw(Hex("0001 f203 f4f5 f6f7")), 0xddf2);  // the example of RFC 1071
    EXPECT_EQ(raw(Hex("010203")), 0x0402);
    EXPECT_EQ(raw(Hex("ffff ffff 0100")), 0x0100);  // the first fold carries again
    EXPECT_EQ(raw({}), 0);
    EXPECT_EQ(raw(WireBytes(65534, 0xFF)), 0xFFFF);
    WireBytes shifted = Hex("ee 0001 f203 f4f5 f6f7");
    EXPECT_EQ(ntohs(CIcmpHeader::CheckSum(shifted.data() + 1, 8)), 0x220d);
    EXPECT_EQ(CIcmpHeader::CheckSum(shifted.data(), -1), 0xFFFF);
}

TEST(Checksum, AnIPv4HeaderIsCoveredToItsLastByte) {
    for (uint8_t words = 5; words <= 15; ++words) {
        WireBytes bytes(words * 4u, 0xFF);
        bytes[0] = 0x40 | words;
        CIPv4Header view(RecordAt<tnet_ipv4_hdr>(bytes));
        EXPECT_FALSE(view.VerifyCheckSum());
        EXPECT_EQ(view.UpdateCheckSum(), 0);
        EXPECT_EQ(view.CalcCheckSum(), view.GetCheckSum());
        EXPECT_TRUE(view.VerifyCheckSum());
        bytes.back() ^= 1;
        EXPECT_FALSE(view.VerifyCheckSum());
    }
}

auto Verify(const tnet_ipv4_hdr* ip, const void* l4) {
    return tnet_ipv4_udptcp_cksum_verify(ip, l4);
}

auto Verify(const tnet_ipv6_hdr* ip, const void* l4) {
    return tnet_ipv6_udptcp_cksum_verify(ip, l4);
}

// A datagram or segment whose checksum field is 0 and the checksum that it should carry, which
// covers the addresses and every byte behind the IP header, but no option.
template <typename View, typename Record, typename IpRecord>
void CheckL4(const std::string& ip_header, const char* l4, uint16_t checksum) {
    size_t l4_at = Hex(ip_header).size();
    WireBytes packet = Hex(ip_header + l4);
    auto* ip = RecordAt<IpRecord>(packet);
    auto* record = RecordAt<Record>(packet, l4_at);
    View view(record);
    view.SetCheckSum(0x1111);
    EXPECT_EQ(view.CalcCheckSum(ip), checksum);
    EXPECT_EQ(view.GetCheckSum(), 0x1111);
    EXPECT_FALSE(view.VerifyCheckSum(ip));
    EXPECT_EQ(view.UpdateCheckSum(ip), 0);
    EXPECT_EQ(view.GetCheckSum(), checksum);
    EXPECT_TRUE(view.VerifyCheckSum(ip));
    EXPECT_EQ(Verify(ip, record), 0);
    for (size_t i = sizeof *ip - sizeof ip->src - sizeof ip->dst; i < packet.size(); ++i) {
        bool option = i >= sizeof *ip && i < l4_at;
        packet[i] ^= 1;
        EXPECT_EQ(Verify(ip, record), option ? 0 : -1) << i;
        packet[i] ^= 1;
    }
}

TEST(Checksum, UdpAndTcpOverBothKindsOfIP) {
    constexpr auto udp4 = CheckL4<CUdpHdr, tnet_udp_hdr, tnet_ipv4_hdr>;
    constexpr auto tcp4 = CheckL4<CTcpHdr, tnet_tcp_hdr, tnet_ipv4_hdr>;
    constexpr auto udp6 = CheckL4<CUdpHdr, tnet_udp_hdr, tnet_ipv6_hdr>;
    constexpr auto tcp6 = CheckL4<CTcpHdr, tnet_tcp_hdr, tnet_ipv6_hdr>;
    const std::string addresses4 = "0a000001 0a000002";
    const std::string addresses6 =
        "20010db8000000000000000000000001 20010db8000000000000000000000002";
    const char* const tamvo = "1388 0035 000d 0000 74616d766f";  // 13 bytes, an odd number
    const char* const segment = "1f90 c350 01020304 0a0b0c0d 5018 2000 0000 0000 474f";
    udp4("4500 0021 0001 4000 4011 0000" + addresses4, tamvo, 0x873c);
    udp4("4600 0025 0001 4000 4011 0000" + addresses4 + "01010100", tamvo, 0x873c);
    tcp4("4500 002a 0001 4000 4006 0000" + addresses4, segment, 0x377a);
    udp6("60000000 000d 11 40" + addresses6, tamvo, 0x3fca);
    tcp6("60000000 0016 06 40" + addresses6, segment, 0xf007);
    // Data that make the result 0, which in UDP, and only there, means "no checksum".
    udp4("4500 001e 0001 4000 4011 0000" + addresses4, "1388 0035 000a 0000 d81a", 0xFFFF);
    udp6("60000000 000a 11 40" + addresses6, "1388 0035 000a 0000 90a8", 0xFFFF);
    tcp4("4500 002a 0001 4000 4006 0000" + addresses4,
         "1f90 c350 01020304 0a0b0c0d 5018 2000 0000 0000 7ec9", 0);
}

TEST(Checksum, ATotalLengthBelowTheHeaderLengthSumsNothing) {
    WireBytes packet = Hex("4500 0013 0001 4000 4011 0000 0a000001 0a000002");
    auto* ip = RecordAt<tnet_ipv4_hdr>(packet);
    EXPECT_EQ(tnet_ipv4_udptcp_cksum(ip, ip + 1), 0);
    EXPECT_EQ(tnet_ipv4_udptcp_cksum_verify(ip, ip + 1), -1);
    CIPv4Header::SetPacketLength(ip, 20);  // an empty upper layer is summed
    EXPECT_NE(tnet_ipv4_udptcp_cksum(ip, ip + 1), 0);
}

TEST(Checksum, TheIcmpViewVerifiesItsHeaderOnly) {
    WireBytes bare = Hex("0800 e5c4 1234 0007");
    EXPECT_TRUE(CIcmpHeader(RecordAt<tnet_icmp_hdr>(bare)).VerifyCheckSum());
    WireBytes with_data = Hex("0000 fc3b beef 0102 68656c6c6f");
    EXPECT_EQ(CIcmpHeader::CheckSum(with_data.data(), static_cast<int>(with_data.size())), 0);
    EXPECT_FALSE(CIcmpHeader::VerifyCheckSum(RecordAt<tnet_icmp_hdr>(with_data)));
}

}  // namespace
