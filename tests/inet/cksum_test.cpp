#include "inet/tnet_cksum.h"

#include <gtest/gtest.h>

#include "inet/tnet_icmp.h"
#include "inet/tnet_ipv4_hdr.h"
#include "inet/tnet_ipv6_hdr.h"
#include "inet/tnet_tcp.h"
#include "inet/tnet_udp.h"
#include "tests/support/wire_bytes.h"

// The expected values were worked out as big-endian numbers modulo 65535, without any folding.

namespace {

// IPv4 and UDP, 10.0.0.1:5000 to 10.0.0.2:53 with "tamvo": 13 bytes, an odd number. The checksum
// is 0x873c.
const WireBytes kUdp4 =
    Hex("4500 0021 0001 4000 4011 26c9 0a000001 0a000002"
        "1388 0035 000d 0000 74616d766f");
constexpr size_t kIPv4Size = sizeof(tnet_ipv4_hdr);
constexpr size_t kIPv6Size = sizeof(tnet_ipv6_hdr);

uint16_t Raw(const WireBytes& bytes) {
    return ntohs(tsdw_raw_cksum(bytes.data(), bytes.size()));
}

TEST(Checksum, RawSumAddsWordsFoldsTheCarryAndPadsAnOddByteBehind) {
    EXPECT_EQ(Raw(Hex("0001 f203 f4f5 f6f7")), 0xddf2);  // the example of RFC 1071
    EXPECT_EQ(Raw(Hex("010203")), 0x0402);
    EXPECT_EQ(Raw(Hex("ab")), 0xab00);
    EXPECT_EQ(Raw(Hex("ffff ffff 0100")), 0x0100);  // the first fold carries again
    EXPECT_EQ(Raw({}), 0);
    EXPECT_EQ(Raw(WireBytes(65534, 0xFF)), 0xFFFF);
    WireBytes shifted = Hex("ee 0001 f203 f4f5 f6f7");
    EXPECT_EQ(ntohs(tsdw_raw_cksum(shifted.data() + 1, 8)), 0xddf2);
    EXPECT_EQ(ntohs(CIcmpHeader::CheckSum(shifted.data() + 1, 8)), 0x220d);
    EXPECT_EQ(CIcmpHeader::CheckSum(shifted.data(), -1), 0xFFFF);
}

TEST(Checksum, IPv4HeaderIsSummedOverItsOwnLength) {
    WireBytes plain = Hex("4500 0073 0000 4000 4011 0000 c0a80001 c0a800c7");
    EXPECT_EQ(ntohs(tnet_ipv4_cksum(RecordAt<tnet_ipv4_hdr>(plain))), 0xb861);
    WireBytes options = Hex("4610 012c 1234 20b9 3f06 0000 0a010203 c0a86364 01010100");
    EXPECT_EQ(ntohs(tnet_ipv4_cksum(RecordAt<tnet_ipv4_hdr>(options))), 0x14be);
}

TEST(Checksum, AnIPv4HeaderVerifiesUntilItChangesAndAgainAfterAnUpdate) {
    WireBytes bytes = Hex("4500 0073 0000 4000 4011 b861 c0a80001 c0a800c7");
    CIPv4Header view(RecordAt<tnet_ipv4_hdr>(bytes));
    EXPECT_TRUE(view.VerifyCheckSum());
    view.SetTTL(63);
    EXPECT_FALSE(view.VerifyCheckSum());
    EXPECT_EQ(view.CalcCheckSum(), 0xb961);
    EXPECT_EQ(view.GetCheckSum(), 0xb861);
    EXPECT_EQ(view.UpdateCheckSum(), 0);
    EXPECT_EQ(view.GetCheckSum(), 0xb961);
    EXPECT_TRUE(view.VerifyCheckSum());
}

TEST(Checksum, UdpOverIPv4) {
    WireBytes packet = kUdp4;
    auto* ip = RecordAt<tnet_ipv4_hdr>(packet);
    auto* udp = RecordAt<tnet_udp_hdr>(packet, kIPv4Size);
    EXPECT_EQ(ntohs(tsdw_ipv4_phdr_cksum(ip)), 0x1421);
    EXPECT_EQ(ntohs(tnet_ipv4_udptcp_cksum(ip, udp)), 0x873c);
    EXPECT_EQ(tnet_ipv4_udptcp_cksum_verify(ip, udp), -1);

    CUdpHdr view(udp);
    view.SetCheckSum(0x1111);
    EXPECT_EQ(view.CalcCheckSum(ip), 0x873c);
    EXPECT_EQ(view.GetCheckSum(), 0x1111);
    EXPECT_FALSE(view.VerifyCheckSum(ip));
    EXPECT_EQ(view.UpdateCheckSum(ip), 0);
    EXPECT_EQ(view.GetCheckSum(), 0x873c);
    EXPECT_TRUE(view.VerifyCheckSum(ip));
    EXPECT_EQ(tnet_ipv4_udptcp_cksum_verify(ip, udp), 0);
    packet.back() ^= 1;
    EXPECT_EQ(tnet_ipv4_udptcp_cksum_verify(ip, udp), -1);
}

TEST(Checksum, OptionsOfTheIPv4HeaderAreNotPartOfTheUpperLayer) {
    WireBytes packet =
        Hex("4600 0025 0001 4000 4011 0000 0a000001 0a000002 01010100"
            "1388 0035 000d 0000 74616d766f");
    auto* ip = RecordAt<tnet_ipv4_hdr>(packet);
    EXPECT_EQ(ntohs(tnet_ipv4_udptcp_cksum(ip, packet.data() + 24)), 0x873c);
}

TEST(Checksum, ATotalLengthBelowTheHeaderLengthSumsNothing) {
    WireBytes packet = Hex("4500 0013 0001 4000 4011 0000 0a000001 0a000002");
    auto* ip = RecordAt<tnet_ipv4_hdr>(packet);
    EXPECT_EQ(tnet_ipv4_udptcp_cksum(ip, packet.data() + kIPv4Size), 0);
    EXPECT_EQ(tnet_ipv4_udptcp_cksum_verify(ip, packet.data() + kIPv4Size), -1);
    CIPv4Header::SetPacketLength(ip, 20);  // an empty upper layer is summed
    EXPECT_NE(tnet_ipv4_udptcp_cksum(ip, packet.data() + kIPv4Size), 0);
}

TEST(Checksum, AResultOfZeroIsSentAsAllOnesInUdpOnly) {
    WireBytes udp4 =
        Hex("4500 001e 0001 4000 4011 0000 0a000001 0a000002"
            "1388 0035 000a 0000 d81a");
    auto* ip = RecordAt<tnet_ipv4_hdr>(udp4);
    CUdpHdr udp(RecordAt<tnet_udp_hdr>(udp4, kIPv4Size));
    udp.UpdateCheckSum(ip);
    EXPECT_EQ(udp.GetCheckSum(), 0xFFFF);
    EXPECT_TRUE(udp.VerifyCheckSum(ip));
    EXPECT_EQ(tnet_ipv4_udptcp_cksum_verify(ip, udp4.data() + kIPv4Size), 0);

    WireBytes tcp4 =
        Hex("4500 002a 0001 4000 4006 0000 0a000001 0a000002"
            "1f90 c350 01020304 0a0b0c0d 5018 2000 ffff 0000 7ec9");
    CTcpHdr tcp(RecordAt<tnet_tcp_hdr>(tcp4, kIPv4Size));
    tcp.UpdateCheckSum(RecordAt<tnet_ipv4_hdr>(tcp4));
    EXPECT_EQ(tcp.GetCheckSum(), 0);
    EXPECT_TRUE(tcp.VerifyCheckSum(RecordAt<tnet_ipv4_hdr>(tcp4)));

    WireBytes udp6 =
        Hex("60000000 000a 11 40 20010db8000000000000000000000001 20010db8000000000000000000000002"
            "1388 0035 000a 0000 90a8");
    EXPECT_EQ(tnet_ipv6_udptcp_cksum(RecordAt<tnet_ipv6_hdr>(udp6), udp6.data() + kIPv6Size),
              0xFFFF);
}

TEST(Checksum, TcpOverIPv4AndBothOverIPv6) {
    WireBytes tcp4 =
        Hex("4500 002a 0001 4000 4006 0000 0a000001 0a000002"
            "1f90 c350 01020304 0a0b0c0d 5018 2000 0000 0000 474f");
    EXPECT_EQ(CTcpHdr::CalcCheckSum(RecordAt<tnet_tcp_hdr>(tcp4, kIPv4Size),
                                    RecordAt<tnet_ipv4_hdr>(tcp4)),
              0x377a);

    WireBytes tcp6 =
        Hex("60000000 0016 06 40 20010db8000000000000000000000001 20010db8000000000000000000000002"
            "1f90 c350 01020304 0a0b0c0d 5018 2000 0000 0000 474f");
    CTcpHdr tcp(RecordAt<tnet_tcp_hdr>(tcp6, kIPv6Size));
    tcp.UpdateCheckSum(RecordAt<tnet_ipv6_hdr>(tcp6));
    EXPECT_EQ(tcp.GetCheckSum(), 0xf007);
    EXPECT_TRUE(tcp.VerifyCheckSum(RecordAt<tnet_ipv6_hdr>(tcp6)));

    WireBytes udp6 =
        Hex("60000000 000d 11 40 20010db8000000000000000000000001 20010db8000000000000000000000002"
            "1388 0035 000d 3fca 74616d766f");
    auto* ip = RecordAt<tnet_ipv6_hdr>(udp6);
    EXPECT_EQ(ntohs(tsdw_ipv6_phdr_cksum(ip)), 0x5b93);
    EXPECT_TRUE(CUdpHdr::VerifyCheckSum(RecordAt<tnet_udp_hdr>(udp6, kIPv6Size), ip));
    EXPECT_EQ(tnet_ipv6_udptcp_cksum_verify(ip, udp6.data() + kIPv6Size), 0);
    udp6.back() ^= 1;
    EXPECT_EQ(tnet_ipv6_udptcp_cksum_verify(ip, udp6.data() + kIPv6Size), -1);
}

TEST(Checksum, TheIcmpViewVerifiesItsHeaderOnly) {
    WireBytes bare = Hex("0800 e5c4 1234 0007");
    EXPECT_TRUE(CIcmpHeader(RecordAt<tnet_icmp_hdr>(bare)).VerifyCheckSum());
    WireBytes with_data = Hex("0000 fc3b beef 0102 68656c6c6f");
    EXPECT_EQ(CIcmpHeader::CheckSum(with_data.data(), static_cast<int>(with_data.size())), 0);
    EXPECT_FALSE(CIcmpHeader::VerifyCheckSum(RecordAt<tnet_icmp_hdr>(with_data)));
}

}  // namespace
