#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "inet/tnet_frag_linker.h"
#include "inet/tnet_merger.h"
#include "inet/tnet_splitter.h"
#include "inet/xmit_pkt_pool.h"
#include "lab/wire/wire_bytes.h"
#include "tests/support/moved_clock.h"

namespace {

constexpr int kMtu = 1400;
const CTSockAddr kPeer("10.0.0.8", 1922);

std::string Bytes(CTXmitPkt& pkt) {
    const uint8_t* data = pkt.GetSkb()->GetData();
    return {data, data + pkt.GetSkb()->GetDataLength()};
}

std::string HexText(const char* digits) {
    WireBytes bytes = Hex(digits);
    return {bytes.begin(), bytes.end()};
}

void SetLength(CTXmitPkt& pkt, int length) {
    CTSstpMessage view;
    view.Attach(pkt);
    view.SetLength(static_cast<uint16_t>(length));
}

class Fragments : public testing::Test {
  protected:
    struct Return {
        void operator()(CTXmitPkt* pkt) const { pkt->Release(); }
    };
    using Packet = std::unique_ptr<CTXmitPkt, Return>;

    // A network packet message of that many bytes, header included.
    Packet Message(int length, uint32_t src = 0x0102, uint16_t seq = 77, uint8_t index = 0) {
        CTSstpMsgHdr header;
        header.Fill(kSstpNetPacket, 0, seq, static_cast<uint16_t>(length), 0, index, src, 9);
        Packet pkt(pool.Alloc());
        pkt->Write(header.GetPtr(), kSstpHeaderSize);
        std::mt19937 random(static_cast<unsigned>(length));
        std::string data(static_cast<size_t>(length - kSstpHeaderSize), '\0');
        for (char& c : data)
            c = static_cast<char>(random());
        pkt->Write(data.data(), static_cast<int>(data.size()));
        return pkt;
    }
    // Splits a message of that many bytes; keeps what it was.
    void SplitMessage(int length) {
        splitter.SetMtu(kMtu);
        first = Message(length);
        first->SetSendAddr(kPeer);
        second.reset(pool.Alloc());
        second->Write("old", 3);
        whole = Bytes(*first);
        EXPECT_EQ(splitter.Split(*first, *second), 0);
    }
    CTXmitPkt* Store(Packet pkt) {
        EXPECT_EQ(store.Add(*pkt), 0);
        return pkt.release();
    }
    void TearDown() override {
        first.reset();
        second.reset();
        store.Release();
        EXPECT_EQ(pool.GetLoans(), 0);
    }

    CTXmitPktPool pool{2048, 16};
    CTNetPktSplitter splitter;
    CTNetPktMerger merger;
    CTNetPktFragLinker store;
    Packet first;
    Packet second;
    std::string whole;
};

TEST_F(Fragments, OnlyWhatIsLongerThanTheMtuIsToBeSplit) {
    EXPECT_EQ(splitter.IsSingle(*Message(1432)), 0);
    EXPECT_EQ(splitter.IsSingle(*Message(1433)), 1);
    splitter.SetMtu(1433);
    EXPECT_EQ(splitter.IsSingle(*Message(1433)), 0);
}

TEST_F(Fragments, SplitMovesTheRestBehindAHeaderOfItsOwnAndAJoinBringsItBack) {
    struct {
        int length;
        const char* second_header;
    } const kSplits[] = {{1400, "05 00 004d 0010 02 01 00000102 00000009"},  // a header, no data
                         {2048, "05 00 004d 0298 02 01 00000102 00000009"}};
    for (const auto& s : kSplits) {
        SplitMessage(s.length);
        EXPECT_EQ(Bytes(*first),
                  HexText("05 00 004d 0578 02 00 00000102 00000009") + whole.substr(16, kMtu - 16));
        EXPECT_EQ(Bytes(*second), HexText(s.second_header) + whole.substr(kMtu));
        EXPECT_EQ(*second->GetSendAddr(), kPeer);
        EXPECT_EQ(second->GetStatus(), kXmitSecondFilled);
        EXPECT_EQ(merger.IsSingle(*first), 0);

        ASSERT_EQ(merger.Merge(*first, *second), 0);
        EXPECT_EQ(Bytes(*first), whole);
        EXPECT_EQ(merger.IsSingle(*first), 1);
        EXPECT_EQ(merger.IsFirst(*first), 0);
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

// With 2048 bytes the move ends at the last byte that may be written, 16 into the back reserve.
TEST_F(Fragments, FirstThenSecondIsShiftedBySixteenBytes) {
    for (size_t length : {1516u, 2048u}) {
        SplitMessage(static_cast<int>(length));
        first->SetRecvAddr(kPeer);
        first->SetRecvLength(kMtu);
        first->SetRecvTick(5);
        // What the gap shows is old content of the incoming buffer: make it known.
        int held = second->GetSkb()->GetDataLength();
        memset(second->GetSkb()->GetData() + held, '#', static_cast<size_t>(2048 - held));
        ASSERT_EQ(merger.Merge(*second, *first), 0);
        EXPECT_EQ(Bytes(*second), whole.substr(0, kMtu) + std::string(16, '#') +
                                      whole.substr(kMtu, length - 16 - kMtu));
        EXPECT_EQ(*second->GetRecvAddr(), kPeer);
        EXPECT_EQ(second->GetRecvLength(), kMtu);
        EXPECT_EQ(second->GetRecvTick(), 5u);
    }
}

TEST_F(Fragments, AJoinThatWouldNotFitOrLiesAboutItsLengthFails) {
    struct {
        int pulled;    // the incoming buffer ends that many bytes sooner
        int incoming;  // what its header says, where 1400 bytes are held
        int stored;    // the same, of 700
        bool joined;
    } const kJoins[] = {{0, 1400, 664, true},   {0, 1400, 665, false}, {1, 1400, 664, false},
                        {1, 1400, 663, true},   {0, 1000, 16, true},   {0, 1401, 16, false},
                        {0, 0xFFFF, 16, false}, {0, 15, 16, false},    {0, 1400, 15, false},
                        {0, 1400, 0, false},    {0, 16, 700, true},    {0, 16, 701, false}};
    for (const auto& j : kJoins) {
        for (auto merge : {&CTNetPktMerger::MergeFirst, &CTNetPktMerger::MergeSecond}) {
            Packet incoming = Message(kMtu + j.pulled);
            Packet stored = Message(700);
            incoming->GetSkb()->Pull(j.pulled);
            SetLength(*incoming, j.incoming);
            SetLength(*stored, j.stored);
            incoming->SetStatus(kXmitHeld);
            EXPECT_EQ((merger.*merge)(*incoming, *stored), j.joined ? 0 : 1);
            EXPECT_EQ(incoming->GetStatus(), j.joined ? kXmitDeliver : kXmitFinished);
            EXPECT_EQ(incoming->GetSkb()->GetDataLength(),
                      j.joined ? j.incoming + j.stored - 16 : kMtu);
        }
    }
}

TEST_F(Fragments, TheStoreFindsTheNewestBySourceAndNumberAndGivesBackWhatItDeletes) {
    CTXmitPkt* old = Store(Message(100, 1, 10));
    CTXmitPkt* b = Store(Message(100, 2, 10));
    CTXmitPkt* c = Store(Message(100, 1, 11, 1));
    EXPECT_EQ(store.Find(1, 10), old);
    EXPECT_EQ(store.Find(2, 10), b);
    EXPECT_EQ(store.Find(*c), c);
    EXPECT_EQ(store.Find(3, 10), nullptr);
    EXPECT_EQ(store.Find(1, 11, 0), nullptr);
    EXPECT_EQ(store.Find(1, 11, 1), c);
    CTXmitPkt* newer = Store(Message(100, 1, 10));
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
        auto action = random() % 16000;
        if (action == 0) {
            store.Release();
            model.clear();
        } else if (action < 9200) {
            if (model.size() == CTNetPktFragLinker::kMaxWaiting) model.pop_back();
            model.push_front(Store(Message(20, s, n)));
        } else if (found != model.end()) {
            store.Delete(**found);
            model.erase(found);
        }
    }
}

TEST_F(Fragments, TheOldestGoesWhenTheStoreIsFull) {
    for (uint16_t seq = 0; seq < CTNetPktFragLinker::kMaxWaiting + 44; ++seq)
        Store(Message(20, 1, seq));
    EXPECT_EQ(pool.GetLoans(), CTNetPktFragLinker::kMaxWaiting);
    EXPECT_EQ(store.GetEvicted(), 44u);
    EXPECT_EQ(store.Find(1, 43), nullptr);
    EXPECT_NE(store.Find(1, 44), nullptr);
}

class AgedFragments : public Fragments {
  protected:
    CTXmitPkt* Partner(uint32_t src, uint16_t seq) {
        Packet arrived = Message(20, src, seq);
        CTSstpMessage msg;
        msg.Attach(*arrived);
        return store.FindPartner(msg, static_cast<uint32_t>(pvu_get_current_tick()));
    }
    void Pass(uint32_t src, uint16_t seq) {
        Packet arrived = Message(20, src, seq);
        CTSstpMessage msg;
        msg.Attach(*arrived);
        store.Note(msg);
    }
    MovedClock clock{0xFFFFFF00};  // its low 32 bits wrap on the way
};

TEST_F(AgedFragments, APartnerIsAtMostTwoSecondsOld) {
    Store(Message(20, 1, 1));
    clock.Advance(1);
    CTXmitPkt* young = Store(Message(20, 1, 2));
    clock.Advance(2000);
    EXPECT_EQ(Partner(1, 2), young);
    EXPECT_EQ(store.Count(), 1) << "the older one is released";
    EXPECT_EQ(Partner(1, 1), nullptr);
    clock.Advance(1);
    EXPECT_EQ(Partner(1, 2), nullptr);
    EXPECT_EQ(store.GetAged(), 2u);
    EXPECT_EQ(store.Count(), 0);
}

// 4,096 numbers on, by whatever steps, in whatever order, and also where the number itself is due
// again; other sources' numbers are no concern.
TEST_F(AgedFragments, APartnersSourceHasNotGoneOnByFourThousandNumbers) {
    constexpr uint16_t kFirst = 0xFF00;
    struct {
        std::vector<int> numbers;  // that arrive meanwhile, counted from the fragment's own
        bool found;
    } const kPassages[] = {{{}, true},
                           {{4095}, true},
                           {{4096}, false},
                           {{60, 2000, 1999, 61, 4095, 100}, true},
                           {{2000, 4000, 1000, 4096}, false},
                           {{-1, -4096}, true},  // late ones
                           {{30000, 60000}, false},
                           {{-5000}, false}};  // the source has started anew
    for (const auto& passage : kPassages) {
        CTXmitPkt* stored = Store(Message(20, 1, kFirst));
        Store(Message(20, 1, kFirst + 1));
        CTXmitPkt* other = Store(Message(20, 2, kFirst));
        for (int number : passage.numbers)
            Pass(1, static_cast<uint16_t>(kFirst + number));
        EXPECT_EQ(Partner(1, kFirst), passage.found ? stored : nullptr);
        EXPECT_EQ(Partner(2, kFirst), other);
        store.Release();
    }
    EXPECT_EQ(store.GetAged(), 4u);
}

TEST_F(AgedFragments, EverySourceThatWaitsIsKnown) {
    for (int round = 0; round < 3; ++round) {
        for (uint32_t src = 0; src < 300; ++src)
            Store(Message(20, src << 8, 5));
        for (uint32_t src = 0; src < 300; src += 2)
            Pass(src << 8, 5 + 4096);
        for (uint32_t src = 44; src < 300; ++src)
            EXPECT_EQ(Partner(src << 8, 5) != nullptr, src % 2 == 1) << src;
        if (round == 1) store.Release();
    }
}

// Full packets, each half of which names its packet, after the loss of some halves; once with time
// passing, so that age tells the old ones, and once without.
TEST_F(AgedFragments, AMillionPacketsAfterALossAreWhole) {
#if defined(__SANITIZE_THREAD__)
    constexpr uint32_t kPackets = 200000;  // ten times as slow, for a store of one thread
#else
    constexpr uint32_t kPackets = 1000000;
#endif
    constexpr uint32_t kLost = 200;
    constexpr int kFirstSize = 1400;
    constexpr int kSecondSize = 132;
    uint32_t whole_ones = 0;
    auto half = [&](uint32_t number, uint8_t index) {
        int size = index == 0 ? kFirstSize : kSecondSize;
        CTSstpMsgHdr header;
        header.Fill(kSstpNetPacket, 0, static_cast<uint16_t>(number), static_cast<uint16_t>(size),
                    2, index, 1, 9);
        CTXmitPkt* pkt = pool.Alloc();
        pkt->Write(header.GetPtr(), kSstpHeaderSize);
        uint32_t content[] = {number, index};
        pkt->Write(content, sizeof content);
        pkt->SkbPut(size - pkt->GetSkb()->GetDataLength());
        return pkt;
    };
    auto is_half = [](const uint8_t* data, uint32_t number, uint32_t index) {
        uint32_t content[2];
        memcpy(content, data, sizeof content);
        return content[0] == number && content[1] == index;
    };
    auto receive = [&](uint32_t number, uint8_t index) {
        CTXmitPkt* pkt = half(number, index);
        CTSstpMessage msg;
        msg.Attach(*pkt);
        uint32_t now = static_cast<uint32_t>(pvu_get_current_tick());
        CTXmitPkt* stored = store.FindPartner(msg, now);
        if (!stored) {
            store.Add(*pkt, now);
            return;
        }
        const uint8_t* data = pkt->GetSkb()->GetData();
        bool joined = merger.Merge(*pkt, *stored) == 0;
        if (joined && is_half(data + kSstpHeaderSize, number, 0) &&
            is_half(data + kFirstSize, number, 1)) {
            ++whole_ones;
        }
        store.Delete(*stored);
        pkt->Release();
    };
    uint32_t number = 0;
    for (uint64_t ms : {1u, 0u}) {
        for (uint32_t i = 0; i < kLost; ++i)
            receive(number++, i % 2 == 0 ? 0 : 1);
        for (uint32_t i = 0; i < kPackets / 2; ++i) {
            receive(number, 1);
            receive(number++, 0);
            if (i % 10 == 0) clock.Advance(ms);
        }
    }
    EXPECT_EQ(whole_ones, kPackets);
    EXPECT_EQ(store.GetAged(), 2 * kLost);
    EXPECT_EQ(store.Count(), 0);
}

TEST_F(Fragments, TheSweepRemovesTheYoungAndKeepsTheOld) {
    MovedClock clock(5000);
    CTXmitPkt* old = Store(Message(20, 1, 1));
    clock.Advance(700);
    Store(Message(20, 1, 2));
    EXPECT_EQ(store.DeleteTimeout(5800), 1);
    EXPECT_EQ(store.Find(1, 1), old);
    EXPECT_EQ(store.DeleteTimeout(5799), 1);
    EXPECT_EQ(store.Count(), 0);
}

}  // namespace
