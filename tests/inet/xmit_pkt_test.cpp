#include "inet/xmit_pkt.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <thread>
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
        pkt.Destroy();
        EXPECT_EQ(pkt.GetSkb(), nullptr);
        EXPECT_EQ(pkt.Create(0), 0);
    }
    EXPECT_EQ(borrowed.GetDataLength(), 3);
}

TEST(XmitPkt, WriteAnswersZeroForSuccessAndForNothingToDo) {
    CTXmitPkt empty;
    EXPECT_EQ(empty.Write("abc", 3), 0);
    EXPECT_EQ(empty.CopySkb(static_cast<CTXmitPkt*>(nullptr)), -EINVAL);
    CTXmitPkt pkt(4);
    EXPECT_EQ(empty.CopySkb(pkt), -ENOMEM);
    EXPECT_EQ(pkt.Write("abc", 3), 0);
    EXPECT_EQ(pkt.Write(nullptr, 3), 0);
    EXPECT_EQ(pkt.Write("de", 2), -ENOMEM);
    CTXmitPkt copy(8);
    EXPECT_EQ(copy.CopySkb(pkt), 0);
    EXPECT_EQ(copy.GetSkb()->GetDataLength(), 3);
}

TEST(XmitPktPool, RecycledDescriptorsAreResetButKeepStatusAndType) {
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
    pkt->Release();
    EXPECT_EQ(pool.GetLoans(), 0);

    CTXmitPkt* again = pool.Alloc();
    ASSERT_EQ(again, pkt);
    EXPECT_EQ(again->GetSkb()->GetDataLength(), 0);
    EXPECT_EQ(*again->GetRecvAddr(), CTSockAddr(0u, 0));
    EXPECT_EQ(*again->GetSendAddr(), CTSockAddr(0u, 0));
    EXPECT_EQ(again->GetRecvTick(), 0u);
    EXPECT_EQ(again->GetRecvLength(), 0);
    EXPECT_EQ(again->GetSource(), kXmitFromTap);
    EXPECT_EQ(again->GetStatus(), kXmitDeliver);
    EXPECT_EQ(again->GetType(), 9);

    CTXmitPkt* second = pool.Alloc();
    CTXmitPkt* third = pool.Alloc();
    EXPECT_EQ(pool.GetLoans(), 3);
    for (CTXmitPkt* p : {again, second, third})
        p->Release();  // limit 1 keeps two
    EXPECT_EQ(pool.Alloc(), again);
    EXPECT_EQ(pool.Alloc(), second);
    again->Release();
    second->Release();
}

TEST(XmitPktFifo, QueuesInOrderAndRefusesBeyondALimit) {
    CTXmitPkt a, b, c;
    CTXmitPktMtFifo fifo;
    EXPECT_EQ(fifo.Enqueue(nullptr), 1);
    EXPECT_TRUE(fifo.IsEmpty());
    EXPECT_EQ(CapturedOutput([&] { fifo.Print(); }), "linker is empty, count = 0\n");
    EXPECT_EQ(fifo.Enqueue(&a, 2), 0);
    EXPECT_EQ(fifo.Enqueue(&b, 2), 0);
    EXPECT_EQ(fifo.Enqueue(&c, 2), 1);
    EXPECT_EQ(fifo.Enqueue(&c), 0);
    EXPECT_EQ(CapturedOutput([&] { fifo.Print(); }), "linker is not empty, count = 3\n");
    EXPECT_EQ(fifo.Dequeue(), &a);
    EXPECT_EQ(fifo.Dequeue(), &b);
    EXPECT_EQ(fifo.Dequeue(), &c);
    EXPECT_EQ(fifo.Dequeue(), nullptr);
}

TEST(XmitPktPipe, BlocksItsReaderAndWakesItForANullWriteToo) {
    CTXmitPktPool pool(100, 8);
    CTXimtPktPipe pipe(pool);
    std::vector<int> types;
    std::thread reader([&] {
        while (CTXmitPkt* pkt = pipe.Read()) {
            types.push_back(pkt->GetType());
            CTXimtPktPipe::FreePacket(*pkt);
        }
    });
    for (int i = 1; i <= 100; ++i) {
        CTXmitPkt* pkt = pipe.Alloc();
        pkt->SetType(i);
        EXPECT_EQ(pipe.Write(pkt), 1);
    }
    pipe.Write(nullptr);
    reader.join();
    ASSERT_EQ(types.size(), 100u);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(types[static_cast<size_t>(i)], i + 1);
    EXPECT_EQ(pool.GetLoans(), 0);

    CTXmitPkt ownerless(10);
    EXPECT_EQ(CapturedOutput([&] { CTXimtPktPipe::FreePacket(ownerless); }),
              "CTXimtPktPipe: free packet failed, owner is NULL\n");
    CTXimtPktPipe::FreePacket(nullptr);
    EXPECT_EQ(CapturedOutput(test_xmitpkt_pipe), "get pkt success\n");
}

TEST(XmitPktPool, ThreadsShareOnePoolThroughAQueue) {
    constexpr int kPackets = 5000;
    CTXmitPktPool pool(64, 16);
    CTXmitPktMtFifo fifo;
    CTSemaphore posted;
    std::thread producer([&] {
        for (int i = 0; i < kPackets; ++i) {
            CTXmitPkt* pkt = pool.Alloc();
            pkt->Write(&i, sizeof i);
            fifo.Enqueue(pkt);
            posted.Post();
        }
    });
    for (int i = 0; i < kPackets; ++i) {
        posted.Wait();
        CTXmitPkt* pkt = fifo.Dequeue();
        ASSERT_NE(pkt, nullptr);
        int value;
        memcpy(&value, pkt->GetSkb()->GetData(), sizeof value);
        ASSERT_EQ(value, i);
        pkt->Release();
    }
    producer.join();
    EXPECT_EQ(pool.GetLoans(), 0);
}

}  // namespace
