#include <gtest/gtest.h>

#include <string>

#include "inet/tnet_ether.h"
#include "inet/tnet_ethipv4.h"
#include "inet/tnet_ip.h"
#include "tests/support/captured_output.h"
#include "tests/support/wire_bytes.h"

namespace {

const tnet_ether_addr kMac = {{0x8E, 0x10, 0x45, 0x38, 0x32, 0x28}};

template <typename Address>
std::string TextOf(const Address& address) {
    CTString text;
    address.Print(text);
    EXPECT_EQ(CapturedOutput([&] { address.Print(); }), text.c_str());
    return text.c_str();
}

TEST(EtherAddr, BothTextFormsParse) {
    for (const char* text : {"8E:10:45:38:32:28", "8e:10:45:38:32:28", "8e10:4538:3228"}) {
        CEtherAddr addr;
        addr.SetZero();
        EXPECT_EQ(addr.Set(text), 0) << text;
        EXPECT_TRUE(addr == &kMac) << text;
        EXPECT_EQ(TextOf(addr), "8E:10:45:38:32:28");
    }
}

TEST(EtherAddr, AnyOtherTextFails) {
    for (const char* text : {"", "8E", "8E-10-45-38-32-28", "8E:10:45:38:32:28:", "8E:10:45:38:32",
                             "8E:10:45:38:32:2", "8E:10:45:38:32:2G", "8:10:45:38:32:28",
                             "8E10:4538:3228 ", "8E10:4538", "8E10.4538.3228", "8E1045383228"}) {
        CEtherAddr addr;
        EXPECT_EQ(addr.UnFormat(text), -1) << text;
    }
    EXPECT_EQ(CEtherAddr(&kMac).UnFormat(nullptr), 1);
}

TEST(EtherAddr, NullIsReportedOrIgnoredAndFormatIsCutToTheBuffer) {
    CEtherAddr addr(&kMac);
    EXPECT_EQ(addr.Set(static_cast<const unsigned char*>(nullptr)), 1);
    EXPECT_EQ(addr.Format(nullptr, 18), 1);
    CEtherAddr::SetZero(nullptr);
    CEtherAddr::Copy(addr.GetAddr(), nullptr);
    EXPECT_FALSE(addr == static_cast<const tnet_ether_addr*>(nullptr));
    EXPECT_FALSE(CEtherAddr::IsSame(nullptr, nullptr));
    char buf[8] = "xxxxxxx";
    EXPECT_EQ(addr.Format(buf, 6), 0);
    EXPECT_EQ(std::string(buf, 7), std::string("8E:10\0x", 7));
    EXPECT_EQ(CEtherAddr::Print(&kMac, buf, 0), 1);
}

TEST(EtherAddr, OneDifferentByteMakesTheDifference) {
    tnet_ether_addr zero = {};
    tnet_ether_addr broadcast;
    CEtherAddr::SetBroadcast(&broadcast);
    EXPECT_TRUE(CEtherAddr::IsZero(&zero));
    EXPECT_TRUE(CEtherAddr::IsBroadcast(&broadcast));
    for (int i = 0; i < kEtherAddrSize; ++i) {
        tnet_ether_addr a = zero;
        a.bytes[i] = 1;
        EXPECT_FALSE(CEtherAddr::IsZero(&a));
        EXPECT_FALSE(CEtherAddr::IsSame(&a, &zero));
        tnet_ether_addr b = broadcast;
        b.bytes[i] = 0xFE;
        EXPECT_FALSE(CEtherAddr::IsBroadcast(&b));
    }
    tnet_ether_addr_copy(&kMac, &zero);  // source first
    EXPECT_TRUE(CEtherAddr::IsSame(&zero, &kMac));
}

TEST(EtherAddr, RandomIsUnicastAndLocallyAdministered) {
    for (int i = 0; i < 200; ++i) {
        CEtherAddr addr;
        EXPECT_EQ(addr.SetRandom(), 0);
        EXPECT_EQ(addr.GetBytes()[0] & 3, 2);
    }
}

TEST(IPv4Addr, TextParsesAndPrintsBack) {
    CIPv4Addr addr;
    EXPECT_EQ(addr.Set("10.0.0.1"), 0);
    EXPECT_EQ(addr.GetIP(), 0x0A000001u);
    EXPECT_EQ(TextOf(addr), "10.0.0.1");
    EXPECT_EQ(TextOf(CIPv4Addr(255, 254, 128, 0)), "255.254.128.0");
}

TEST(IPv4Addr, EmptyPartsCountAsZeroAndLargeOnesSpillUpwards) {
    struct {
        const char* text;
        uint32_t ip;
    } const kTexts[] = {
        {"1..2.3", 0x01000203},          {"1.2.3.", 0x01020300},    {"...", 0},
        {"255.255.255.255", 0xFFFFFFFF}, {"1.300.0.0", 0x012C0000}, {"0.0.0.999", 999},
        {"010.001.000.09", 0x0A010009}};
    for (const auto& t : kTexts) {
        CIPv4Addr addr(0xDEADBEEF);
        EXPECT_EQ(addr.Set(t.text), 0) << t.text;
        EXPECT_EQ(addr.GetIP(), t.ip) << t.text;
    }
}

TEST(IPv4Addr, ARejectedTextLeavesTheValue) {
    CIPv4Addr addr(7);
    for (const char* text : {"", "10.0.0", "10.0.0.a", "10.0.0.1.", "10.0.0.1 ", "-1.0.0.1",
                             "0001.2.3.4", "1.2.3.12345678901234567890"}) {
        EXPECT_EQ(addr.Set(text), 1) << text;
    }
    EXPECT_EQ(addr.Set(static_cast<const char*>(nullptr)), 1);
    EXPECT_EQ(addr.GetIP(), 7u);
}

TEST(IPv4Addr, SplitAndFormatReportNull) {
    uint8_t o[4] = {};
    EXPECT_EQ(CIPv4Addr::Split(0x01020304, &o[0], &o[1], &o[2], &o[3]), 0);
    EXPECT_EQ(WireBytes(o, o + 4), Hex("01020304"));
    EXPECT_EQ(CIPv4Addr::Split(1, &o[0], &o[1], nullptr, &o[3]), 1);
    char buf[16];
    EXPECT_EQ(CIPv4Addr::Format(0xFFFFFFFF, buf, sizeof buf), 0);
    EXPECT_STREQ(buf, "255.255.255.255");
    EXPECT_EQ(CIPv4Addr::Print(1, nullptr, 16), 1);
    EXPECT_EQ(CIPv4Addr::Format(1, buf, 0), 1);
}

TEST(IPv6Addr, PrintsEightFullGroups) {
    EXPECT_EQ(TextOf(CIPv6Addr()), "0000:0000:0000:0000:0000:0000:0000:0000");
    WireBytes bytes = Hex("20010db8 00000000 0000abcd ef012345");
    CIPv6Addr addr(RecordAt<tsdw_ipv6_addr>(bytes));
    EXPECT_EQ(TextOf(addr), "2001:0db8:0000:0000:0000:abcd:ef01:2345");
    CTString text;
    EXPECT_EQ(CIPv6Addr::Print(nullptr, text), 1);
    EXPECT_STREQ(text.c_str(), "");
}

TEST(EthIPv4Addr, OwnsAZeroRecordUntilAttached) {
    CEthIPv4Addr view;
    EXPECT_EQ(TextOf(view), "ip=0.0.0.0,mac=00:00:00:00:00:00");
    EXPECT_EQ(view.Attach(nullptr), 0);
    WireBytes bytes = Hex("0a010203 8e1045383228 abcd");
    EXPECT_EQ(view.Attach(RecordAt<tnet_ethipv4_addr>(bytes)), 1);
    EXPECT_EQ(view.GetIPv4Addr(), 0x0A010203u);
    EXPECT_TRUE(CEtherAddr::IsSame(view.GetEtherAddr(), &kMac));
    EXPECT_EQ(TextOf(view), "ip=10.1.2.3,mac=8E:10:45:38:32:28");
    CTString text;
    EXPECT_EQ(view.Print(text), 33);

    view.SetIPv4Addr(0xC0A80001);
    view.SetEtherAddr(Hex("010203040506").data());
    EXPECT_EQ(bytes, Hex("c0a80001 010203040506 abcd"));
    view.Zero();
    EXPECT_EQ(bytes, WireBytes(12));
}

TEST(EthIPv4Addr, EqualityTakesInTheClosingBytesAndTheRecordFormOfIsSameIsItsOwnRule) {
    WireBytes bytes = Hex("0a010203 8e1045383228 0000");
    WireBytes other_ip = Hex("0a010204 8e1045383228 0000");
    WireBytes other_closing = Hex("0a010203 8e1045383228 0001");
    auto* record = RecordAt<tnet_ethipv4_addr>(bytes);
    CEthIPv4Addr a;
    CEthIPv4Addr b;
    a.Attach(record);
    b.Copy(record);
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(CEthIPv4Addr::IsSame(record, record));
    EXPECT_FALSE(CEthIPv4Addr::IsSame(record, nullptr));
    EXPECT_FALSE(a == *RecordAt<tnet_ethipv4_addr>(other_ip));
    EXPECT_FALSE(a == *RecordAt<tnet_ethipv4_addr>(other_closing));

    EXPECT_EQ(a.IsSame(record), 0);
    EXPECT_EQ(a.IsSame(b), 0);
    EXPECT_EQ(a.IsSame(a), 1);
    EXPECT_EQ(a.IsSame(RecordAt<tnet_ethipv4_addr>(other_ip)), 1);
    EXPECT_EQ(a.IsSame(RecordAt<tnet_ethipv4_addr>(other_closing)), 0);
    other_ip.back() = 1;
    EXPECT_EQ(a.IsSame(RecordAt<tnet_ethipv4_addr>(other_ip)), 0);
    EXPECT_EQ(a.IsSame(static_cast<const tnet_ethipv4_addr*>(nullptr)), 0);
}

}  // namespace
