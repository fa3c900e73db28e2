// Descriptors with their buffers: taken and given back by one thread, and by two at a time.

#include <benchmark/benchmark.h>

#include <array>

#include "bench/micro/packets.h"

namespace {

void PoolOne(benchmark::State& state) {
    for (auto _ : state)
        MicroPool().Free(MicroPool().Alloc());
}
BENCHMARK(PoolOne)->Threads(1)->Threads(2)->UseRealTime();

// As many as a burst has, so that they come from the back of the pool, not warm.
void PoolBurst(benchmark::State& state) {
    std::array<CTXmitPkt*, 64> packets;
    for (auto _ : state) {
        for (CTXmitPkt*& pkt : packets)
            pkt = MicroPool().Alloc();
        for (CTXmitPkt* pkt : packets)
            MicroPool().Free(pkt);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(packets.size()));
}
BENCHMARK(PoolBurst);

// The same with one lock for all of them.
void PoolBurstAtOnce(benchmark::State& state) {
    std::array<CTXmitPkt*, 64> packets;
    constexpr int kCount = static_cast<int>(packets.size());
    for (auto _ : state) {
        MicroPool().Alloc(packets.data(), kCount);
        CTXmitPktPool::Release(packets.data(), kCount);
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(PoolBurstAtOnce);

}  // namespace
