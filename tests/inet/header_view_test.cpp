#include <gtest/gtest.h>

#include <string>

#include "inet/tnet_arp.h"
#include "inet/tnet_ether_hdr.h"
#include "inet/tnet_icmp.h"
#include "inet/tnet_ipv4_hdr.h"
#include "inet/tnet_ipv6_hdr.h"
#include "inet/tnet_tcp.h"
#include "inet/tnet_udp.h"
#include "lab/wire/wire_bytes.h"
#include "tests/support/captured_output.h"

namespace {

// Steps of CheckView: a field is read and set under one name or, before a swap, under two.
#define COPY(To, From) [](auto& to, auto& from) { to.Set##To(from.Get##From()); }
#define FIELD(Name) COPY(Name, Name)
#define CALL(Operation) [](auto& to, auto&) { to.Operation(); }

// What the wire bytes print, in every form, and that the steps make them again, out of bytes whose
// every bit is set before, so that one that they leave behind shows.
template <typename View, typename Record, typename... Step>
void CheckView(const char* wire, const char* printed, Step... steps) {
    WireBytes bytes = Hex(wire);
    auto* record = RecordAt<Record>(bytes);
    View view(record);
    CTString text;
    view.Print(text);
    EXPECT_STREQ(text.c_str(), printed);
    EXPECT_EQ(CapturedOutput([&] { view.Show(); }), printed);

    WireBytes made(sizeof(Record), 0xFF);
    View target(RecordAt<Record>(made));
    (steps(target, view), ...);
    Record copy = {};
    target.Copy(&copy);
    EXPECT_EQ(memcmp(&copy, record, sizeof copy), 0);
    bytes.resize(sizeof copy);
    EXPECT_EQ(made, bytes);
}

// Set may be given the header's own addresses.
TEST(HeaderView, Ether) {
    CheckView<CEtherHeader, tnet_ether_hdr>(
        "021122334455 0abbccddeeff 86dd",
        "   ether header:\n"
        "       Source: 0A:BB:CC:DD:EE:FF\n"
        "       Destination: 02:11:22:33:44:55\n"
        "       Type: 0x86DD\n",
        FIELD(Dst), FIELD(Src), FIELD(Type), CALL(SwapEtherAddr),
        [](auto& to, auto&) { to.Set(to.GetSrc(), to.GetDst(), kEtherTypeIPv6); });
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
        [](auto& to, auto& from) {
            to.SetArp(from.GetOp(), from.GetSenderIPv4(), from.GetSenderEtherAddr(),
                      from.GetTargetIPv4(), from.GetTargetEtherAddr());
        });
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
        FIELD(HeaderLength), FIELD(Version), FIELD(ServiceType), FIELD(PayloadLength),
        FIELD(PacketID), FIELD(Offset), FIELD(TTL), FIELD(NextProto), FIELD(CheckSum),
        COPY(SrcIP, DstIP), COPY(DstIP, SrcIP), CALL(SwapIPAddr));
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
        FIELD(Version), FIELD(ServiceType),
        [](auto& to, auto& from) { to.SetFlowLabel(0xFFF00000 | from.GetFlowLabel()); },
        FIELD(PayloadLength), COPY(NextProro, NextProto), FIELD(TTL), FIELD(SrcIPv6),
        FIELD(DstIPv6));
}

TEST(HeaderView, Icmp) {
    CheckView<CIcmpHeader, tnet_icmp_hdr>("08 01 0203 0405 0607",
                                          "   icmp pkt:\n"
                                          "       type: 8\n"
                                          "       code: 1\n"
                                          "       checksum: 515\n"
                                          "       identifier: 1029\n"
                                          "       sequence number: 1543\n",
                                          FIELD(Type), FIELD(Code), FIELD(Checksum),
                                          FIELD(Identifier), FIELD(SequenceNumber));
}

TEST(HeaderView, Udp) {
    CheckView<CUdpHdr, tnet_udp_hdr>("0782 0035 010d 8c3c",
                                     "   udp header:\n"
                                     "       source port: 1922\n"
                                     "       destination port: 53\n"
                                     "       datagram length: 269\n"
                                     "       datagram checksum: 35900\n",
                                     COPY(SrcPort, DstPort), COPY(DstPort, SrcPort),
                                     FIELD(PayloadLength), FIELD(CheckSum), CALL(SwapPort));
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
                                     COPY(SrcPort, DstPort), COPY(DstPort, SrcPort),
                                     FIELD(SequenceNumber), FIELD(AcknowledgmentNumber),
                                     FIELD(DataOffset), FIELD(Flags), FIELD(Window),
                                     FIELD(CheckSum), FIELD(UrgentPointer), CALL(SwapPort));
}

TEST(HeaderView, LengthsFollowFromEachOtherAndWrapInSixteenBits) {
    WireBytes udp = Hex("0782 0035 0000 0000");
    CUdpHdr datagram(RecordAt<tnet_udp_hdr>(udp));
    datagram.SetPacketLength(7);
    EXPECT_EQ(datagram.GetPayloadLength(), 0xFFFF);

    // A TCP segment's length lies in the IP header.
    WireBytes bytes4 = Hex("4600 0064 0000 0000 4006 0000 0a000001 0a000002 01010100");
    WireBytes bytes6 = Hex("60000000 ffff 06 40" + std::string(64, '0'));
    WireBytes tcp = Hex("1f90 c350 01020304 f0b0c0d0 80 18 2001 0a0b 0c0d");
    auto* ip4 = RecordAt<tnet_ipv4_hdr>(bytes4);
    auto* ip6 = RecordAt<tnet_ipv6_hdr>(bytes6);
    CTcpHdr segment(RecordAt<tnet_tcp_hdr>(tcp));
    EXPECT_EQ(segment.GetPayloadLength(ip4), 100 - 24 - 32);
    segment.SetPayloadLength(ip4, 10);
    EXPECT_EQ(CIPv4Header::GetPacketLength(ip4), 24 + 32 + 10);
    CIPv4Header::SetPacketLength(ip4, 20);
    EXPECT_EQ(CIPv4Header::GetPayloadLength(ip4), 0xFFFC);
    EXPECT_EQ(CIPv6Header::GetPacketLength(ip6), 65575);
    segment.SetPacketLength(ip6, 31);
    EXPECT_EQ(CIPv6Header::GetPayloadLength(ip6), 31);
    EXPECT_EQ(segment.GetPayloadLength(ip6), 0xFFFF);
}

// " ?" before an asterisk: whether a blank stands there is the compiler's choice.
TEST(HeaderViewDeath, AnAssertionNamesFileOperationAndExpression) {
    static tnet_ipv4_hdr* const no_ip = nullptr;
    static tnet_udp_hdr udp = {};
    struct {
        void (*misuse)();
        const char* message;
    } const kMisuses[] = {
        {[] { CIPv4Header().CalcCheckSum(); },
         "inet/tnet_ip:[0-9]+: uint16_t CIPv4Header::CalcCheckSum\\(\\): "
         "Assertion `\\(m_ptr != __null\\)' failed"},
        {[] { CEtherHeader().Attach(nullptr); },
         "inet/tnet_ether:[0-9]+: bool CEtherHeader::Attach\\(tnet_ether_hdr ?\\*\\): "
         "Assertion `\\(eth != __null\\)' failed"},
        {[] { CIcmpHeader::GetType(nullptr); }, "inet/tnet_icmp:.*`\\(hdr != __null\\)'"},
        {[] { CArpHeader::Show(nullptr); }, "inet/tnet_arp:.*`\\(hdr != __null\\)'"},
        {[] { CUdpHdr(&udp).CalcCheckSum(no_ip); },
         "`\\(udp_hdr != __null && ipv4_hdr != __null\\)'"},
        {[] { CTcpHdr::Copy(nullptr, nullptr); }, "`\\(dst != __null && src != __null\\)'"},
        {[] { CUdpHdr::Copy(nullptr, nullptr); }, "`\\(dst != __null \\|\\| src != __null\\)'"}};
    for (const auto& m : kMisuses)
        EXPECT_DEATH(m.misuse(), m.message);
    // One null is no misuse of this one.
    CUdpHdr::Copy(&udp, nullptr);
    CUdpHdr(&udp).Copy(nullptr);
}

}  // namespace
