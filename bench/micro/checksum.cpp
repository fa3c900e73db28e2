// The Internet checksum: a header, a small packet, a full one, and a burst.

#include <benchmark/benchmark.h>

#include <vector>

#include "inet/tnet_cksum.h"

namespace {

void Checksum(benchmark::State& state) {
    std::vector<uint8_t> data(static_cast<size_t>(state.range(0)), 0xA5);
    for (auto _ : state) {
        benchmark::DoNotOptimize(tsdw_raw_cksum(data.data(), data.size()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Checksum)->Arg(20)->Arg(92)->Arg(1500)->Arg(65535);

}  // namespace
