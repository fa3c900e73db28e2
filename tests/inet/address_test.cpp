#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "base/pvu_random.h"
#include "inet/tnet_ether.h"
#include "inet/tnet_ethipv4.h"
#include "inet/tnet_ip.h"
#include "lab/wire/wire_bytes.h"
#include "tests/support/captured_output.h"

namespace {

const tnet_ether_addr kMac = {{0x8E, 0x10, 0x45, 0x38, 0x32, 0x28}};
constexpr const tnet_ether_addr* kNoMac = nullptr;

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
    for (const char* text : {"8E:10:45:38:32:28", "8e10:4538:3228"}) {
        CEtherAddr addr;
        EXPECT_EQ(addr.Set(text), 0) << text;
        EXPECT_EQ(TextOf(addr), "8E:10:45:38:32:28");
    }
    for (const char* text : {"", "8E", "8E-10-45-38-32-28", "8E:10:45:38:32:28:", "8E:10:45:38:32",
                             "8E:10:45:38:32:2", "8E:10:45:38:32:2G", "8:10:45:38:32:28",
                             "8E10:4538:3228 ", "8E10:4538", "8E10.4538.3228", "8E1045383228"}) {
        EXPECT_EQ(CEtherAddr().UnFormat(text), -1) << text;
    }
}

TEST(EtherAddr, NullIsReportedOrIgnoredAndFormatIsCutToTheBuffer) {
    CEtherAddr addr(&kMac);
    CEtherAddr::SetZero(nullptr);
    CEtherAddr::SetBroadcast(nullptr);
    CEtherAddr::Copy(addr.GetAddr(), kNoMac);
    EXPECT_EQ(addr.Set(kNoMac) + addr.UnFormat(nullptr), 1 + 1);
    EXPECT_TRUE(addr == &kMac);
    EXPECT_FALSE(addr == kNoMac || CEtherAddr::IsSame(kNoMac, kNoMac));
    char buf[8] = "xxxxxxx";
    EXPECT_EQ(addr.Format(buf, 6), 0);
    EXPECT_EQ(std::string(buf, 7), std::string("8E:10\0x", 7));
    EXPECT_EQ(addr.Format(nullptr, 18) + CEtherAddr::Print(&kMac, buf, 0), 1 + 1);
}

TEST(EtherAddr, OneDifferentBitMakesTheDifference) {
    tnet_ether_addr zero, broadcast, other;
    CEtherAddr::SetZero(&zero);
    CEtherAddr::SetBroadcast(&broadcast);
    EXPECT_TRUE(CEtherAddr::IsZero(&zero) && CEtherAddr::IsBroadcast(&broadcast));
    for (const tnet_ether_addr* addr : {&zero, &broadcast}) {
        for (int i = 0; i < kEtherAddrSize; ++i) {
            tnet_ether_addr_copy(addr, &other);  // source first
            EXPECT_TRUE(CEtherAddr::IsSame(&other, addr));
            other.bytes[i] ^= 1;
            EXPECT_FALSE(CEtherAddr::IsSame(&other, addr) || CEtherAddr::IsZero(&other) ||
                         CEtherAddr::IsBroadcast(&other));
        }
    }
}

TEST(EtherAddr, RandomIsUnicastAndLocallyAdministered) {
    for (unsigned seed = 0; seed < 16; ++seed) {
        srand(seed);
        uint64_t expected = (pvu_rand64() & ~uint64_t{1}) | 2;  // the lowest byte first
        srand(seed);
        CEtherAddr addr;
        EXPECT_EQ(addr.SetRandom(), 0);
        EXPECT_EQ(memcmp(addr.GetBytes(), &expected, 6), 0);
    }
}

TEST(IPv4Addr, TextParsesAndPrintsBack) {
    struct {
        const char* text;
        uint32_t ip;
        const char* printed;
    } const kTexts[] = {{"255.255.255.255", 0xFFFFFFFF, "255.255.255.255"},
                        {"010.001.000.09", 0x0A010009, "10.1.0.9"},
                        // An empty part counts as zero, a large one spills upwards.
                        {"1..2.3", 0x01000203, "1.0.2.3"},
                        {"1.2.3.", 0x01020300, "1.2.3.0"},
                        {"...", 0, "0.0.0.0"},
                        {"0.0.0.999", 999, "0.0.3.231"}};
    CIPv4Addr addr;
    for (const auto& t : kTexts) {
        EXPECT_EQ(addr.Set(t.text), 0) << t.text;
        EXPECT_EQ(addr.GetIP(), t.ip) << t.text;
        EXPECT_EQ(TextOf(addr), t.printed);
    }
    for (const char* text : {"", "10.0.0", "10.0.0.a", "10.0.0.1.", "10.0.0.1 ", "-1.0.0.1",
                             "0001.2.3.4", "1.2.3.12345678901234567890"}) {
        EXPECT_EQ(addr.Set(text), 1) << text;
    }
    EXPECT_EQ(addr.Set(static_cast<const char*>(nullptr)), 1);
    EXPECT_EQ(addr.GetIP(), 999u);
}

TEST(IPv4Addr, SplitAndFormatReportNull) {
    uint8_t o[4] = {};
    EXPECT_EQ(CIPv4Addr(1, 2, 3, 4).Split(&o[0], &o[1], &o[2], &o[3]), 0);
    EXPECT_EQ(WireBytes(o, o + 4), Hex("01020304"));
    EXPECT_EQ(CIPv4Addr::Split(1, &o[0], &o[1], nullptr, &o[3]), 1);
    char buf[6];
    EXPECT_EQ(CIPv4Addr::Format(0xFFFFFFFF, buf, sizeof buf), 0);
    EXPECT_STREQ(buf, "255.2");
    EXPECT_EQ(CIPv4Addr::Print(1, nullptr, 16) + CIPv4Addr::Format(1, buf, 0), 1 + 1);
}

TEST(IPv6Addr, PrintsEightFullGroups) {
    EXPECT_EQ(TextOf(CIPv6Addr()), "0000:0000:0000:0000:0000:0000:0000:0000");
    WireBytes bytes = Hex("20010db8 00000000 0000abcd ef012345");
    EXPECT_EQ(TextOf(CIPv6Addr(RecordAt<tsdw_ipv6_addr>(bytes))),
              "2001:0db8:0000:0000:0000:abcd:ef01:2345");
    CTString text;
    EXPECT_EQ(CIPv6Addr::Print(nullptr, text), 1);
}

TEST(EthIPv4Addr, OwnsAZeroRecordUntilAttached) {
    CEthIPv4Addr view;
    EXPECT_EQ(TextOf(view), "ip=0.0.0.0,mac=00:00:00:00:00:00");
    WireBytes bytes = Hex("0a010203 8e1045383228 abcd");
    EXPECT_EQ(view.Attach(RecordAt<tnet_ethipv4_addr>(bytes)), 1);
    EXPECT_EQ(view.Attach(nullptr), 0);
    EXPECT_EQ(CapturedOutput([&] { EXPECT_EQ(view.Print(), 33); }),
              "ip=10.1.2.3,mac=8E:10:45:38:32:28");
    view.SetIPv4Addr(0xC0A80001);
    view.SetEtherAddr(Hex("010203040506").data());
    EXPECT_EQ(bytes, Hex("c0a80001 010203040506 abcd"));
    view.SetEtherAddr(&kMac);
    EXPECT_EQ(bytes, Hex("c0a80001 8e1045383228 abcd"));
    view.Zero();
    EXPECT_EQ(bytes, WireBytes(12));
}

TEST(EthIPv4Addr, TheRecordFormOfIsSameIsNotTheRuleOfEquality) {
    WireBytes bytes = Hex("0a010203 8e1045383228 0000");
    CEthIPv4Addr view, other;
    view.Copy(RecordAt<tnet_ethipv4_addr>(bytes));
    for (int differs = 0; differs < 8; ++differs) {  // one bit each: address, MAC, closing bytes
        WireBytes changed = bytes;
        changed[3] ^= differs & 1;
        changed[9] ^= differs & 2;
        changed[11] ^= differs & 4;
        auto* record = RecordAt<tnet_ethipv4_addr>(changed);
        other.Copy(record);
        EXPECT_EQ(view == *record, differs == 0);
        EXPECT_EQ(view.IsSame(record), differs == 1 ? 1 : 0);
        EXPECT_EQ(view.IsSame(other), differs == 1 ? 1 : 0);
    }
    EXPECT_EQ(view.IsSame(view), 1);
    EXPECT_EQ(view.IsSame(static_cast<const tnet_ethipv4_addr*>(nullptr)), 0);
    EXPECT_EQ(view.IsSame(static_cast<const CEthIPv4Addr*>(nullptr)), 0);
    EXPECT_FALSE(CEthIPv4Addr::IsSame(nullptr, nullptr));
}

}  // namespace
