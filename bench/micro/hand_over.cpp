// Descriptors that one thread hands to another one through a queue with its semaphore: a stream of
// them, and a single one there and back, which is two wake-ups.

#include <benchmark/benchmark.h>

#include <thread>

#include "base/pvu_semaphore.h"
#include "bench/micro/packets.h"
#include "inet/xmit_pkt_fifo.h"

namespace {

constexpr int kStream = 1024;

struct Queue {
    void Put(CTXmitPkt* pkt) {
        fifo.Enqueue(pkt);
        semaphore.Post();
    }
    CTXmitPkt* Take() {
        semaphore.Wait();
        return fifo.Dequeue();
    }

    CTXmitPktMtFifo fifo;
    CTSemaphore semaphore;
};

// Passes on until there is nothing in the queue for what was posted, which ends it.
void Pass(Queue& from, Queue& to) {
    while (CTXmitPkt* pkt = from.Take())
        to.Put(pkt);
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

}  // namespace
