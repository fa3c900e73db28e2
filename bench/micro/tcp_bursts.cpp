// Bursts of TCP: one of 44 full packets as the host's stack hands it over, cut into its packets,
// and those joined again for the interface. Cutting touches each byte twice, to copy and to sum it;
// joining once, to verify the sum.

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "inet/tnet_byteorder.h"
#include "inet/tnet_cksum.h"
#include "inet/tnet_ipv4_hdr.h"
#include "offload/tcp_cutter.h"
#include "offload/tcp_joiner.h"
#include "offload/unfinished_cksum.h"

namespace {

constexpr int kMss = 1460;
constexpr int kPackets = 44;
constexpr int kHeaders = 40;
constexpr int kRoom = kMss + kHeaders;
constexpr uint8_t kIPv4NoOptions = 0x45;
constexpr uint8_t kTcp = 6;
constexpr uint8_t kTcpNoOptions = 0x50;
constexpr uint8_t kAck = 0x10;

struct Burst {
    Burst() : bytes(kHeaders + kMss * kPackets, 0x5A), packets(kPackets * kRoom) {
        memset(bytes.data(), 0, kHeaders);
        bytes[0] = kIPv4NoOptions;
        tnet_store16(&bytes[2], static_cast<uint16_t>(bytes.size()));
        bytes[8] = 64;
        bytes[9] = kTcp;
        bytes[12] = bytes[16] = 10;
        bytes[32] = kTcpNoOptions;
        bytes[33] = kAck;
        CIPv4Header::UpdateCheckSum(reinterpret_cast<tnet_ipv4_hdr*>(bytes.data()));
        hdr.flags = kVirtioNeedsCsum;
        hdr.gso_type = kVirtioTcp4Burst;
        hdr.gso_size = kMss;
        hdr.csum_start = 20;
        hdr.csum_offset = kTcpCksumOffset;
    }
    // Whether it was cut to its end.
    bool Cut() {
        CTTcpCutter cutter;
        if (!cutter.Attach(hdr, bytes.data(), static_cast<int>(bytes.size()))) return false;
        for (uint8_t* at = packets.data(); !cutter.IsEnd(); at += kRoom)
            cutter.Next(at);
        return true;
    }

    tnet_virtio_hdr hdr = {};
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> packets;
};

void CutTcpBurst(benchmark::State& state) {
    Burst burst;
    for (auto _ : state) {
        if (!burst.Cut()) return state.SkipWithError("refused");
        benchmark::DoNotOptimize(burst.packets.data());
    }
    state.SetItemsProcessed(state.iterations() * kPackets);
}
BENCHMARK(CutTcpBurst);

void JoinTcpBurst(benchmark::State& state) {
    Burst burst;
    burst.Cut();
    std::vector<uint8_t> first(burst.packets.begin(), burst.packets.begin() + kRoom);
    CTTcpJoiner joiner;
    for (auto _ : state) {
        // Its headers are those of the whole burst by now.
        memcpy(burst.packets.data(), first.data(), kHeaders);
        for (size_t i = 0; i < kPackets; ++i) {
            if (!joiner.Add(&burst.packets[i * kRoom], kRoom))
                return state.SkipWithError("not joined");
        }
        int pieces = 0;
        benchmark::DoNotOptimize(joiner.Finish(pieces));
        joiner.Clear();
    }
    state.SetItemsProcessed(state.iterations() * kPackets);
}
BENCHMARK(JoinTcpBurst);

}  // namespace
