// Packets that travel in two halves: splitting and joining, the look-up among fragments that wait,
// and what a packet costs the receive path while they gather.

#include <benchmark/benchmark.h>

#include "bench/micro/packets.h"
#include "inet/tnet_frag_linker.h"
#include "inet/tnet_merger.h"
#include "inet/tnet_splitter.h"
#include "sstp/sstp_port.h"

namespace {

constexpr uint32_t kSender = 1;
constexpr uint32_t kOther = 14;
constexpr int kFull = CTNetPktFragLinker::kMaxWaiting;
constexpr int kSecondSize = kMicroFullPacket + 2 * kSstpHeaderSize - kMicroMtu;

CTXmitPkt* Half(uint32_t src, uint16_t seq, uint8_t index) {
    int size = index == kFrameIndexFirst ? kMicroMtu : kSecondSize;
    return MicroMessage(size, src, seq, kFrameTotalPair, index);
}

void SplitAndMerge(benchmark::State& state) {
    CTNetPktSplitter splitter;
    CTNetPktMerger merger;
    splitter.SetMtu(kMicroMtu);
    CTXmitPkt* second = MicroPool().Alloc();
    CTXmitPkt* pkt = MicroMessage(kMicroFullPacket + kSstpHeaderSize, kSender, 1, kFrameTotalNone,
                                  kFrameIndexFirst);
    for (auto _ : state) {
        splitter.Split(*pkt, *second);
        if (merger.Merge(*pkt, *second) != 0) state.SkipWithError("the halves do not join");
    }
    pkt->Release();
    second->Release();
}
BENCHMARK(SplitAndMerge);

void FindFragment(benchmark::State& state) {
    CTNetPktFragLinker store;
    store.Add(*Half(kSender, 0, kFrameIndexSecond));
    for (int i = 1; i <= state.range(0); ++i)
        store.Add(*Half(kOther, static_cast<uint16_t>(i), kFrameIndexFirst));
    for (auto _ : state)
        benchmark::DoNotOptimize(store.Find(kSender, 0));
}
BENCHMARK(FindFragment)->Arg(0)->Arg(kFull - 1);

void FindNoFragment(benchmark::State& state) {
    CTNetPktFragLinker store;
    for (int i = 1; i <= state.range(0); ++i)
        store.Add(*Half(kOther, static_cast<uint16_t>(i), kFrameIndexFirst));
    for (auto _ : state)
        benchmark::DoNotOptimize(store.Find(kSender, 0));
}
BENCHMARK(FindNoFragment)->Arg(0)->Arg(kFull);

void Receive(CTSstpPort& port, CTXmitPkt* pkt) {
    port.RecvXmitPacketHandle(*pkt);
    if (pkt->GetStatus() == kXmitDeliver) pkt->Release();
}

// From the arrival of both halves to the joined packet.
void ReceivePair(benchmark::State& state) {
    CTSstpPort port;
    for (int i = 0; i < state.range(0); ++i)
        Receive(port, Half(kOther, static_cast<uint16_t>(i), kFrameIndexFirst));
    uint16_t seq = 0;
    for (auto _ : state) {
        Receive(port, Half(kSender, ++seq, kFrameIndexSecond));
        Receive(port, Half(kSender, seq, kFrameIndexFirst));
    }
}
BENCHMARK(ReceivePair)->Arg(0)->Arg(kFull / 16)->Arg(kFull / 4)->Arg(kFull / 2)->Arg(kFull - 1);

// Fragments that stay alone: the store is full of them.
void ReceiveLone(benchmark::State& state) {
    CTSstpPort port;
    uint16_t seq = 0;
    for (auto _ : state)
        Receive(port, Half(kOther, ++seq, kFrameIndexFirst));
}
BENCHMARK(ReceiveLone);

}  // namespace
