#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

#include "inet/tnet_frame.h"
#include "inet/tnet_npkt.h"
#include "inet/tnet_skb_pool.h"
#include "inet/tnet_writer.h"
#include "lab/wire/wire_bytes.h"
#include "tests/support/captured_output.h"

namespace {

std::string Held(const CTSkBuffer& skb) {
    return std::string(reinterpret_cast<const char*>(skb.GetData()),
                       static_cast<size_t>(skb.GetDataLength()));
}

TEST(SkBuffer, HoldsItsCapacityBetweenTheReserves) {
    CTSkBuffer skb;
    EXPECT_EQ(skb.Create(0), -EINVAL);
    ASSERT_EQ(skb.Create(1500), 0);
    EXPECT_EQ(skb.GetFreeSize(), 1500);
    EXPECT_EQ(skb.HeadRoom(), 32);
    EXPECT_EQ(skb.PutData(std::string(1500, 'p').data(), 1500), 0);
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
    EXPECT_EQ(skb.PushData("x", 0), -EINVAL);
    EXPECT_EQ(skb.Push(29), -ENOMEM);
    EXPECT_EQ(skb.Push(28), 0);
    EXPECT_EQ(skb.Pull(32 + 3), 0);
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
    CTSkBuffer skb(4), larger(8);
    skb.Copy("abcd", 4);
    skb.Pull(1);
    skb.Copy(skb);
    skb.Copy(static_cast<CTSkBuffer*>(nullptr));
    EXPECT_EQ(Held(skb), "bcd");
    EXPECT_EQ(skb.HeadRoom(), 33);
    larger.PutData("12345678", 8);
    skb.Copy(larger);
    EXPECT_EQ(Held(skb), "");
    skb.Copy("ab", 2);
    skb.Copy("ab", 0);
    EXPECT_EQ(Held(skb), "");
}

TEST(SkBuffer, WithoutItsBlockItKeepsTheSizesAndTakesNothing) {
    CTSkBuffer skb(100);
    skb.PutData("abc", 3);
    skb.Destroy();
    EXPECT_EQ(skb.GetData(), nullptr);
    EXPECT_EQ(skb.GetDataLength(), 3);
    EXPECT_EQ(skb.GetBufferSize(), 164);  // the reserves are cleared
    EXPECT_EQ(skb.TailRoom(), 164);
    skb.Reset();
    EXPECT_EQ(skb.GetDataLength(), 0);
    EXPECT_EQ(skb.Put(1), -ENOMEM);
    EXPECT_EQ(skb.Push(1), -ENOMEM);
}

TEST(SkBuffPool, KeepsOneMoreThanItsLimitAndRecyclesAsFreed) {
    CTSkBuffPool pool(100, 2);
    std::array<CTSkBuffer*, 4> taken;
    for (const char* held : {"", "kept"}) {
        std::ranges::generate(taken, [&pool] { return pool.Alloc(); });
        for (CTSkBuffer* skb : taken) {
            EXPECT_EQ(Held(*skb), skb == taken[3] ? "" : held);  // the fourth was destroyed
            EXPECT_EQ(skb->GetBufferSize(), 100);
            skb->Copy("kept", 4);
            pool.Free(skb);
        }
    }
    pool.Free(nullptr);
    EXPECT_EQ(CapturedOutput(test_skb_pool), "get skb success\n");
}

TEST(BufferWriter, WritesHostOrderValuesOneAfterAnother) {
    WireBytes memory(10);
    char text[] = "xyz";
    CTBufferWriter writer;
    EXPECT_EQ(writer.Attach(nullptr, 4) + writer.Attach(memory.data(), 0), 0);
    ASSERT_EQ(writer.Attach(memory.data(), 10), 1);
    EXPECT_EQ(writer.Write(uint8_t{0xA1}), 1);
    EXPECT_EQ(writer.Write(uint16_t{0xB2C3}), 2);
    EXPECT_EQ(writer.Write(0xD4E5F607u), 4);
    EXPECT_EQ(writer.Write(nullptr, 3) + writer.Write(text, 0), 0);
    EXPECT_EQ(writer.Write(text, 3), 3);
    EXPECT_EQ(memory, Hex("a1 c3b2 07f6e5d4 78797a"));
}

TEST(BufferWriterDeath, WritingUnattachedNamesTheOldLines) {
    CTBufferWriter writer;
    EXPECT_DEATH(writer.Write(uint8_t{1}),
                 "inet/tnet_npkt:43: int CTBufferWriter::Write\\(uint8_t\\): "
                 "Assertion `\\(\\(m_ptr != __null\\)\\)' failed");
    EXPECT_DEATH(writer.Write(1u), "inet/tnet_npkt:61: int CTBufferWriter::Write\\(uint32_t\\)");
    EXPECT_DEATH(writer.Write(nullptr, 1),
                 "inet/tnet_npkt:71: int CTBufferWriter::Write\\(void ?\\*, int\\)");
}

TEST(EtherFrame, ClassifiesVerifiesAndPrintsWhatItHolds) {
    struct {
        size_t len;
        const char* from_type_on;
        int verified;
        int proto;
        const char* shown;  // behind the Ethernet header
    } const kFrames[] = {{14, "0806", 0, 0, ""},
                         {15, "0800", 0, 0, ""},
                         {74, "0800 4500 003c 00000000 4001", 1, 1, "   IPv4 header:"},
                         {73, "0800 4500 003c 00000000 4006", 0, 6, "   IPv4 header:"},
                         {74, "0800 4500 0014 00000000 4011", 1, 17, "   IPv4 header:"},  // padded
                         {73, "0800 4f00 003c 00000000 4011", 0, 17, ""},  // cut within its options
                         // Cut within the header, behind and in front of either field.
                         {33, "0800 4500 0013 00000000 4011", 1, 17, ""},
                         {24, "0800 4500 000a 00000000 4011", 1, 17, ""},
                         {24, "0800 4500 000b 00000000 4011", 0, 17, ""},
                         {23, "0800 4500 0004 00000000 40", 1, 0, ""},
                         {18, "0800 4500 0004", 1, 0, ""},
                         {18, "0800 4500 0005", 0, 0, ""},
                         {17, "0800 4500 00", 0, 0, ""},
                         {42, "0806", 1, 0, "   ARP header:"},
                         {41, "0806", 0, 0, ""},
                         {59, "86dd 60000000 0005 1140", 1, 0, ""},
                         {58, "86dd 60000000 0005 1140", 0, 0, ""},
                         {19, "86dd 6000000000", 0, 0, ""},
                         {80, "86dd 60000000 ffff 1140", 0, 0, ""},
                         {60, "1234", 0, 0, ""}};
    for (const auto& f : kFrames) {
        SCOPED_TRACE(std::to_string(f.len) + " " + f.from_type_on);
        // A block of just that size: the sanitizer sees every read past its end.
        WireBytes bytes(f.len);
        WireBytes start = Hex("000000000000 000000000000" + std::string(f.from_type_on));
        std::copy_n(start.begin(), std::min(f.len, start.size()), bytes.begin());
        CTEtherFrame frame;
        EXPECT_EQ(frame.Attach(bytes.data(), static_cast<int>(f.len)), f.len > 14 ? 1 : 0);
        EXPECT_EQ(frame.Verify(), f.verified);
        EXPECT_EQ(frame.GetIPv4Proto(), f.proto);
        EXPECT_EQ(frame.IsIcmp() + 6 * frame.IsTcp() + 17 * frame.IsUdp(), f.proto);
        int type = 0x0800 * frame.IsIPv4() + 0x0806 * frame.IsArp() + 0x86DD * frame.IsIPv6();
        EXPECT_EQ(type, frame.GetEtherType() == 0x1234 ? 0 : frame.GetEtherType());
        std::string printed = CapturedOutput([&] { frame.Print(); });
        size_t behind = printed.find('\n', printed.find("Type: ")) + 1;
        EXPECT_EQ(printed.substr(behind, printed.find('\n', behind) - behind), f.shown);
    }
}

TEST(IPv4Frame, NeedsAWholeHeaderAndPrintsVersion4Only) {
    CTSkBuffer skb(64);
    skb.PutData(Hex("4500 0014 0000 0000 4001 0000 00000000 00000000").data(), 20);
    CTIPv4Frame frame;
    EXPECT_EQ(frame.Attach(skb.GetData(), 19), 0);
    EXPECT_EQ(CapturedOutput([&] { frame.Print(); }), "");
    ASSERT_EQ(frame.Attach(skb), 1);
    EXPECT_EQ(frame.IsIcmp(), 1);
    EXPECT_EQ(CapturedOutput([&] { frame.Print(); }).find("   IPv4 header:\n"), 0u);
    for (uint8_t first : Hex("46 65")) {  // claims options that are not there; another version
        skb.GetData()[0] = first;
        EXPECT_EQ(CapturedOutput([&] { frame.Print(); }), "");
    }
    EXPECT_EQ(frame.GetIPv4Proto(), 1);
}

}  // namespace
