#include <gtest/gtest.h>

#include <climits>

#include "inet/xmit_pkt.h"
#include "sstp/sstp_error.h"
#include "tests/sstp/message_support.h"

namespace {

constexpr char kWire[] = "05 00 0007 0014 02 01 00000001 00000002 aabbccdd";

TEST(SstpMessage, CreatedOneIsZeroedAndKeepsItsBuffer) {
    CTSstpMessage msg(4);
    EXPECT_EQ(msg.GetBufferSize(), 20);
    EXPECT_EQ(BytesOf(msg), Hex("0000 0000 0010 0000 00000000 00000000"));
    msg.SetDataLength(4);
    EXPECT_TRUE(msg.Create(100));
    EXPECT_EQ(msg.GetBufferSize(), 20);
    EXPECT_EQ(msg.GetLength(), 20);
    CTSstpMsgHdr hdr;
    hdr.SetSeq(5);
    msg.SetHeader(hdr);
    hdr.SetSeq(6);
    EXPECT_EQ(msg.GetSeq(), 5) << "a copy";
    EXPECT_EQ(msg.GetLength(), 16);
    msg.Destroy();
    EXPECT_EQ(msg.GetBufferPtr(), nullptr);
    EXPECT_EQ(msg.GetBufferSize(), 0);
    EXPECT_EQ(msg.GetHeader().GetSeq(), 0) << "of no freed bytes";
    EXPECT_FALSE(msg.Create(-1));
    EXPECT_FALSE(msg.Create(INT_MAX));
}

TEST(SstpMessage, AttachesToSixteenBytesOrMore) {
    WireBytes bytes = Hex(kWire);
    CTSstpMessage msg;
    EXPECT_FALSE(msg.Attach(bytes.data(), 15));
    EXPECT_FALSE(msg.Attach(nullptr, 20));
    ASSERT_TRUE(msg.Attach(bytes.data(), 16));
    EXPECT_EQ(msg.GetFrameTotal(), 2);
    msg.SetFrameIndex(9);
    EXPECT_EQ(bytes[7], 9);

    CTXmitPkt pkt(40);
    EXPECT_TRUE(msg.Attach(pkt));
    EXPECT_EQ(msg.GetBufferSize(), 40) << "the whole buffer, although it holds no data";
    EXPECT_EQ(msg.GetDataPtr(), pkt.GetSkb()->GetData() + 16);
    CTXmitPkt without_buffer;
    EXPECT_FALSE(msg.Attach(without_buffer));
}

TEST(SstpMessage, DestroyLeavesABorrowedPointer) {
    WireBytes bytes = Hex(kWire);
    CTSstpMessage borrowed;
    borrowed.Attach(bytes.data(), 20);
    borrowed.Destroy();
    EXPECT_EQ(borrowed.GetBufferPtr(), bytes.data());
    EXPECT_EQ(borrowed.GetBufferSize(), 20);

    // Borrowed over a buffer of its own: that one is freed, its capacity forgotten.
    CTSstpMessage both(4);
    both.Attach(bytes.data(), 20);
    both.Destroy();
    EXPECT_EQ(both.GetSeq(), 7);
    EXPECT_EQ(both.GetBodyLimit(), 0);
    EXPECT_EQ(both.Write("x", 1), 0);
}

TEST(SstpMessage, WriteLeavesOneByteFreeAndTheBodyEndsWithTheBuffer) {
    CTSstpMessage msg(4);
    EXPECT_EQ(msg.Write("abcd", 4), 0);
    EXPECT_EQ(msg.Write("ab", 2), 2);
    EXPECT_EQ(msg.Write("c", 1), 1);
    EXPECT_EQ(msg.Write("d", 1), 0);
    EXPECT_EQ(BytesOf(msg), Hex("0000 0000 0013 0000 00000000 00000000 616263"));
    // A length below the header's counts as the header's, one beyond the buffer leaves no room.
    msg.SetLength(3);
    EXPECT_EQ(msg.Write("z", 1), 1);
    EXPECT_EQ(BytesOf(msg), Hex("0000 0000 0011 0000 00000000 00000000 7a"));
    EXPECT_EQ(msg.Write("z", INT_MAX), 0);
    EXPECT_EQ(msg.Write("z", -1), 0);
    msg.SetLength(0xffff);
    EXPECT_EQ(msg.Write("z", 1), 0);
    EXPECT_EQ(msg.GetDataLength(), 0xffff - 16);
    EXPECT_EQ(msg.GetBodyLimit(), 4);
    msg.SetLength(3);
    EXPECT_EQ(msg.GetDataLength(), -13);
    EXPECT_EQ(msg.GetBodyLimit(), 0);
}

TEST(SstpMessage, CopyAnswersZeroForSuccess) {
    CTSstpMessage src(8);
    src.Write("body", 4);
    CTSstpMessage dst(4);
    EXPECT_EQ(dst.Copy(src), 0);
    EXPECT_EQ(BytesOf(dst), BytesOf(src));
    CTSstpMessage small(3);
    EXPECT_EQ(small.Copy(src), 1);
    EXPECT_EQ(small.GetLength(), 16);

    // A received length field may exceed what the source's buffer holds.
    ReceivedBytes liar(Hex("0300 0000 0030 0000 00000000 00000000 aabb"), 18);
    CTSstpMessage received;
    received.Attach(liar.Skb());
    CTSstpMessage big(100);
    EXPECT_EQ(big.Copy(received), 0);
    EXPECT_EQ(big.GetDataPtr()[1], 0xbb);
    EXPECT_EQ(big.GetDataPtr()[2], 0);
}

TEST(SstpMessage, ReplyMatchesByTypeAddresseeAndSeq) {
    CTSstpMessage request(0);
    request.GetHeader().Fill(3, 4, 77, 16, 0, 0, 0x501, kSstpCentralRouter);
    CTSstpMessage reply(0);
    auto matches = [&](uint8_t type, uint8_t sub_type, uint16_t seq, uint32_t dst) {
        reply.GetHeader().Fill(type, sub_type, seq, 16, 0, 0, 9, dst);
        return reply.IsAck(request);
    };
    EXPECT_TRUE(matches(4, 4, 77, 0x501));
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
    const std::string why = ": Assertion `\\(\\(m_ptr != __null\\)\\)' failed";
    const std::string in_file = "sstp/sstp_pkt:[0-9]+: ";
    EXPECT_DEATH(empty.GetDataLength(), in_file + "int CTSstpMessage::GetDataLength\\(\\)" + why);
    EXPECT_DEATH(empty.SetDataLength(1), in_file + "void CTSstpMessage::SetLength\\(.*\\)" + why);
    // The source address alone is not checked.
    EXPECT_EQ(empty.GetSrc(), 0u);
}

TEST(SstpError, TextsAreNotLookedUp) {
    CTSstpError::SetLastError(kSstpErrSubnetPassword);
    EXPECT_EQ(CTSstpError::GetLastError(), 1002);
    EXPECT_STREQ(CTSstpError::GetLastErrorMessage(), "unkonw error");
    std::string printed = CapturedOutput(
        [] { EXPECT_STREQ(CTSstpError::GetLastErrorMessage(1000), "unkonw error"); });
    EXPECT_EQ(printed, "GetLastErrorMessage map: 96, err: 16, count: 6\n");
}

}  // namespace
