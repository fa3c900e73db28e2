// The header, the message that it starts, and the last error.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <map>
#include <tuple>

#include "lab/wire/wire_bytes.h"
#include "sstp/sstp_error.h"
#include "sstp/sstp_message.h"
#include "tests/support/captured_output.h"

namespace {

constexpr char kReset[] = "0000 0000 0010 0000 00000000 00000000";
constexpr char kHeader[] = "030a 0102 0304 0506 0708090a fffffffe";
constexpr char kWire[] = "0500 0007 0014 0201 00000001 00000002 aabbccdd";

WireBytes BytesOf(CTSstpMessage& msg) {
    return {msg.GetBufferPtr(), msg.GetBufferPtr() + msg.GetMessageLength()};
}

TEST(SstpHeader, FieldsAreBigEndianAtTheirOffsets) {
    CTSstpMessage msg(0x304 - 16);
    EXPECT_EQ(BytesOf(msg), Hex(kReset));
    msg.SetType(3);
    msg.SetSubType(10);
    msg.SetSeq(0x0102);
    msg.SetLength(0x0304);
    msg.SetFrameTotal(5);
    msg.SetFrameIndex(6);
    msg.SetSrc(0x0708090a);
    msg.SetDst(0xfffffffe);
    EXPECT_EQ(WireBytes(msg.GetBufferPtr(), msg.GetDataPtr()), Hex(kHeader));
    EXPECT_EQ(std::tuple(msg.GetType(), msg.GetSubType(), msg.GetSeq(), msg.GetLength(),
                         msg.GetFrameTotal(), msg.GetFrameIndex(), msg.GetSrc(), msg.GetDst()),
              std::tuple(3, 10, 0x0102, 0x0304, 5, 6, 0x0708090au, 0xfffffffeu));
    msg.Reset();
    EXPECT_EQ(BytesOf(msg), Hex(kReset));
}

TEST(SstpHeader, PrintsAllFields) {
    const std::string printed =
        "mt=cmm(3), st=router add(10), seq=258, len=772(5,6), src=117967114, dst=4294967294";
    // At an odd address, as a header behind stripped bytes may lie.
    WireBytes bytes(17);
    CTSstpMsgHdr hdr;
    ASSERT_TRUE(hdr.Attach(RecordAt<sstp_msg_hdr>(bytes, 1)));
    hdr.Fill(3, 10, 0x0102, 0x0304, 5, 6, 0x0708090a, 0xfffffffe);
    EXPECT_EQ(CapturedOutput([&] { hdr.Print(); }), printed + "\n");
    CTString text;
    EXPECT_EQ(CTSstpMsgHdr::Print(text, nullptr), 0);
    EXPECT_EQ(CTSstpMsgHdr::Print(text, hdr.GetPtr()), static_cast<int>(printed.size()));
    CTSstpMessage msg(0);
    msg.SetHeader(hdr);
    EXPECT_EQ(msg.Print(text), static_cast<int>(printed.size()));
    EXPECT_EQ(text.c_str(), printed + printed);
}

TEST(SstpHeader, AttachedViewWritesInPlaceAndACopyHasBytesOfItsOwn) {
    WireBytes bytes = Hex(kHeader);
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
    EXPECT_EQ(bytes, Hex(kHeader));
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

TEST(SstpMessage, CreatedOneIsZeroedAndKeepsItsBuffer) {
    CTSstpMessage msg(4);
    msg.SetDataLength(4);
    EXPECT_TRUE(msg.Create(100));
    EXPECT_EQ(msg.GetBufferSize(), 20);
    EXPECT_EQ(BytesOf(msg), Hex("0000 0000 0014 0000 00000000 00000000 00000000"));
    msg.SetSeq(5);
    msg.Destroy();
    EXPECT_EQ(msg.GetBufferPtr(), nullptr);
    EXPECT_EQ(msg.GetBufferSize(), 0);
    EXPECT_EQ(msg.GetHeader().GetSeq(), 0) << "of no freed bytes";
    EXPECT_FALSE(msg.Create(-1));
    EXPECT_FALSE(msg.Create(INT_MAX));
}

TEST(SstpMessage, BorrowsSixteenBytesOrMoreAndNeverFreesThem) {
    WireBytes bytes = Hex(kWire);
    CTSstpMessage msg(4);
    EXPECT_FALSE(msg.Attach(bytes.data(), 15));
    EXPECT_FALSE(msg.Attach(nullptr, 20));
    ASSERT_TRUE(msg.Attach(bytes.data(), 16));
    msg.SetFrameIndex(9);
    EXPECT_EQ(bytes[7], 9);
    // Its own buffer is freed, the borrowed bytes stay attached with their capacity forgotten.
    msg.Destroy();
    EXPECT_EQ(msg.GetSeq(), 7);
    EXPECT_EQ(msg.GetBodyLimit(), 0);
    EXPECT_EQ(msg.Write("x", 1), 0);
    ASSERT_TRUE(msg.Attach(bytes.data(), 20));
    msg.Destroy();
    EXPECT_EQ(msg.GetBufferPtr(), bytes.data());
    EXPECT_EQ(msg.GetBufferSize(), 20);

    CTXmitPkt pkt(40);
    EXPECT_TRUE(msg.Attach(pkt));
    EXPECT_EQ(msg.GetBufferSize(), 40) << "the whole buffer, although it holds no data";
    EXPECT_EQ(msg.GetDataPtr(), pkt.GetSkb()->GetData() + 16);
    CTXmitPkt without_buffer;
    EXPECT_FALSE(msg.Attach(without_buffer));
    EXPECT_FALSE(msg.Attach(static_cast<CTXmitPkt*>(nullptr)));
    // Behind pulled bytes, no further than the block.
    pkt.SkbPut(40);
    pkt.GetSkb()->Pull(40);
    EXPECT_TRUE(msg.Attach(pkt));
    EXPECT_EQ(msg.GetBufferSize(), 32);
}

TEST(SstpMessage, WriteLeavesOneByteFreeAndTheBodyEndsWithTheBuffer) {
    const char text[] = "abcd";
    CTSstpMessage msg(4);
    EXPECT_EQ(msg.Write(text, 4), 0);
    EXPECT_EQ(msg.Write(text, 2), 2);
    EXPECT_EQ(msg.Write(text + 2, 1), 1);
    EXPECT_EQ(msg.Write(text + 3, 1), 0);
    EXPECT_EQ(BytesOf(msg), Hex("0000 0000 0013 0000 00000000 00000000 616263"));
    // A length below the header's counts as the header's, one beyond the buffer leaves no room.
    msg.SetLength(3);
    EXPECT_EQ(msg.GetDataLength(), -13);
    EXPECT_EQ(msg.GetBodyLimit(), 0);
    EXPECT_EQ(msg.Write(text + 3, 1), 1);
    EXPECT_EQ(BytesOf(msg), Hex("0000 0000 0011 0000 00000000 00000000 64"));
    EXPECT_EQ(msg.Write(text, INT_MAX), 0);
    EXPECT_EQ(msg.Write(text, -1), 0);
    EXPECT_EQ(msg.Write(nullptr, 1), 0);
    msg.SetLength(0xffff);
    EXPECT_EQ(msg.Write(text, 1), 0);
    EXPECT_EQ(msg.GetBodyLimit(), 4);
}

TEST(SstpMessage, CopyAnswersZeroForSuccess) {
    WireBytes bytes = Hex(kWire);
    CTSstpMessage src;
    src.Attach(bytes.data(), 20);
    CTSstpMessage dst(4);
    CTSstpMessage small(3);
    EXPECT_EQ(dst.Copy(src), 0);
    EXPECT_EQ(BytesOf(dst), bytes);
    EXPECT_EQ(small.Copy(src), 1);
    EXPECT_EQ(BytesOf(small), Hex(kReset));
    // A received length field may exceed what the source's buffer holds.
    src.SetLength(24);
    CTSstpMessage big(8);
    EXPECT_EQ(big.Copy(src), 0);
    bytes.resize(24);
    EXPECT_EQ(BytesOf(big), bytes);
}

TEST(SstpMessage, ReplyMatchesByTypeAddresseeAndSeq) {
    CTSstpMessage request(0);
    request.GetHeader().Fill(3, 4, 77, 16, 0, 0, 0x501, kSstpCentralRouter);
    CTSstpMessage reply(0);
    auto matches = [&](uint8_t type, uint8_t sub_type, uint16_t seq, uint32_t dst) {
        reply.GetHeader().Fill(type, sub_type, seq, 16, 0, 0, 9, dst);
        return reply.IsAck(request);
    };
    EXPECT_TRUE(matches(4, 9, 77, 0x501)) << "the sub type does not count";
    EXPECT_FALSE(matches(3, 4, 77, 0x501));
    EXPECT_FALSE(matches(4, 4, 78, 0x501));
    EXPECT_FALSE(matches(4, 4, 77, 0x502));
    request.SetType(255);
    EXPECT_FALSE(matches(0, 4, 77, 0x501)) << "there is no type above 255";
    for (int type = 0; type < 8; ++type) {
        reply.SetType(static_cast<uint8_t>(type));
        EXPECT_EQ(reply.IsAck(), type % 2 == 0);
    }
}

TEST(SstpMessageDeathTest, UseOfAnEmptyMessageAbortsNamingTheOperation) {
    CTSstpMessage empty;
    CTSstpMessage filled(8);
    CTString text;
    const std::map<std::string, std::function<void()>> operations = {
        {"int CTSstpMessage::GetDataLength()", [&] { empty.GetDataLength(); }},
        {"int CTSstpMessage::GetMessageLength()", [&] { filled.Copy(empty); }},
        {"int CTSstpMessage::Copy(CTSstpMessage&)", [&] { empty.Copy(filled); }},
        {"int CTSstpMessage::Write(void*, int)", [&] { empty.Write("a", 1); }},
        {"int CTSstpMessage::Print(CTString&)", [&] { empty.Print(text); }},
        {"bool CTSstpMessage::IsAck()", [&] { empty.IsAck(); }},
        {"void CTSstpMessage::SetHeader(CTSstpMsgHdr&)",
         [&] { empty.SetHeader(filled.GetHeader()); }},
        {"void CTSstpMessage::SetLength(uint16_t)", [&] { empty.SetDataLength(1); }},
        {"void CTSstpMessage::Reset()", [&] { empty.Reset(); }},
    };
    for (const auto& [signature, operation] : operations) {
        EXPECT_DEATH(operation(),
                     testing::HasSubstr(signature + ": Assertion `((m_ptr != __null))' failed"));
    }
    // The source address alone is not checked.
    EXPECT_EQ(empty.GetSrc(), 0u);
}

TEST(SstpError, TextsAreNotLookedUp) {
    EXPECT_STREQ(CTSstpError::GetLastErrorMessage(), "unkonw error");
    EXPECT_EQ(CapturedOutput(
                  [] { EXPECT_STREQ(CTSstpError::GetLastErrorMessage(1000), "unkonw error"); }),
              "GetLastErrorMessage map: 96, err: 16, count: 6\n");
}

}  // namespace
