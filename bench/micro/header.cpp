// The tunnel header: put in front of a packet, and read where it stands.

#include <benchmark/benchmark.h>

#include "bench/micro/packets.h"
#include "inet/tnet_splitter.h"
#include "sstp/sstp_message.h"

namespace {

constexpr uint32_t kDst = 0x101;

void PushHeader(benchmark::State& state) {
    CTXmitPkt* pkt = MicroPool().Alloc();
    pkt->SkbPut(kMicroSmallPacket);
    CTSkBuffer& skb = *pkt->GetSkb();
    for (auto _ : state) {
        CTSstpMsgHdr header;
        header.SetType(kSstpNetPacket);
        header.SetLength(static_cast<uint16_t>(skb.GetDataLength() + kSstpHeaderSize));
        header.SetDstRouter(kDst);
        benchmark::DoNotOptimize(skb.PushData(header.GetPtr(), kSstpHeaderSize));
        skb.Pull(kSstpHeaderSize);
    }
    pkt->Release();
}
BENCHMARK(PushHeader);

void ViewHeader(benchmark::State& state) {
    CTXmitPkt* pkt = MicroMessage(kMicroSmallPacket, 1, 1, kFrameTotalNone, kFrameIndexFirst);
    for (auto _ : state) {
        CTSstpMessage msg;
        msg.Attach(pkt);
        benchmark::DoNotOptimize(msg.GetType() + msg.GetFrameTotal() + msg.GetMessageLength());
        benchmark::DoNotOptimize(msg.GetSrc() + msg.GetDst());
    }
    pkt->Release();
}
BENCHMARK(ViewHeader);

}  // namespace
