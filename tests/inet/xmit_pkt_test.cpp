#include "inet/xmit_pkt.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <set>
#include <thread>
#include <tuple>
#include <vector>

#include "inet/xmit_pkt_fifo.h"
#include "inet/xmit_pkt_pipe.h"
#include "inet/xmit_pkt_pool.h"
#include "tests/support/captured_output.h"

namespace {

TEST(XmitPkt, OwnsWhatItCreatesAndLeavesABorrowedBufferAlone) {
    CTSkBuffer borrowed(100);
    borrowed.PutData("abc", 3);
    {
        CTXmitPkt pkt(borrowed);
        pkt.Release();
        EXPECT_EQ(pkt.GetSkb(), &borrowed);
        EXPECT_EQ(pkt.Create(50), 1);
        EXPECT_EQ(pkt.GetSkb()->GetBufferSize(), 50);
        pkt.Release();
        EXPECT_EQ(pkt.GetSkb(), nullptr);
        EXPECT_EQ(pkt.Create(0), 0);
    }
    EXPECT_EQ(borrowed.GetDataLength(), 3);
    CTXmitPktPool::DestoryXmitPkt(new CTXmitPkt(10));  // destroys its own buffer once
}

TEST(XmitPkt, WriteAnswersZeroForSuccessAndForNothingToDo) {
    CTXmitPkt empty, pkt(4), copy(8);
    EXPECT_EQ(empty.Write("abc", 3), 0);
    empty.SkbPut(1);
    EXPECT_EQ(empty.CopySkb(pkt), -ENOMEM);
    EXPECT_EQ(empty.CopySkb(static_cast<CTXmitPkt*>(nullptr)), -EINVAL);
    EXPECT_EQ(pkt.Write("abc", 3) + pkt.Write(nullptr, 3), 0);
    EXPECT_EQ(pkt.Write("de", 2), -ENOMEM);
    EXPECT_EQ(copy.CopySkb(pkt), 0);
    EXPECT_EQ(copy.GetSkb()->GetDataLength(), 3);
}

TEST(XmitPktPool, RecycledDescriptorsAreResetButKeepStatusTypeAndLayer) {
    CTXmitPktPool pool(2048, 1);
    CTXmitPkt* pkt = pool.Alloc();
    EXPECT_EQ(pkt->GetOwner(), &pool);
    EXPECT_EQ(pkt->GetSkb()->GetBufferSize(), 2048);
    pkt->Write("abc", 3);
    pkt->SetRecvAddr(CTSockAddr("10.0.0.1", 5));
    pkt->SetSendAddr(CTSockAddr("10.0.0.2", 6));
    pkt->SetRecvTick(7);
    pkt->SetRecvLength(8);
    pkt->SetSource(kXmitFromTunnel);
    pkt->SetStatus(kXmitDeliver);
    pkt->SetType(9);
    pkt->SetNetLayer(3);
    pkt->Release();
    EXPECT_EQ(pool.GetLoans(), 0);

    ASSERT_EQ(pool.Alloc(), pkt);
    const CTSockAddr nowhere(0u, 0);
    EXPECT_TRUE(*pkt->GetRecvAddr() == nowhere && *pkt->GetSendAddr() == nowhere);
    EXPECT_EQ(std::tuple(pkt->GetSkb()->GetDataLength(), pkt->GetRecvTick(), pkt->GetRecvLength(),
                         pkt->GetSource(), pkt->GetStatus(), pkt->GetType(), pkt->GetNetLayer()),
              std::tuple(0, 0u, 0, kXmitFromTap, kXmitDeliver, 9, 3));

    CTXmitPkt* second = pool.Alloc();
    CTXmitPkt* third = pool.Alloc();
    EXPECT_EQ(pool.GetLoans(), 3);
    for (CTXmitPkt* p : {pkt, second, third})
        p->Release();  // limit 1 keeps two
    EXPECT_EQ(pool.Alloc(), pkt);
    EXPECT_EQ(pool.Alloc(), second);
    // What came back in a burst is warm and goes out first.
    third = pool.Alloc();
    pkt->Release();
    CTXmitPkt* burst[] = {third};
    CTXmitPktPool::Release(burst, 1);
    EXPECT_EQ(pool.Alloc(), third);
    second->Release();
    third->Release();
}

TEST(XmitPktFifo, QueuesInOrderAndRefusesBeyondALimit) {
    CTXmitPkt a, b, c;
    CTXmitPktMtFifo fifo;
    EXPECT_TRUE(fifo.IsEmpty());
    EXPECT_EQ(CapturedOutput([&] { fifo.Print(); }), "linker is empty, count = 0\n");
    EXPECT_EQ(fifo.Enqueue(&a, 2) + fifo.Enqueue(&b, 2), 0);
    EXPECT_EQ(fifo.Enqueue(&c, 2) + fifo.Enqueue(nullptr), 1 + 1);
    EXPECT_EQ(fifo.Enqueue(&c), 0);
    EXPECT_EQ(CapturedOutput([&] { fifo.Print(); }), "linker is not empty, count = 3\n");
    for (CTXmitPkt* pkt : std::initializer_list<CTXmitPkt*>{&a, &b, &c, nullptr})
        EXPECT_EQ(fifo.Dequeue(), pkt);
}

TEST(XmitPktFifo, TakesAndGivesBursts) {
    CTXmitPkt entries[5];
    CTXmitPkt* in[5];
    CTXmitPkt* out[5];
    for (int i = 0; i < 5; ++i)
        in[i] = &entries[i];
    CTXmitPktMtFifo fifo;
    EXPECT_EQ(fifo.Enqueue(in, 2, 4), 2);
    EXPECT_EQ(fifo.Enqueue(in + 2, 3, 4), 2) << "room for two more";
    EXPECT_EQ(fifo.Enqueue(in + 4, 1, 4), 0);
    EXPECT_EQ(fifo.Dequeue(out, 3), 3);
    EXPECT_EQ(fifo.Dequeue(out + 3, 2), 1);
    EXPECT_TRUE(std::equal(in, in + 4, out));
    EXPECT_EQ(fifo.HighWater(), 4);
}

TEST(XmitPktPool, KeepsMoreUnderLoadThanAfterASecondOfQuiet) {
    CTXmitPktPool pool(100, 2);
    pool.KeepUnderLoad(20);
    std::set<CTXmitPkt*> known;
    CTXmitPkt* burst[18];
    auto take = [&] {
        ASSERT_EQ(pool.Alloc(burst, 18), 18);
        EXPECT_EQ(pool.GetLoans(), 18);
    };
    take();
    known.insert(burst, burst + 18);
    CTXmitPkt own(10);
    burst[17]->Release();
    burst[17] = &own;  // one that belongs to nobody goes by itself
    CTXmitPktPool::Release(burst, 18);
    EXPECT_EQ(own.GetSkb(), nullptr);
    pool.Trim();
    take();
    EXPECT_TRUE(std::all_of(burst, burst + 18, [&](auto* pkt) { return known.count(pkt) == 1; }));
    CTXmitPktPool::Release(burst, 18);
    EXPECT_EQ(pool.GetIdle(), 18);
    pool.Trim();
    EXPECT_EQ(pool.GetIdle(), 18) << "there was traffic";
    pool.Trim();
    EXPECT_EQ(pool.GetIdle(), 3);
}

TEST(XmitPktPipe, BlocksItsReaderAndWakesItForANullWriteToo) {
    CTXmitPktPool pool(100, 8);
    CTXimtPktPipe pipe(pool);
    int read = 0;
    std::thread reader([&] {
        while (CTXmitPkt* pkt = pipe.Read()) {
            EXPECT_EQ(pkt->GetOwner(), &pipe);
            EXPECT_EQ(pkt->GetType(), ++read);
            CTXimtPktPipe::FreePacket(*pkt);
        }
    });
    for (int i = 1; i <= 100; ++i) {
        CTXmitPkt* pkt = pipe.Alloc();
        pkt->SetType(i);
        EXPECT_EQ(pipe.Write(pkt), 1);
    }
    EXPECT_EQ(pipe.Write(nullptr), 1);
    reader.join();
    EXPECT_EQ(read, 100);
    EXPECT_EQ(pool.GetLoans(), 0);

    CTXmitPkt ownerless(10);
    EXPECT_EQ(CapturedOutput([&] { CTXimtPktPipe::FreePacket(ownerless); }),
              "CTXimtPktPipe: free packet failed, owner is NULL\n");
    CTXimtPktPipe::FreePacket(nullptr);
    EXPECT_EQ(CapturedOutput(test_xmitpkt_pipe), "get pkt success\n");
}

TEST(XmitPktPool, ABurstsMemoryIsGivenBackOnceItIsOver) {
    CTXmitPktPool pool(100, 1);
    std::vector<CTXmitPkt*> out;
    auto take = [&](size_t count) {
        while (out.size() < count)
            out.push_back(pool.Alloc());
    };
    auto give_back = [&](size_t left) {
        for (; out.size() > left; out.pop_back())
            out.back()->Release();
    };
    take(256);
    give_back(1);
    EXPECT_FALSE(pool.Trim()) << "no burst";
    take(600);
    EXPECT_FALSE(pool.Trim()) << "not over";
    give_back(256);
    EXPECT_TRUE(pool.Trim()) << "the rest may stay for good";
    take(511);
    give_back(256);
    EXPECT_FALSE(pool.Trim()) << "no new burst";
    give_back(0);
}

}  // namespace
