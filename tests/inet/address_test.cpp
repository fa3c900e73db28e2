#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "base/pvu_random.h"
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
    text.Append("> ");
    address.Print(text);
    std::string printed = text.c_str() + 2;
    EXPECT_EQ(CapturedOutput([&] { address.Print(); }), printed);
    return printed;
}

TEST(EtherAddr, TwoTextFormsParseAndNoOther) {
    for (const char* text : {"8E:10:45:38:32:28", "8e:10:45:38:32:28", "8e10:4538:3228"}) {
        CEtherAddr addr;
        EXPECT_EQ(addr.Set(text), 0) << text;
        EXPECT_TRUE(addr == &kMac) << text;
        EXPECT_EQ(TextOf(addr), "8E:10:45:38:32:28");
    }
    for (const char* text : {"", "8E", "8E-10-45-38-32-28", "8E:10:45:38:32:28:", "8E:10:45:38:32",
                             "8E:10:45:38:32:2", "8E:10:45:38:32:2G", "8:10:45:38:32:28",
                             "8E10:4538:3228 ", "8E10:4538", "8E10.4538.3228", "8E1045383228"}) {
        EXPECT_EQ(CEtherAddr().UnFormat(text), -1) << text;
    }
    EXPECT_EQ(CEtherAddr(&kMac).UnFormat(nullptr), 1);
}

TEST(EtherAddr, NullIsReportedOrIgnoredAndFormatIsCutToTheBuffer) {
    const tnet_ether_addr* const null = nullptr;
    CEtherAddr addr(&kMac);
    CEtherAddr::SetZero(nullptr);
    CEtherAddr::SetBroadcast(nullptr);
    CEtherAddr::Copy(addr.GetAddr(), null);
    EXPECT_EQ(addr.Set(null), 1);
    EXPECT_TRUE(addr == &kMac);
    EXPECT_FALSE(addr == null);
    EXPECT_FALSE(CEtherAddr::IsSame(null, null));
    char buf[8] = "xxxxxxx";
    EXPECT_EQ(addr.Format(buf, 6), 0);
    EXPECT_EQ(std::string(buf, 7), std::string("8E:10\0x", 7));
    EXPECT_EQ(addr.Format(nullptr, 18), 1);
    EXPECT_EQ(CEtherAddr::Print(&kMac, buf, 0), 1);
}

TEST(EtherAddr, OneDifferentBitMakesTheDifference) {
    tnet_ether_addr zero = {};
    tnet_ether_addr broadcast;
    CEtherAddr::SetBroadcast(&broadcast);
    EXPECT_TRUE(CEtherAddr::IsZero(&zero));
    EXPECT_TRUE(CEtherAddr::IsBroadcast(&broadcast));
    for (int i = 0; i < kEtherAddrSize; ++i) {
        tnet_ether_addr other = zero;
        other.bytes[i] = 1;
        EXPECT_FALSE(CEtherAddr::IsZero(&other) || CEtherAddr::IsSame(&other, &zero));
        other = broadcast;
        other.bytes[i] = 0xFE;
        EXPECT_FALSE(CEtherAddr::IsBroadcast(&other));
    }
    tnet_ether_addr_copy(&kMac, &zero);  // source first
    EXPECT_TRUE(CEtherAddr::IsSame(&zero, &kMac));
}

TEST(EtherAddr, RandomIsUnicastAndLocallyAdministered) {
    for (unsigned seed = 0; seed < 16; ++seed) {
        srand(seed);
        uint64_t drawn = pvu_rand64();
        uint64_t first = (drawn & ~uint64_t{1}) | 2;
        srand(seed);
        CEtherAddr addr;
        EXPECT_EQ(addr.SetRandom(), 0);
        EXPECT_EQ(memcmp(addr.GetBytes(), &first, 6), 0);  // the lowest byte first
    }
}

TEST(IPv4Addr, TextParsesAndPrintsBack) {
    struct {
        const char* text;
        uint32_t ip;
        const char* printed;
    } const kTexts[] = {{"10.0.0.1", 0x0A000001, "10.0.0.1"},
                        {"255.255.255.255", 0xFFFFFFFF, "255.255.255.255"},
                        {"010.001.000.09", 0x0A010009, "10.1.0.9"},
                        // An empty part counts as zero, a large one spills upwards.
                        {"1..2.3", 0x01000203, "1.0.2.3"},
                        {"1.2.3.", 0x01020300, "1.2.3.0"},
                        {"...", 0, "0.0.0.0"},
                        {"1.300.0.0", 0x012C0000, "1.44.0.0"},
                        {"0.0.0.999", 999, "0.0.3.231"}};
    for (const auto& t : kTexts) {
        CIPv4Addr addr(0xDEADBEEF);
        EXPECT_EQ(addr.Set(t.text), 0) << t.text;
        EXPECT_EQ(addr.GetIP(), t.ip) << t.text;
        EXPECT_EQ(TextOf(addr), t.printed);
    }
    CIPv4Addr addr(10, 0, 0, 7);
    for (const char* text : {"", "10.0.0", "10.0.0.a", "10.0.0.1.", "10.0.0.1 ", "-1.0.0.1",
                             "0001.2.3.4", "1.2.3.12345678901234567890"}) {
        EXPECT_EQ(addr.Set(text), 1) << text;
    }
    EXPECT_EQ(addr.Set(static_cast<const char*>(nullptr)), 1);
    EXPECT_EQ(addr.GetIP(), 0x0A000007u);
}

TEST(IPv4Addr, SplitAndFormatReportNull) {
    uint8_t o[4] = {};
    EXPECT_EQ(CIPv4Addr::Split(0x01020304, &o[0], &o[1], &o[2], &o[3]), 0);
    EXPECT_EQ(WireBytes(o, o + 4), Hex("01020304"));
    EXPECT_EQ(CIPv4Addr::Split(1, &o[0], &o[1], nullptr, &o[3]), 1);
    char buf[6];
    EXPECT_EQ(CIPv4Addr::Format(0xFFFFFFFF, buf, sizeof buf), 0);
    EXPECT_STREQ(buf, "255.2");
    EXPECT_EQ(CIPv4Addr::Print(1, nullptr, 16), 1);
    EXPECT_EQ(CIPv4Addr::Format(1, buf, 0), 1);
}

TEST(IPv6Addr, PrintsEightFullGroups) {
    EXPECT_EQ(TextOf(CIPv6Addr()), "0000:0000:0000:0000:0000:0000:0000:0000");
    WireBytes bytes = Hex("20010db8 00000000 0000abcd ef012345");
    EXPECT_EQ(TextOf(CIPv6Addr(RecordAt<tsdw_ipv6_addr>(bytes))),
              "2001:0db8:0000:0000:0000:abcd:ef01:2345");
    CTString text;
    EXPECT_EQ(CIPv6Addr::Print(nullptr, text), 1);
    EXPECT_STREQ(text.c_str(), "");
}

TEST(EthIPv4Addr, OwnsAZeroRecordUntilAttached) {
    CEthIPv4Addr view;
    EXPECT_EQ(TextOf(view), "ip=0.0.0.0,mac=00:00:00:00:00:00");
    WireBytes bytes = Hex("0a010203 8e1045383228 abcd");
    EXPECT_EQ(view.Attach(RecordAt<tnet_ethipv4_addr>(bytes)), 1);
    EXPECT_EQ(view.Attach(nullptr), 0);
    EXPECT_EQ(TextOf(view), "ip=10.1.2.3,mac=8E:10:45:38:32:28");
    CTString text;
    EXPECT_EQ(view.Print(text), 33);
    view.SetIPv4Addr(0xC0A80001);
    view.SetEtherAddr(Hex("010203040506").data());
    EXPECT_EQ(bytes, Hex("c0a80001 010203040506 abcd"));
    view.SetEtherAddr(&kMac);
    EXPECT_EQ(bytes, Hex("c0a80001 8e1045383228 abcd"));
    view.Zero();
    EXPECT_EQ(bytes, WireBytes(12));
}

TEST(EthIPv4Addr, TheRecordFormOfIsSameIsNotTheRuleOfEquality) {
    struct {
        const char* record;
        bool equal;
        int is_same;
    } const kRecords[] = {{"0a010203 8e1045383228 0000", true, 0},
                          {"0a010203 8e1045383228 0001", false, 0},
                          {"0a010203 8e1045383229 0000", false, 0},
                          {"0a010204 8e1045383228 0000", false, 1},
                          {"0a010204 8e1045383228 0001", false, 0}};
    WireBytes bytes = Hex(kRecords[0].record);
    CEthIPv4Addr view;
    view.Copy(RecordAt<tnet_ethipv4_addr>(bytes));
    for (const auto& r : kRecords) {
        WireBytes other_bytes = Hex(r.record);
        auto* record = RecordAt<tnet_ethipv4_addr>(other_bytes);
        CEthIPv4Addr other;
        other.Attach(record);
        EXPECT_EQ(view == *record, r.equal) << r.record;
        EXPECT_EQ(view.IsSame(record), r.is_same) << r.record;
        EXPECT_EQ(view.IsSame(other), r.is_same) << r.record;
        EXPECT_FALSE(CEthIPv4Addr::IsSame(nullptr, record));
    }
    EXPECT_EQ(view.IsSame(view), 1);
    EXPECT_EQ(view.IsSame(static_cast<const tnet_ethipv4_addr*>(nullptr)), 0);
    EXPECT_EQ(view.IsSame(static_cast<const CEthIPv4Addr*>(nullptr)), 0);
}

}  // namespace
