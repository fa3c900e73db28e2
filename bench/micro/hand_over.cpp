// Descriptors that one thread hands to another one through a queue with its semaphore: a single one
// there and back, which is two wake-ups, a stream of them one by one, and the same in bursts.

#include <benchmark/benchmark.h>

#include <thread>

#include "base/pvu_semaphore.h"
#include "bench/micro/packets.h"
#include "inet/xmit_pkt_fifo.h"

namespace {

constexpr int kStream = 1024;
constexpr int kBurst = 64;

struct Queue {
    void Put(CTXmitPkt* pkt) {
        fifo.Enqueue(pkt);
        semaphore.Post();
    }
    CTXmitPkt* Take() {
        semaphore.Wait();
        return fifo.Dequeue();
    }
    void PutBurst(CTXmitPkt** pkts, int n) {
        fifo.Enqueue(pkts, n, CTXmitPktMtFifo::kMaxNetPackets);
        semaphore.Post(n);
    }
    int TakeBurst(CTXmitPkt** pkts) {
        semaphore.Wait();
        return fifo.Dequeue(pkts, 1 + semaphore.Take(kBurst - 1));
    }

    CTXmitPktMtFifo fifo;
    CTSemaphore semaphore;
};

// Passes on until there is nothing in the queue for what was posted, which ends it.
void Pass(Queue& from, Queue& to) {
    while (CTXmitPkt* pkt = from.Take())
        to.Put(pkt);
}

void PassBursts(Queue& from, Queue& to) {
    CTXmitPkt* burst[kBurst];
    while (int n = from.TakeBurst(burst))
        to.PutBurst(burst, n);
}

void HandOver(benchmark::State& state, int together) {
    Queue there;
    Queue back;
    std::thread other(Pass, std::ref(there), std::ref(back));
    for (auto _ : state) {
        for (int i = 0; i < together; ++i)
            there.Put(MicroPool().Alloc());
        for (int i = 0; i < together; ++i)
            back.Take()->Release();
    }
    there.semaphore.Post();
    other.join();
    state.SetItemsProcessed(state.iterations() * together);
}
BENCHMARK_CAPTURE(HandOver, one, 1)->UseRealTime();
BENCHMARK_CAPTURE(HandOver, stream, kStream)->UseRealTime();

void HandOverBursts(benchmark::State& state) {
    Queue there;
    Queue back;
    std::thread other(PassBursts, std::ref(there), std::ref(back));
    CTXmitPkt* burst[kBurst];
    for (auto _ : state) {
        for (int sent = 0; sent < kStream; sent += kBurst)
            there.PutBurst(burst, MicroPool().Alloc(burst, kBurst));
        for (int taken = 0; taken < kStream;) {
            int n = back.TakeBurst(burst);
            CTXmitPktPool::Release(burst, n);
            taken += n;
        }
    }
    there.semaphore.Post();
    other.join();
    state.SetItemsProcessed(state.iterations() * kStream);
}
BENCHMARK(HandOverBursts)->UseRealTime();

}  // namespace
