#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>

#include "inet/tnet_frag_linker.h"
#include "inet/tnet_merger.h"
#include "inet/tnet_splitter.h"
#include "inet/xmit_pkt_pool.h"
#include "tests/support/moved_clock.h"

namespace {

constexpr int kMtu = 1400;
constexpr uint32_t kSrc = 0x00000102;
constexpr uint16_t kSeq = 77;

std::string Bytes(CTXmitPkt& pkt) {
    return std::string(reinterpret_cast<char*>(pkt.GetSkb()->GetData()),
                       static_cast<size_t>(pkt.GetSkb()->GetDataLength()));
}

std::string RandomPayload(size_t n) {
    std::mt19937 random(static_cast<unsigned>(n));
    std::string payload(n, '\0');
    for (char& c : payload)
        c = static_cast<char>(random());
    return payload;
}

class Fragments : public testing::Test {
  protected:
    // A network packet message of that many bytes, header included.
    CTXmitPkt* Message(int length, uint32_t src = kSrc, uint16_t seq = kSeq) {
        CTSstpMsgHdr header;
        header.Fill(kSstpNetPacket, 0, seq, static_cast<uint16_t>(length), 0, 0, src, 9);
        CTXmitPkt* pkt = pool.Alloc();
        pkt->Write(header.GetPtr(), kSstpHeaderSize);
        std::string payload = RandomPayload(static_cast<size_t>(length - kSstpHeaderSize));
        pkt->Write(payload.data(), static_cast<int>(payload.size()));
        return pkt;
    }
    // Splits a message of that many bytes; keeps what it was.
    void SplitMessage(int length) {
        splitter.SetMtu(kMtu);
        first = Message(length);
        second = pool.Alloc();
        whole = Bytes(*first);
        splitter.Split(*first, *second);
    }
    void TearDown() override {
        if (first) first->Release();
        if (second) second->Release();
        store.Release();
        EXPECT_EQ(pool.GetLoans(), 0);
    }
    static CTSstpMsgHdr& HeaderOf(CTXmitPkt& pkt, CTSstpMessage& view) {
        view.Attach(pkt);
        return view.GetHeader();
    }

    CTXmitPktPool pool{2048, 16};
    CTNetPktSplitter splitter;
    CTNetPktMerger merger;
    CTNetPktFragLinker store;
    CTXmitPkt* first = nullptr;
    CTXmitPkt* second = nullptr;
    std::string whole;
    CTSstpMessage view;
};

TEST_F(Fragments, OnlyWhatIsLongerThanTheMtuIsSplit) {
    splitter.SetMtu(kMtu);
    first = Message(kMtu);
    EXPECT_EQ(splitter.IsSingle(*first), 0);
    second = Message(kMtu + 1);
    EXPECT_EQ(splitter.IsSingle(*second), 1);
    CTNetPktSplitter untouched;
    EXPECT_EQ(untouched.IsSingle(*second), 0);  // 1432 at first
}

TEST_F(Fragments, SplitMovesTheRestBehindAHeaderOfItsOwn) {
    SplitMessage(kMtu + 1);
    EXPECT_EQ(first->GetSkb()->GetDataLength(), kMtu);
    EXPECT_EQ(second->GetSkb()->GetDataLength(), 17);
    EXPECT_EQ(second->GetStatus(), kXmitSecondFilled);
    EXPECT_EQ(Bytes(*second).back(), whole.back());
    CTSstpMsgHdr& head = HeaderOf(*first, view);
    EXPECT_EQ(head.GetLength(), kMtu);
    EXPECT_EQ(head.GetFrameTotal(), 2);
    EXPECT_EQ(head.GetFrameIndex(), 0);
    CTSstpMessage tail;
    tail.Attach(*second);
    EXPECT_EQ(tail.GetLength(), 17);
    EXPECT_EQ(tail.GetFrameTotal(), 2);
    EXPECT_EQ(tail.GetFrameIndex(), 1);
    EXPECT_EQ(tail.GetSrc(), kSrc);
    EXPECT_EQ(tail.GetSeq(), kSeq);
    EXPECT_EQ(tail.GetDst(), 9u);
}

TEST_F(Fragments, SplitLeavesShortAndLyingMessagesAlone) {
    SplitMessage(kMtu - 1);
    EXPECT_EQ(Bytes(*first), whole);
    EXPECT_EQ(second->GetStatus(), 0);
    view.Attach(*first);
    view.SetLength(2000);  // more than the buffer holds
    splitter.Split(*first, *second);
    EXPECT_EQ(second->GetStatus(), 0);
}

TEST_F(Fragments, SecondThenFirstGivesBackTheMessage) {
    for (int length : {kMtu + 1, 1516, 2048}) {
        SplitMessage(length);
        ASSERT_EQ(merger.Merge(*first, *second), 0);
        EXPECT_EQ(Bytes(*first), whole);
        EXPECT_EQ(first->GetStatus(), kXmitDeliver);
        first->Release();
        second->Release();
    }
    first = second = nullptr;
}

TEST_F(Fragments, FirstThenSecondIsShiftedBySixteenBytes) {
    SplitMessage(1516);
    first->SetRecvAddr(CTSockAddr("10.0.0.7", 99));
    first->SetRecvLength(kMtu);
    first->SetRecvTick(5);
    // What the gap shows is old content of the incoming buffer: make it known.
    uint8_t* old = second->GetSkb()->GetData();
    memset(old + second->GetSkb()->GetDataLength(), '#', 2048 - 132);
    ASSERT_EQ(merger.Merge(*second, *first), 0);

    std::string expected = whole.substr(0, kMtu) + std::string(16, '#') + whole.substr(kMtu, 100);
    std::string joined = Bytes(*second);
    ASSERT_EQ(joined.size(), 1516u);
    EXPECT_EQ(joined.substr(kSstpHeaderSize), expected.substr(kSstpHeaderSize));
    CTSstpMsgHdr& header = HeaderOf(*second, view);
    EXPECT_EQ(header.GetLength(), 1516);
    EXPECT_EQ(header.GetFrameTotal(), 0);
    EXPECT_EQ(*second->GetRecvAddr(), CTSockAddr("10.0.0.7", 99));
    EXPECT_EQ(second->GetRecvLength(), kMtu);
    EXPECT_EQ(second->GetRecvTick(), 5u);
}

TEST_F(Fragments, TheShiftedMoveReachesSixteenBytesIntoTheBackReserveAndNoFurther) {
    SplitMessage(2048);
    EXPECT_EQ(merger.Merge(*second, *first), 0);  // the sanitizer watches the reserve's end
    EXPECT_EQ(second->GetSkb()->GetDataLength(), 2048);
}

TEST_F(Fragments, AJoinThatWouldNotFitOrLiesAboutItsLengthFails) {
    SplitMessage(1516);
    CTXmitPkt* large = Message(2000);
    view.Attach(*large);
    view.SetFrameTotal(2);
    view.SetFrameIndex(1);
    EXPECT_EQ(merger.Merge(*first, *large), 1);
    EXPECT_EQ(first->GetStatus(), 0);
    EXPECT_EQ(merger.Merge(*large, *first), 1);
    large->Release();

    view.Attach(*second);
    for (int length : {0, 15, 133, 0xFFFF}) {
        view.SetLength(static_cast<uint16_t>(length));
        EXPECT_EQ(merger.MergeSecond(*first, *second), 1) << length;
        EXPECT_EQ(merger.MergeFirst(*second, *first), 1) << length;
    }
}

TEST_F(Fragments, TheStoreFindsBySourceAndNumberAndGivesBackWhatItDeletes) {
    CTXmitPkt* a = Message(100, 1, 10);
    CTXmitPkt* b = Message(100, 2, 10);
    CTXmitPkt* c = Message(100, 1, 11);
    view.Attach(*c);
    view.SetFrameIndex(1);
    for (CTXmitPkt* pkt : {a, b, c})
        store.Add(*pkt);
    EXPECT_EQ(store.Find(1, 10), a);
    EXPECT_EQ(store.Find(2, 10), b);
    EXPECT_EQ(store.Find(*c), c);
    EXPECT_EQ(store.Find(3, 10), nullptr);
    EXPECT_EQ(store.Find(1, 11, 0), nullptr);
    EXPECT_EQ(store.Find(1, 11, 1), c);
    store.Delete(*b);
    EXPECT_EQ(store.Find(2, 10), nullptr);
    EXPECT_EQ(pool.GetLoans(), 2);
}

TEST_F(Fragments, TheOldestGoesWhenTheStoreIsFull) {
    for (uint16_t seq = 0; seq < 300; ++seq)
        store.Add(*Message(20, 1, seq));
    EXPECT_EQ(store.Count(), CTNetPktFragLinker::kMaxWaiting);
    EXPECT_EQ(pool.GetLoans(), CTNetPktFragLinker::kMaxWaiting);
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
