#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "inet/tnet_frame.h"
#include "inet/tnet_npkt.h"
#include "inet/tnet_skb_pool.h"
#include "inet/tnet_writer.h"
#include "tests/support/captured_output.h"

namespace {

std::string Held(const CTSkBuffer& skb) {
    return std::string(reinterpret_cast<const char*>(skb.GetData()),
                       static_cast<size_t>(skb.GetDataLength()));
}

TEST(SkBuffer, HoldsItsCapacityBetweenTheReserves) {
    CTSkBuffer skb;
    EXPECT_EQ(skb.Create(0), -EINVAL);
    EXPECT_EQ(skb.Create(-5), -EINVAL);
    EXPECT_EQ(skb.PutData("x", 1), -ENOMEM);
    ASSERT_EQ(skb.Create(1500), 0);
    EXPECT_EQ(skb.GetBufferSize(), 1500);
    EXPECT_EQ(skb.GetFreeSize(), 1500);
    EXPECT_EQ(skb.HeadRoom(), 32);
    EXPECT_EQ(skb.TailRoom(), 32);
    std::string payload(1500, 'p');
    EXPECT_EQ(skb.PutData(payload.data(), 1500), 0);
    EXPECT_EQ(skb.Put(1), -ENOMEM);
    EXPECT_EQ(skb.PutData("x", 1), -ENOMEM);
    EXPECT_EQ(skb.TailRoom(), 32);
    EXPECT_EQ(skb.GetFreeSize(), 0);
}

TEST(SkBuffer, HeadersGoInFrontAndComeOffInPlace) {
    CTSkBuffer skb(100);
    skb.PutData("payload", 7);
    EXPECT_EQ(skb.PushData("head", 4), 0);
    EXPECT_EQ(Held(skb), "headpayload");
    EXPECT_EQ(skb.Push(29), -ENOMEM);
    EXPECT_EQ(skb.Push(28), 0);
    EXPECT_EQ(skb.HeadRoom(), 0);
    EXPECT_EQ(skb.Pull(32), 0);
    EXPECT_EQ(Held(skb), "payload");
    EXPECT_EQ(skb.Pull(3), 0);
    EXPECT_EQ(Held(skb), "load");
    EXPECT_EQ(skb.DropTail(1), 0);
    EXPECT_EQ(Held(skb), "loa");
    // The same fault, two results.
    EXPECT_EQ(skb.Pull(4), -EINVAL);
    EXPECT_EQ(skb.DropTail(4), -ENOMEM);
    // What was pulled widens the head room.
    EXPECT_EQ(skb.Push(36), -ENOMEM);
    EXPECT_EQ(skb.Push(35), 0);
}

TEST(SkBuffer, CopyReplacesAndEmptiesOnFailure) {
    CTSkBuffer skb(4);
    skb.Copy("abcd", 4);
    EXPECT_EQ(Held(skb), "abcd");
    skb.Copy(skb);
    EXPECT_EQ(Held(skb), "abcd");
    CTSkBuffer larger(8);
    larger.PutData("12345678", 8);
    skb.Copy(larger);
    EXPECT_EQ(skb.GetDataLength(), 0);
    skb.Copy("ab", 2);
    skb.Copy("ab", 0);
    EXPECT_EQ(skb.GetDataLength(), 0);
    skb.Destroy();
    EXPECT_EQ(skb.GetData(), nullptr);
    skb.Reset();
    EXPECT_EQ(skb.Put(1), -ENOMEM);
}

TEST(SkBuffPool, KeepsOneMoreThanItsLimitAndRecyclesAsFreed) {
    CTSkBuffPool pool(100, 2);
    CTSkBuffer* taken[4];
    for (CTSkBuffer*& skb : taken)
        skb = pool.Alloc();
    taken[0]->PutData("kept", 4);
    for (CTSkBuffer* skb : taken)
        pool.Free(skb);  // the fourth is destroyed
    pool.Free(nullptr);
    CTSkBuffer* again = pool.Alloc();
    EXPECT_EQ(again, taken[0]);
    EXPECT_EQ(Held(*again), "kept");
    pool.Free(again);
    EXPECT_EQ(CapturedOutput(test_skb_pool), "get skb success\n");
}

TEST(BufferWriter, WritesHostOrderValuesOneAfterAnother) {
    uint8_t memory[16] = {};
    CTBufferWriter writer;
    EXPECT_EQ(writer.Attach(nullptr, 4), 0);
    EXPECT_EQ(writer.Attach(memory, 0), 0);
    ASSERT_EQ(writer.Attach(memory, sizeof memory), 1);
    EXPECT_EQ(writer.Write(static_cast<uint8_t>(0xA1)), 1);
    EXPECT_EQ(writer.Write(static_cast<uint16_t>(0xB2C3)), 2);
    EXPECT_EQ(writer.Write(static_cast<uint32_t>(0xD4E5F607)), 4);
    EXPECT_EQ(writer.Write("xyz", 3), 3);
    EXPECT_EQ(writer.Write(nullptr, 3), 0);
    EXPECT_EQ(writer.Write("xyz", 0), 0);
    uint16_t word;
    uint32_t longer;
    memcpy(&word, memory + 1, sizeof word);
    memcpy(&longer, memory + 3, sizeof longer);
    EXPECT_EQ(memory[0], 0xA1);
    EXPECT_EQ(word, 0xB2C3);
    EXPECT_EQ(longer, 0xD4E5F607);
    EXPECT_EQ(memcmp(memory + 7, "xyz", 3), 0);
}

TEST(BufferWriterDeath, WritingUnattachedNamesTheOldLines) {
    CTBufferWriter writer;
    EXPECT_DEATH(writer.Write(static_cast<uint8_t>(1)),
                 "inet/tnet_npkt:43: int CTBufferWriter::Write\\(uint8_t\\): Assertion "
                 "`\\(\\(m_ptr != __null\\)\\)' failed");
    EXPECT_DEATH(writer.Write(static_cast<uint32_t>(1)), "inet/tnet_npkt:61: ");
    EXPECT_DEATH(writer.Write("x", 1), "inet/tnet_npkt:71: ");
}

// A frame of len bytes, exactly as long as its heap block, with an EtherType and a first payload
// byte and 16-bit word at payload offset 2 and 4.
struct TestFrame {
    TestFrame(size_t len, uint16_t type, uint16_t word2 = 0, uint16_t word4 = 0)
        : bytes(new uint8_t[len]()), length(static_cast<int>(len)) {
        bytes[12] = static_cast<uint8_t>(type >> 8);
        bytes[13] = static_cast<uint8_t>(type);
        uint8_t payload[] = {0x45,
                             0,
                             static_cast<uint8_t>(word2 >> 8),
                             static_cast<uint8_t>(word2),
                             static_cast<uint8_t>(word4 >> 8),
                             static_cast<uint8_t>(word4),
                             0,
                             0,
                             64,
                             17};
        if (len > 14) memcpy(&bytes[14], payload, std::min(len - 14, sizeof payload));
        EXPECT_EQ(frame.Attach(bytes.get(), length), len > 14 ? 1 : 0);
    }
    std::unique_ptr<uint8_t[]> bytes;
    int length;
    CTEtherFrame frame;
};

TEST(EtherFrame, ClassifiesAndVerifiesByAnnouncedLength) {
    EXPECT_EQ(CTEtherFrame().Verify(), 0);
    TestFrame whole(14 + 60, 0x0800, 60);
    EXPECT_EQ(whole.frame.IsIPv4(), 1);
    EXPECT_EQ(whole.frame.IsArp(), 0);
    EXPECT_EQ(whole.frame.IsUdp(), 1);
    EXPECT_EQ(whole.frame.IsTcp(), 0);
    EXPECT_EQ(whole.frame.Verify(), 1);
    EXPECT_EQ(TestFrame(14 + 60, 0x0800, 61).frame.Verify(), 0);
    EXPECT_EQ(TestFrame(14 + 60, 0x0800, 40).frame.Verify(), 1);  // padded
    EXPECT_EQ(TestFrame(41, 0x0806).frame.Verify(), 0);
    EXPECT_EQ(TestFrame(42, 0x0806).frame.Verify(), 1);
    EXPECT_EQ(TestFrame(14 + 45, 0x86DD, 0, 5).frame.Verify(), 1);
    EXPECT_EQ(TestFrame(14 + 44, 0x86DD, 0, 5).frame.Verify(), 0);
    EXPECT_EQ(TestFrame(60, 0x1234).frame.Verify(), 0);
    EXPECT_EQ(TestFrame(60, 0x1234).frame.GetIPv4Proto(), 0);
}

TEST(EtherFrame, CutFramesAreNeverReadPastTheirEnd) {
    for (int type : {0x0800, 0x0806, 0x86DD}) {
        for (size_t len = 14; len < 14 + 60; ++len) {
            TestFrame cut(len, static_cast<uint16_t>(type), 60, 20);
            cut.bytes[len - 1] = 0x4F;  // the header may claim 60 bytes of options
            cut.frame.Verify();
            cut.frame.IsIcmp();
            CapturedOutput([&] { CTEtherFrame::Print(cut.bytes.get(), cut.length); });
        }
    }
}

TEST(IPv4Frame, NeedsAWholeHeaderAndPrintsVersion4Only) {
    uint8_t packet[20] = {0x45, 0, 0, 20, 0, 0, 0, 0, 64, 1};
    CTIPv4Frame frame;
    EXPECT_EQ(frame.Attach(packet, 19), 0);
    EXPECT_EQ(CapturedOutput([&] { frame.Print(); }), "");
    ASSERT_EQ(frame.Attach(packet, 20), 1);
    EXPECT_EQ(frame.IsIcmp(), 1);
    EXPECT_NE(CapturedOutput([&] { frame.Print(); }), "");
    packet[0] = 0x46;  // claims options that are not there
    EXPECT_EQ(CapturedOutput([&] { frame.Print(); }), "");
    packet[0] = 0x65;
    EXPECT_EQ(CapturedOutput([&] { frame.Print(); }), "");
    EXPECT_EQ(frame.GetIPv4Proto(), 1);
}

}  // namespace
