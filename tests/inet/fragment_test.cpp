#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <random>
#include <string>

#include "inet/tnet_frag_linker.h"
#include "inet/tnet_merger.h"
#include "inet/tnet_splitter.h"
#include "inet/xmit_pkt_pool.h"
#include "tests/support/moved_clock.h"
#include "tests/support/wire_bytes.h"

namespace {

constexpr int kMtu = 1400;
constexpr uint32_t kSrc = 0x00000102;
constexpr uint16_t kSeq = 77;

std::string Bytes(CTXmitPkt& pkt) {
    const uint8_t* data = pkt.GetSkb()->GetData();
    return {data, data + pkt.GetSkb()->GetDataLength()};
}

std::string HexText(const char* digits) {
    WireBytes bytes = Hex(digits);
    return {bytes.begin(), bytes.end()};
}

class Fragments : public testing::Test {
  protected:
    // A network packet message of that many bytes, header included.
    CTXmitPkt* Message(int length, uint32_t src = kSrc, uint16_t seq = kSeq) {
        CTSstpMsgHdr header;
        header.Fill(kSstpNetPacket, 0, seq, static_cast<uint16_t>(length), 0, 0, src, 9);
        CTXmitPkt* pkt = pool.Alloc();
        pkt->Write(header.GetPtr(), kSstpHeaderSize);
        std::mt19937 random(static_cast<unsigned>(length));
        while (pkt->GetSkb()->GetDataLength() < length) {
            uint8_t byte = static_cast<uint8_t>(random());
            pkt->Write(&byte, 1);
        }
        return pkt;
    }
    // Splits a message of that many bytes; keeps what it was.
    void SplitMessage(int length) {
        splitter.SetMtu(kMtu);
        for (CTXmitPkt* pkt : {first, second})
            if (pkt) pkt->Release();
        first = Message(length);
        first->SetSendAddr(CTSockAddr("10.0.0.8", 1922));
        second = pool.Alloc();
        second->Write("old", 3);
        whole = Bytes(*first);
        EXPECT_EQ(splitter.Split(*first, *second), 0);
    }
    void SetLength(CTXmitPkt& pkt, int length) {
        CTSstpMessage view;
        view.Attach(pkt);
        view.SetLength(static_cast<uint16_t>(length));
    }
    void TearDown() override {
        if (first) first->Release();
        if (second) second->Release();
        store.Release();
        EXPECT_EQ(pool.GetLoans(), 0);
    }

    CTXmitPktPool pool{2048, 16};
    CTNetPktSplitter splitter;
    CTNetPktMerger merger;
    CTNetPktFragLinker store;
    CTXmitPkt* first = nullptr;
    CTXmitPkt* second = nullptr;
    std::string whole;
};

TEST_F(Fragments, OnlyWhatIsLongerThanTheMtuIsToBeSplit) {
    first = Message(1432);
    second = Message(1433);
    EXPECT_EQ(splitter.IsSingle(*first), 0);
    EXPECT_EQ(splitter.IsSingle(*second), 1);
    splitter.SetMtu(1433);
    EXPECT_EQ(splitter.IsSingle(*second), 0);
}

TEST_F(Fragments, SplitMovesTheRestBehindAHeaderOfItsOwn) {
    struct {
        int length;
        const char* second_header;
    } const kSplits[] = {{1400, "05 00 004d 0010 02 01 00000102 00000009"},  // a header, no data
                         {1401, "05 00 004d 0011 02 01 00000102 00000009"},
                         {2048, "05 00 004d 0298 02 01 00000102 00000009"}};
    for (const auto& s : kSplits) {
        SplitMessage(s.length);
        EXPECT_EQ(Bytes(*first),
                  HexText("05 00 004d 0578 02 00 00000102 00000009") + whole.substr(16, kMtu - 16));
        EXPECT_EQ(Bytes(*second), HexText(s.second_header) + whole.substr(kMtu));
        EXPECT_EQ(*second->GetSendAddr(), CTSockAddr("10.0.0.8", 1922));
        EXPECT_EQ(second->GetStatus(), kXmitSecondFilled);
    }
}

TEST_F(Fragments, SplitLeavesShortAndLyingMessagesAlone) {
    SplitMessage(kMtu - 1);
    EXPECT_EQ(Bytes(*first), whole);
    SetLength(*first, 2000);  // more than the buffer holds
    splitter.Split(*first, *second);
    SetLength(*first, kMtu - 1);
    splitter.SetMtu(15);  // less than a header
    splitter.Split(*first, *second);
    EXPECT_EQ(Bytes(*first), whole);
    EXPECT_EQ(Bytes(*second), "old");
    EXPECT_EQ(second->GetStatus(), 0);
}

TEST_F(Fragments, SecondThenFirstGivesBackTheMessage) {
    for (int length : {kMtu + 1, 1516, 2048}) {
        SplitMessage(length);
        EXPECT_EQ(merger.IsSingle(*first), 0);
        ASSERT_EQ(merger.Merge(*first, *second), 0);
        EXPECT_EQ(Bytes(*first), whole);
        EXPECT_EQ(first->GetStatus(), kXmitDeliver);
        EXPECT_EQ(merger.IsSingle(*first), 1);
        EXPECT_EQ(merger.IsFirst(*first), 0);
    }
}

// With 2048 bytes the move ends at the last byte that may be written, 16 into the back reserve.
TEST_F(Fragments, FirstThenSecondIsShiftedBySixteenBytes) {
    for (size_t length : {1516u, 2048u}) {
        SplitMessage(static_cast<int>(length));
        first->SetRecvAddr(CTSockAddr("10.0.0.7", 99));
        first->SetRecvLength(kMtu);
        first->SetRecvTick(5);
        // What the gap shows is old content of the incoming buffer: make it known.
        int held = second->GetSkb()->GetDataLength();
        memset(second->GetSkb()->GetData() + held, '#', static_cast<size_t>(2048 - held));
        ASSERT_EQ(merger.Merge(*second, *first), 0);

        std::string shifted =
            whole.substr(0, kMtu) + std::string(16, '#') + whole.substr(kMtu, length - 16 - kMtu);
        EXPECT_EQ(Bytes(*second), shifted);
        EXPECT_EQ(second->GetStatus(), kXmitDeliver);
        EXPECT_EQ(*second->GetRecvAddr(), CTSockAddr("10.0.0.7", 99));
        EXPECT_EQ(second->GetRecvLength(), kMtu);
        EXPECT_EQ(second->GetRecvTick(), 5u);
    }
}

TEST_F(Fragments, AJoinThatWouldNotFitOrLiesAboutItsLengthFails) {
    SplitMessage(1516);
    CTXmitPkt* large = Message(kMtu, kSrc, kSeq);
    SetLength(*large, 2048 + kSstpHeaderSize - kMtu + 1);
    first->SetStatus(kXmitDeliver);
    EXPECT_EQ(merger.MergeSecond(*first, *large), 1);
    EXPECT_EQ(first->GetStatus(), 0);
    EXPECT_EQ(merger.MergeFirst(*large, *first), 1);
    SetLength(*large, 2048 + kSstpHeaderSize - kMtu);
    EXPECT_EQ(merger.MergeSecond(*first, *large), 0);
    large->Release();

    SplitMessage(2048);
    CTSkBuffer& skb = *first->GetSkb();
    std::string bytes = Bytes(*first);
    skb.Copy("x", 1);
    skb.PutData(bytes.data(), kMtu);
    skb.Pull(1);  // the block ends one byte sooner
    EXPECT_EQ(merger.MergeSecond(*first, *second), 1);
    SetLength(*second, second->GetSkb()->GetDataLength() - 1);
    EXPECT_EQ(merger.MergeSecond(*first, *second), 0);
    EXPECT_EQ(Bytes(*first).substr(kSstpHeaderSize), whole.substr(kSstpHeaderSize, 2031));

    SplitMessage(1516);
    for (int length : {0, 15, 133, 0xFFFF}) {
        SetLength(*second, length);
        EXPECT_EQ(merger.MergeSecond(*first, *second), 1) << length;
        EXPECT_EQ(merger.MergeFirst(*second, *first), 1) << length;
    }
}

TEST_F(Fragments, TheStoreFindsTheNewestBySourceAndNumberAndGivesBackWhatItDeletes) {
    CTXmitPkt* a = Message(100, 1, 10);
    CTXmitPkt* b = Message(100, 2, 10);
    CTXmitPkt* c = Message(100, 1, 11);
    CTSstpMessage view;
    view.Attach(*c);
    view.SetFrameIndex(1);
    for (CTXmitPkt* pkt : {a, b, c})
        EXPECT_EQ(store.Add(*pkt), 0);
    EXPECT_EQ(store.Find(1, 10), a);
    EXPECT_EQ(store.Find(2, 10), b);
    EXPECT_EQ(store.Find(*c), c);
    EXPECT_EQ(store.Find(3, 10), nullptr);
    EXPECT_EQ(store.Find(1, 11, 0), nullptr);
    EXPECT_EQ(store.Find(1, 11, 1), c);
    CTXmitPkt* newer = Message(100, 1, 10);
    store.Add(*newer);
    EXPECT_EQ(store.Find(1, 10), newer);
    EXPECT_EQ(store.Delete(*b), 0);
    EXPECT_EQ(store.Find(2, 10), nullptr);
    EXPECT_EQ(pool.GetLoans(), 3);
}

// Numbers 4096 apart, and the same of several sources, meet in the store's index.
TEST_F(Fragments, TheStoreFindsWhatASimpleListFinds) {
    std::mt19937 random(7);
    std::list<CTXmitPkt*> model;  // newest first
    auto src = [&] { return 0x10000 * static_cast<uint32_t>(random() % 3); };
    auto seq = [&] { return static_cast<uint16_t>(4096 * (random() % 4) + random() % 3); };
    auto is = [](uint32_t s, uint16_t n) {
        return [=](CTXmitPkt* pkt) {
            CTSstpMessage msg;
            return msg.Attach(pkt) && msg.GetSrc() == s && msg.GetSeq() == n;
        };
    };
    for (int step = 0; step < 20000; ++step) {
        uint32_t s = src();
        uint16_t n = seq();
        auto found = std::find_if(model.begin(), model.end(), is(s, n));
        ASSERT_EQ(store.Find(s, n), found == model.end() ? nullptr : *found) << step;
        auto action = random() % 4000;
        if (action == 0) {
            store.Release();
            model.clear();
        } else if (action < 2300) {
            if (model.size() == 256) model.pop_back();
            model.push_front(Message(20, s, n));
            store.Add(*model.front());
        } else if (found != model.end()) {
            store.Delete(**found);
            model.erase(found);
        }
    }
}

TEST_F(Fragments, TheOldestGoesWhenTheStoreIsFull) {
    for (uint16_t seq = 0; seq < 300; ++seq)
        store.Add(*Message(20, 1, seq));
    EXPECT_EQ(pool.GetLoans(), 256);
    EXPECT_EQ(store.GetEvicted(), 44u);
    EXPECT_EQ(store.Find(1, 43), nullptr);
    EXPECT_NE(store.Find(1, 44), nullptr);
}

TEST_F(Fragments, TheSweepRemovesTheYoungAndKeepsTheOld) {
    MovedClock clock(5000);
    store.Add(*Message(20, 1, 1));
    clock.Advance(700);
    store.Add(*Message(20, 1, 2));
    EXPECT_EQ(store.DeleteTimeout(5800), 1);
    EXPECT_NE(store.Find(1, 1), nullptr);
    EXPECT_EQ(store.Find(1, 2), nullptr);
    EXPECT_EQ(store.DeleteTimeout(5799), 1);
    EXPECT_EQ(store.Count(), 0);
}

}  // namespace
