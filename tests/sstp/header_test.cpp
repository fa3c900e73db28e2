#include <gtest/gtest.h>

#include <map>
#include <string>

#include "sstp/sstp_pkt.h"
#include "tests/support/captured_output.h"
#include "tests/support/wire_bytes.h"

namespace {

constexpr char kReset[] = "00 00 0000 0010 00 00 00000000 00000000";
constexpr char kWire[] = "03 0a 0102 0304 05 06 0708090a fffffffe";

WireBytes BytesOf(const CTSstpMsgHdr& hdr) {
    const uint8_t* at = reinterpret_cast<const uint8_t*>(hdr.GetPtr());
    return {at, at + CTSstpMsgHdr::GetSstpHeaderSize()};
}

TEST(SstpHeader, FieldsAreBigEndianAtTheirOffsets) {
    CTSstpMsgHdr own;
    EXPECT_EQ(BytesOf(own), Hex(kReset));
    own.Fill(3, 10, 0x0102, 0x0304, 5, 6, 0x0708090a, 0xfffffffe);
    EXPECT_EQ(BytesOf(own), Hex(kWire));
    own.Reset();
    EXPECT_EQ(BytesOf(own), Hex(kReset));
}

TEST(SstpHeader, PrintsAllFields) {
    const std::string printed =
        "mt=cmm(3), st=router add(10), seq=258, len=772(5,6), src=117967114, dst=4294967294";
    // At an odd address, as a header behind stripped bytes may lie.
    WireBytes bytes = Hex(std::string("ff") + kWire);
    CTSstpMsgHdr hdr;
    ASSERT_TRUE(hdr.Attach(RecordAt<sstp_msg_hdr>(bytes, 1)));
    EXPECT_EQ(CapturedOutput([&] { hdr.Print(); }), printed + "\n");
    CTString text;
    EXPECT_EQ(CTSstpMsgHdr::Print(text, nullptr), 0);
    EXPECT_EQ(CTSstpMsgHdr::Print(text, hdr.GetPtr()), static_cast<int>(printed.size()));
    hdr.Print(text);
    EXPECT_EQ(text.c_str(), printed + printed);
}

TEST(SstpHeader, AttachedViewWritesInPlaceAndACopyHasBytesOfItsOwn) {
    WireBytes bytes = Hex(kWire);
    CTSstpMsgHdr view;
    EXPECT_FALSE(view.Attach(static_cast<void*>(nullptr)));
    EXPECT_EQ(view.GetLength(), 16);
    ASSERT_TRUE(view.Attach(bytes.data()));
    CTSstpMsgHdr copy(view);
    // Assignment goes into the bytes that the view shows.
    view = CTSstpMsgHdr();
    EXPECT_EQ(bytes, Hex(kReset));
    view = copy.GetPtr();
    view = static_cast<const sstp_msg_hdr*>(nullptr);
    view = view.GetPtr();
    EXPECT_EQ(bytes, Hex(kWire));
}

TEST(SstpHeader, NamesOfTypesAndSubTypes) {
    const char* types[] = {"undef", "inter cmm", "inter ack", "cmm", "cmm ack", "npkt", "npkt ack"};
    std::map<int, const char*> inter = {{2, "heart beat"}, {12, "p2p echo"}};
    std::map<int, const char*> commands = {
        {2, "echo"},        {3, "login"},         {4, "logout"},      {5, "dhcp"},
        {6, "subnet"},      {8, "p2p heartbeat"}, {10, "router add"}, {12, "router del"},
        {14, "router get"}, {16, "add device"},   {17, "del device"}, {18, "get device"},
    };
    CTSstpMsgHdr hdr;
    for (int type = 0; type < 256; ++type) {
        hdr.SetType(static_cast<uint8_t>(type));
        EXPECT_STREQ(hdr.GetTypeName(), type < 7 ? types[type] : "undef");
        for (int sub_type = 0; sub_type < 256; ++sub_type) {
            hdr.SetSubType(static_cast<uint8_t>(sub_type));
            const char* name = nullptr;
            if (type == 1 || type == 2) name = inter[sub_type];
            if (type == 3 || type == 4) name = commands[sub_type];
            if (type == 5 || type == 6) name = "npkt type";
            EXPECT_STREQ(hdr.GetSubTypeName(), name ? name : "undef") << type << "/" << sub_type;
        }
    }
}

}  // namespace
