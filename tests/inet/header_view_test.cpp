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

// What the wire bytes print, in every form, and that the setters make the same record of bytes
// whose every bit is set before, so that one that they leave behind shows.
template <typename View, typename Record>
void CheckView(const char* wire, const char* printed, void (*set)(View&)) {
    WireBytes bytes = Hex(wire);
    auto* record = RecordAt<Record>(bytes);
    View view;
    EXPECT_TRUE(view.Attach(record));
    CTString text;
    view.Print(text);
    EXPECT_STREQ(text.c_str(), printed);
    EXPECT_EQ(CapturedOutput([&] { view.Show(); }), printed);
    EXPECT_EQ(CapturedOutput([&] { View::Show(record); }), printed);

    WireBytes made(sizeof(Record), 0xFF);
    View target(RecordAt<Record>(made));
    set(target);
    Record copy = {};
    target.Copy(&copy);
    EXPECT_EQ(memcmp(&copy, record, sizeof copy), 0);
    EXPECT_EQ(made, WireBytes(bytes.begin(), bytes.begin() + sizeof(Record)));
}

TEST(HeaderView, Ether) {
    CheckView<CEtherHeader, tnet_ether_hdr>("021122334455 0abbccddeeff 86dd",
                                            "   ether header:\n"
                                            "       Source: 0A:BB:CC:DD:EE:FF\n"
                                            "       Destination: 02:11:22:33:44:55\n"
                                            "       Type: 0x86DD\n",
                                            [](CEtherHeader& view) {
                                                view.SetDst(&kMacB);
                                                view.SetSrc(&kMacA);
                                                view.SetType(kEtherTypeIPv6);
                                                view.SwapEtherAddr();
                                            });
    WireBytes bytes(14);
    CEtherHeader view(RecordAt<tnet_ether_hdr>(bytes));
    view.Set(&kMacA, &kMacB, kEtherTypeIPv4);
    EXPECT_EQ(bytes, Hex("021122334455 0abbccddeeff 0800"));
    view.Set(view.GetSrc(), view.GetDst(), kEtherTypeArp);  // its own addresses, the other way
    EXPECT_EQ(bytes, Hex("0abbccddeeff 021122334455 0806"));
}

TEST(HeaderView, Arp) {
    CheckView<CArpHeader, tnet_arp_hdr>(
        "0001 0800 06 04 0708 021122334455 0a010203 0abbccddeeff c0a86364",
        "   ARP header:\n"
        "       Hardware: 1\n"
        "       protocol: 0x0800\n"
        "       hardware length: 6\n"
        "       protocol length: 4\n"
        "       opcode: 1800\n"
        "       Sender MAC: 02:11:22:33:44:55\n"
        "       Sender IP: 10.1.2.3\n"
        "       Target MAC: 0A:BB:CC:DD:EE:FF\n"
        "       Target IP: 192.168.99.100\n",
        [](CArpHeader& view) { view.SetArp(0x0708, 0x0a010203, &kMacA, 0xc0a86364, &kMacB); });
}

TEST(HeaderView, IPv4) {
    CheckView<CIPv4Header, tnet_ipv4_hdr>(
        "4610 012c 1234 20b9 3f06 14be 0a010203 c0a86364 01010100",
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
        "       destination IP: 192.168.99.100\n",
        [](CIPv4Header& view) {
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
        });
}

TEST(HeaderView, AFreshIPv4HeaderKeepsItsAddressesAndDontFragmentPrintsNoFlag) {
    WireBytes bytes(20, 0xFF);
    CIPv4Header view(RecordAt<tnet_ipv4_hdr>(bytes));
    view.Init();
    EXPECT_EQ(bytes, Hex("4500 0000 2200 4000 4000 0000 ffffffff ffffffff"));
    std::string printed = CapturedOutput([&] { view.Show(); });
    EXPECT_NE(printed.find("       flag: 0\n       fragmentation offset: 0\n"), std::string::npos);
    EXPECT_NE(printed.find("       header checksum: 0, verify: 0\n"), std::string::npos);
}

TEST(HeaderView, IPv6) {
    CheckView<CIPv6Header, tnet_ipv6_hdr>(
        "6ab12345 0102 11 40 20010db80000000000000000000000a1 fe80000000000000021122fffe334455",
        "   IPv6 header:\n"
        "       version: 6\n"
        "       service type: 171\n"
        "       flow label: 74565\n"
        "       payload length: 258\n"
        "       protocol: 11\n"
        "       time to live: 64\n"
        "       source IP: 2001:0db8:0000:0000:0000:0000:0000:00a1\n"
        "       destination IP: fe80:0000:0000:0000:0211:22ff:fe33:4455\n",
        [](CIPv6Header& view) {
            WireBytes addresses =
                Hex("20010db80000000000000000000000a1 fe80000000000000021122fffe334455");
            view.SetVersion(6);
            view.SetServiceType(0xab);
            view.SetFlowLabel(0xFFF12345);
            view.SetPayloadLength(258);
            view.SetNextProro(kIpProtoUdp);
            view.SetTTL(64);
            view.SetSrcIPv6(RecordAt<tsdw_ipv6_addr>(addresses));
            view.SetDstIPv6(RecordAt<tsdw_ipv6_addr>(addresses, 16));
        });
}

TEST(HeaderView, Icmp) {
    CheckView<CIcmpHeader, tnet_icmp_hdr>("08 01 0203 0405 0607",
                                          "   icmp pkt:\n"
                                          "       type: 8\n"
                                          "       code: 1\n"
                                          "       checksum: 515\n"
                                          "       identifier: 1029\n"
                                          "       sequence number: 1543\n",
                                          [](CIcmpHeader& view) {
                                              view.SetType(8);
                                              view.SetCode(1);
                                              view.SetChecksum(515);
                                              view.SetIdentifier(1029);
                                              view.SetSequenceNumber(1543);
                                          });
}

TEST(HeaderView, Udp) {
    CheckView<CUdpHdr, tnet_udp_hdr>("0782 0035 010d 8c3c",
                                     "   udp header:\n"
                                     "       source port: 1922\n"
                                     "       destination port: 53\n"
                                     "       datagram length: 269\n"
                                     "       datagram checksum: 35900\n",
                                     [](CUdpHdr& view) {
                                         view.SetSrcPort(53);
                                         view.SetDstPort(1922);
                                         view.SetPayloadLength(261);
                                         view.SetCheckSum(35900);
                                         view.SwapPort();
                                     });
}

// The bits beside the data offset are reserved, and left alone.
TEST(HeaderView, Tcp) {
    CheckView<CTcpHdr, tnet_tcp_hdr>("1f90 c350 01020304 f0b0c0d0 6f 18 2001 0a0b 0c0d",
                                     "   tcp header:\n"
                                     "       source port: 8080\n"
                                     "       destination port: 50000\n"
                                     "       tx sequence number: 16909060\n"
                                     "       rx acknowledgment sequence number: 4038115536\n"
                                     "       offset: 6\n"
                                     "       flags: 24\n"
                                     "       RX flow control window: 8193\n"
                                     "       checksum: 2571\n"
                                     "       urgent pointer: 3085\n",
                                     [](CTcpHdr& view) {
                                         view.SetSrcPort(50000);
                                         view.SetDstPort(8080);
                                         view.SetSequenceNumber(16909060);
                                         view.SetAcknowledgmentNumber(4038115536);
                                         view.SetDataOffset(6);
                                         view.SetFlags(24);
                                         view.SetWindow(8193);
                                         view.SetCheckSum(2571);
                                         view.SetUrgentPointer(3085);
                                         view.SwapPort();
                                     });
}

TEST(HeaderView, LengthsFollowFromEachOtherAndWrapInSixteenBits) {
    EXPECT_EQ(CEtherHeader::GetHeaderLength(), 14);
    EXPECT_EQ(CArpHeader::GetHeaderLength(), 28);
    EXPECT_EQ(CIcmpHeader::GetHeaderLength(), 8);
    WireBytes udp = Hex("0782 0035 000d 0000");
    CUdpHdr datagram(RecordAt<tnet_udp_hdr>(udp));
    EXPECT_EQ(datagram.GetPayloadLength(), 5);
    datagram.SetPacketLength(7);
    EXPECT_EQ(datagram.GetPayloadLength(), 0xFFFF);

    // A TCP segment's length lies in the IP header.
    WireBytes bytes4 = Hex("4600 0064 0000 2345 4006 0000 0a000001 0a000002 01010100");
    WireBytes bytes6 = Hex("60000000 ffff 06 40" + std::string(64, '0'));
    WireBytes tcp = Hex("1f90 c350 01020304 f0b0c0d0 80 18 2001 0a0b 0c0d");
    auto* ip6 = RecordAt<tnet_ipv6_hdr>(bytes6);
    CIPv4Header view4(RecordAt<tnet_ipv4_hdr>(bytes4));
    CTcpHdr segment(RecordAt<tnet_tcp_hdr>(tcp));
    EXPECT_EQ(view4.GetOffset(), 0x2345);
    EXPECT_EQ(segment.GetPacketLength(RecordAt<tnet_ipv4_hdr>(bytes4)), 76);
    EXPECT_EQ(segment.GetPayloadLength(RecordAt<tnet_ipv4_hdr>(bytes4)), 44);
    segment.SetPayloadLength(RecordAt<tnet_ipv4_hdr>(bytes4), 10);
    EXPECT_EQ(view4.GetPacketLength(), 24 + 32 + 10);
    view4.SetPacketLength(20);
    EXPECT_EQ(view4.GetPayloadLength(), 0xFFFC);
    EXPECT_EQ(CIPv6Header::GetPacketLength(ip6), 65575);
    segment.SetPacketLength(ip6, 31);
    EXPECT_EQ(CIPv6Header::GetPayloadLength(ip6), 31);
    EXPECT_EQ(segment.GetPayloadLength(ip6), 0xFFFF);
}

// " ?" before an asterisk: whether a blank stands there is the compiler's choice.
TEST(HeaderViewDeath, AnAssertionNamesFileOperationAndExpression) {
    EXPECT_DEATH(CIPv4Header().CalcCheckSum(),
                 "inet/tnet_ip:[0-9]+: uint16_t CIPv4Header::CalcCheckSum\\(\\): "
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
