#include <gtest/gtest.h>

#include <string>

#include "inet/tnet_arp.h"
#include "inet/tnet_ether_hdr.h"
#include "inet/tnet_icmp.h"
#include "inet/tnet_ipv4_hdr.h"
#include "inet/tnet_ipv6_hdr.h"
#include "inet/tnet_tcp.h"
#include "inet/tnet_udp.h"
#include "tests/support/captured_output.h"
#include "tests/support/wire_bytes.h"

namespace {

const tnet_ether_addr kMacA = {{0x02, 0x11, 0x22, 0x33, 0x44, 0x55}};
const tnet_ether_addr kMacB = {{0x0A, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};

// The print-out of an attached view, which Show and its static form must give too.
template <typename View, typename Record>
std::string PrintOut(View& view, Record* record) {
    CTString text;
    view.Print(text);
    std::string printed = text.c_str();
    EXPECT_EQ(CapturedOutput([&] { view.Show(); }), printed);
    EXPECT_EQ(CapturedOutput([&] { View::Show(record); }), printed);
    return printed;
}

// Whether a copy of the attached record is the same bytes.
template <typename View, typename Record>
bool CopiesItself(View& view, Record* record) {
    Record copy = {};
    view.Copy(&copy);
    return memcmp(&copy, record, sizeof copy) == 0;
}

TEST(EtherView, FieldsLieWhereTheStandardPutsThem) {
    WireBytes bytes = Hex("021122334455 0abbccddeeff 86dd");
    auto* record = RecordAt<tnet_ether_hdr>(bytes);
    CEtherHeader view(record);
    EXPECT_TRUE(CEtherAddr::IsSame(view.GetDst(), &kMacA));
    EXPECT_TRUE(CEtherAddr::IsSame(view.GetSrc(), &kMacB));
    EXPECT_EQ(view.GetType(), kEtherTypeIPv6);
    EXPECT_EQ(CEtherHeader::GetHeaderLength(), 14);
    EXPECT_TRUE(CopiesItself(view, record));
    EXPECT_EQ(PrintOut(view, record),
              "   ether header:\n"
              "       Source: 0A:BB:CC:DD:EE:FF\n"
              "       Destination: 02:11:22:33:44:55\n"
              "       Type: 0x86DD\n");

    view.SwapEtherAddr();
    EXPECT_EQ(bytes, Hex("0abbccddeeff 021122334455 86dd"));
    view.Set(&kMacA, &kMacB, kEtherTypeArp);
    EXPECT_EQ(bytes, Hex("021122334455 0abbccddeeff 0806"));
}

TEST(ArpView, FieldsLieWhereTheStandardPutsThem) {
    WireBytes bytes = Hex("0102 0304 05 06 0708 021122334455 0a010203 0abbccddeeff c0a86364");
    auto* record = RecordAt<tnet_arp_hdr>(bytes);
    CArpHeader view(record);
    EXPECT_EQ(view.GetSenderIPv4(), 0x0a010203u);
    EXPECT_EQ(view.GetTargetIPv4(), 0xc0a86364u);
    EXPECT_EQ(CArpHeader::GetHeaderLength(), 28);
    EXPECT_TRUE(CopiesItself(view, record));
    EXPECT_EQ(PrintOut(view, record),
              "   ARP header:\n"
              "       Hardware: 258\n"
              "       protocol: 0x0304\n"
              "       hardware length: 5\n"
              "       protocol length: 6\n"
              "       opcode: 1800\n"
              "       Sender MAC: 02:11:22:33:44:55\n"
              "       Sender IP: 10.1.2.3\n"
              "       Target MAC: 0A:BB:CC:DD:EE:FF\n"
              "       Target IP: 192.168.99.100\n");

    view.SetArp(kArpRequest, 0xc0a86364, &kMacB, 0x0a010203, &kMacA);
    EXPECT_EQ(bytes, Hex("0001 0800 06 04 0001 0abbccddeeff c0a86364 021122334455 0a010203"));
    view.SetHardwareType(0x1112);
    view.SetProtocolType(0x1314);
    view.SetHardwareLength(0x15);
    view.SetProtocolLength(0x16);
    view.SetOp(0x1718);
    EXPECT_EQ(bytes, Hex("1112 1314 15 16 1718 0abbccddeeff c0a86364 021122334455 0a010203"));
}

TEST(IPv4View, FieldsLieWhereTheStandardPutsThem) {
    const WireBytes wire = Hex("4610 012c 1234 20b9 3f06 14be 0a010203 c0a86364 01010100");
    WireBytes bytes = wire;
    auto* record = RecordAt<tnet_ipv4_hdr>(bytes);
    CIPv4Header view(record);
    EXPECT_EQ(view.GetHeaderLength(), 24);
    EXPECT_EQ(view.GetPayloadLength(), 300 - 24);
    EXPECT_EQ(view.GetOffset(), 0x20b9);
    EXPECT_TRUE(CopiesItself(view, record));
    EXPECT_EQ(PrintOut(view, record),
              "   IPv4 header:\n"
              "       version: 4\n"
              "       head length: 6(24)\n"
              "       service type: 16\n"
              "       packet length: 300\n"
              "       packet ID: 4660\n"
              "       flag: 8192\n"
              "       fragmentation offset: 185\n"
              "       time to live: 63\n"
              "       protocol ID: 06\n"
              "       header checksum: 5310, verify: 1\n"
              "       source IP: 10.1.2.3\n"
              "       destination IP: 192.168.99.100\n");

    bytes.assign(wire.size(), 0);
    view.Attach(RecordAt<tnet_ipv4_hdr>(bytes));
    view.SetHeaderLength(24);
    view.SetVersion(4);
    view.SetServiceType(0x10);
    view.SetPayloadLength(276);
    view.SetPacketID(0x1234);
    view.SetOffset(0x20b9);
    view.SetTTL(63);
    view.SetNextProto(kIpProtoTcp);
    view.SetCheckSum(0x14be);
    view.SetSrcIP(0xc0a86364);
    view.SetDstIP(0x0a010203);
    view.SwapIPAddr();
    EXPECT_EQ(bytes, Hex("4610 012c 1234 20b9 3f06 14be 0a010203 c0a86364 00000000"));
    view.SetPacketLength(20);
    EXPECT_EQ(view.GetPayloadLength(), 0xFFFC);
}

TEST(IPv4View, InitLeavesTheAddressesAndDontFragmentPrintsNoFlag) {
    WireBytes bytes = Hex("ffff ffff ffff ffff ffff ffff 01020304 05060708");
    CIPv4Header view(RecordAt<tnet_ipv4_hdr>(bytes));
    view.Init();
    EXPECT_EQ(bytes, Hex("4500 0000 2200 4000 4000 0000 01020304 05060708"));
    std::string printed = PrintOut(view, RecordAt<tnet_ipv4_hdr>(bytes));
    EXPECT_NE(printed.find("       flag: 0\n       fragmentation offset: 0\n"), std::string::npos);
    EXPECT_NE(printed.find("       header checksum: 0, verify: 0\n"), std::string::npos);
}

TEST(IPv4View, AHeaderOfSixtyBytesIsReadToItsEndAndNoFurther) {
    WireBytes bytes(60, 0xFF);
    bytes[0] = 0x4F;
    EXPECT_FALSE(CIPv4Header::VerifyCheckSum(RecordAt<tnet_ipv4_hdr>(bytes)));
    CIPv4Header::UpdateCheckSum(RecordAt<tnet_ipv4_hdr>(bytes));
    EXPECT_TRUE(CIPv4Header::VerifyCheckSum(RecordAt<tnet_ipv4_hdr>(bytes)));
}

TEST(IPv6View, FieldsLieWhereTheStandardPutsThem) {
    const WireBytes wire = Hex(
        "6ab12345 0102 11 40 20010db80000000000000000000000a1 fe80000000000000021122fffe334455");
    WireBytes bytes = wire;
    auto* record = RecordAt<tnet_ipv6_hdr>(bytes);
    CIPv6Header view(record);
    EXPECT_EQ(view.GetPacketLength(), 40 + 258);
    EXPECT_EQ(CIPv6Header::GetHeaderLength(), 40);
    EXPECT_TRUE(CopiesItself(view, record));
    EXPECT_EQ(PrintOut(view, record),
              "   IPv6 header:\n"
              "       version: 6\n"
              "       service type: 171\n"
              "       flow label: 74565\n"
              "       payload length: 258\n"
              "       protocol: 11\n"
              "       time to live: 64\n"
              "       source IP: 2001:0db8:0000:0000:0000:0000:0000:00a1\n"
              "       destination IP: fe80:0000:0000:0000:0211:22ff:fe33:4455\n");

    tnet_ipv6_hdr source = *record;
    bytes.assign(wire.size(), 0xFF);  // the fields of the first word leave each other alone
    view.SetVersion(6);
    view.SetServiceType(0xab);
    view.SetFlowLabel(0xFFF12345);
    view.SetPayloadLength(258);
    view.SetNextProro(kIpProtoUdp);
    view.SetTTL(64);
    view.SetSrcIPv6(CIPv6Header::GetSrcIPv6(&source));
    view.SetDstIPv6(CIPv6Header::GetDstIPv6(&source));
    EXPECT_EQ(bytes, wire);
    view.SetPayloadLength(65535);
    EXPECT_EQ(view.GetPacketLength(), 65575);
}

TEST(IcmpView, FieldsLieWhereTheStandardPutsThem) {
    WireBytes bytes = Hex("08 01 0203 0405 0607");
    auto* record = RecordAt<tnet_icmp_hdr>(bytes);
    CIcmpHeader view(record);
    EXPECT_EQ(CIcmpHeader::GetHeaderLength(), 8);
    EXPECT_TRUE(CopiesItself(view, record));
    EXPECT_EQ(PrintOut(view, record),
              "   icmp pkt:\n"
              "       type: 8\n"
              "       code: 1\n"
              "       checksum: 515\n"
              "       identifier: 1029\n"
              "       sequence number: 1543\n");

    view.SetType(0x11);
    view.SetCode(0x12);
    view.SetChecksum(0x1314);
    view.SetIdentifier(0x1516);
    view.SetSequenceNumber(0x1718);
    EXPECT_EQ(bytes, Hex("11 12 1314 1516 1718"));
}

TEST(UdpView, FieldsLieWhereTheStandardPutsThem) {
    WireBytes bytes = Hex("0782 0035 000d 8c3c");
    auto* record = RecordAt<tnet_udp_hdr>(bytes);
    CUdpHdr view(record);
    EXPECT_EQ(view.GetPayloadLength(), 5);
    EXPECT_EQ(CUdpHdr::GetHeaderLength(), 8);
    EXPECT_TRUE(CopiesItself(view, record));
    EXPECT_EQ(PrintOut(view, record),
              "   udp header:\n"
              "       source port: 1922\n"
              "       destination port: 53\n"
              "       datagram length: 13\n"
              "       datagram checksum: 35900\n");

    view.SwapPort();
    EXPECT_EQ(bytes, Hex("0035 0782 000d 8c3c"));
    view.SetSrcPort(0x0102);
    view.SetDstPort(0x0304);
    view.SetPayloadLength(0x0100);
    view.SetCheckSum(0x0506);
    EXPECT_EQ(bytes, Hex("0102 0304 0108 0506"));
    view.SetPacketLength(7);
    EXPECT_EQ(view.GetPayloadLength(), 0xFFFF);
}

TEST(TcpView, FieldsLieWhereTheStandardPutsThem) {
    WireBytes bytes = Hex("1f90 c350 01020304 f0b0c0d0 63 18 2001 0a0b 0c0d");
    auto* record = RecordAt<tnet_tcp_hdr>(bytes);
    CTcpHdr view(record);
    EXPECT_EQ(view.GetHeaderLength(), 24);
    EXPECT_TRUE(CopiesItself(view, record));
    EXPECT_EQ(PrintOut(view, record),
              "   tcp header:\n"
              "       source port: 8080\n"
              "       destination port: 50000\n"
              "       tx sequence number: 16909060\n"
              "       rx acknowledgment sequence number: 4038115536\n"
              "       offset: 6\n"
              "       flags: 24\n"
              "       RX flow control window: 8193\n"
              "       checksum: 2571\n"
              "       urgent pointer: 3085\n");

    view.SwapPort();
    EXPECT_EQ(bytes, Hex("c350 1f90 01020304 f0b0c0d0 63 18 2001 0a0b 0c0d"));
    view.SetSrcPort(0x1112);
    view.SetDstPort(0x1314);
    view.SetSequenceNumber(0xf1f2f3f4);
    view.SetAcknowledgmentNumber(0x21222324);
    view.SetDataOffset(5);
    view.SetFlags(0x11);
    view.SetWindow(0x3132);
    view.SetCheckSum(0x3334);
    view.SetUrgentPointer(0x3536);
    EXPECT_EQ(bytes, Hex("1112 1314 f1f2f3f4 21222324 53 11 3132 3334 3536"));
}

TEST(TcpView, TheSegmentsLengthComesFromTheIPHeader) {
    WireBytes ip4 = Hex("4600 0064 0000 0000 4006 0000 0a000001 0a000002 01010100");
    WireBytes tcp = Hex("1f90 c350 01020304 f0b0c0d0 80 18 2001 0a0b 0c0d");
    CTcpHdr view(RecordAt<tnet_tcp_hdr>(tcp));
    EXPECT_EQ(view.GetPacketLength(RecordAt<tnet_ipv4_hdr>(ip4)), 76);
    EXPECT_EQ(view.GetPayloadLength(RecordAt<tnet_ipv4_hdr>(ip4)), 44);
}

// " ?" before an asterisk: whether a blank stands there is the compiler's choice.
TEST(HeaderViewDeath, AnAssertionNamesFileOperationAndExpression) {
    EXPECT_DEATH(CIPv4Header().CalcCheckSum(),
                 "inet/tnet_ip:[0-9]+: uint16_t CIPv4Header::CalcCheckSum\\(\\): "
                 "Assertion `\\(m_ptr != __null\\)' failed");
    EXPECT_DEATH(CIPv6Header().SetNextProro(6),
                 "inet/tnet_ip:[0-9]+: void CIPv6Header::SetNextProro\\(uint8_t\\): "
                 "Assertion `\\(m_ptr != __null\\)' failed");
    EXPECT_DEATH(CEtherHeader().Attach(nullptr),
                 "inet/tnet_ether:[0-9]+: bool CEtherHeader::Attach\\(tnet_ether_hdr ?\\*\\): "
                 "Assertion `\\(eth != __null\\)' failed");
    EXPECT_DEATH(CIPv4Header(nullptr), "Attach\\(tnet_ipv4_hdr ?\\*\\): .*`\\(iph != __null\\)'");
    EXPECT_DEATH(CIcmpHeader::GetType(nullptr), "inet/tnet_icmp:.*`\\(hdr != __null\\)'");
    EXPECT_DEATH(CArpHeader::Show(nullptr), "inet/tnet_arp:.*`\\(hdr != __null\\)'");
}

TEST(HeaderViewDeath, PairsAreCheckedTogetherAndTheUdpCopyWantsOnlyOne) {
    tnet_ipv4_hdr* ip4 = nullptr;
    tnet_ipv6_hdr ip6 = {};
    tnet_udp_hdr udp = {};
    tnet_tcp_hdr tcp = {};
    EXPECT_DEATH(CUdpHdr(&udp).CalcCheckSum(ip4),
                 "`\\(udp_hdr != __null && ipv4_hdr != __null\\)'");
    EXPECT_DEATH(CTcpHdr::UpdateCheckSum(nullptr, &ip6),
                 "`\\(tcp_hdr != __null && ipv6_hdr != __null\\)'");
    EXPECT_DEATH(CTcpHdr::Copy(&tcp, nullptr), "`\\(dst != __null && src != __null\\)'");
    EXPECT_DEATH(CUdpHdr::Copy(nullptr, nullptr), "`\\(dst != __null \\|\\| src != __null\\)'");
    CUdpHdr::Copy(&udp, nullptr);
    CUdpHdr(&udp).Copy(nullptr);
}

}  // namespace
