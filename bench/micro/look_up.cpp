// From a destination address to its router, in networks of several sizes: the look-up alone, and
// all that the outgress thread does to a packet between the two queues.

#include <benchmark/benchmark.h>

#include <algorithm>

#include "base/pvu_rwlock.h"
#include "bench/micro/packets.h"
#include "forward/forward_outgress.h"
#include "inet/tnet_splitter.h"
#include "sdwan/sdwan_subnet.h"
#include "sstp/p2p_connect_list.h"

namespace {

constexpr uint32_t kNet = 0xC0A80F00;  // 192.168.15.0
constexpr uint32_t kFirstHost = 11;
constexpr uint32_t kFirstSerial = 1001;
constexpr uint16_t kPort = 1922;
// Addresses are asked for in an order that no predictor of branches learns.
constexpr uint32_t kStep = 89;

// Routers with as many devices each, and their peers.
struct Network {
    Network(int routers, int devices)
        : addresses(static_cast<uint32_t>(std::max(1, routers * devices))) {
        for (int i = 0; i < routers; ++i) {
            CTSdwanRouter* router = subnet.AddRouter(kFirstSerial + static_cast<uint32_t>(i));
            CTSockAddr endpoint(kNet + static_cast<uint32_t>(i), kPort);
            peers.Insert(router->GetIdentifier(), endpoint);
            for (int n = 0; n < devices; ++n)
                subnet.AddDevice(router, AddressOf(static_cast<uint32_t>(i * devices + n)),
                                 NoMac());
        }
    }

    static const unsigned char* NoMac() { return nullptr; }
    static uint32_t AddressOf(uint32_t i) { return kNet + kFirstHost + i; }
    uint32_t NextAddress() { return AddressOf((at += kStep) % addresses); }

    CTSdwanSubnet subnet;
    CTP2pConnectList peers;
    const uint32_t addresses;
    uint32_t at = 0;
};

void LookUpAddress(benchmark::State& state) {
    Network network(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    for (auto _ : state)
        benchmark::DoNotOptimize(network.subnet.GetRouterByIPv4Addr(network.NextAddress()));
}

void OutgressStep(benchmark::State& state) {
    Network network(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    CTForwardOutgress outgress;
    CTReadWriteLock lock;
    outgress.SetModelLock(lock);
    outgress.SetExternalSubnet(network.subnet);
    outgress.SetP2PConnectList(network.peers);
    CTXmitPkt* pkt = MicroPool().Alloc();
    for (auto _ : state) {
        MicroFillPacket(*pkt, kMicroSmallPacket, network.NextAddress());
        if (outgress.Verify(*pkt) == 0) state.SkipWithError("the packet is refused");
        outgress.NetPacketHandle(*pkt);
    }
    if (outgress.GetCounters().unknown_destination.Get() > 0)
        state.SkipWithError("an address of the network is not found");
    pkt->Release();
}

// Routers, and devices of each.
void Sizes(benchmark::internal::Benchmark* benchmark) {
    for (auto [routers, devices] : {std::pair{1, 1}, {16, 1}, {16, 8}})
        benchmark->Args({routers, devices});
}
BENCHMARK(LookUpAddress)->Apply(Sizes);
BENCHMARK(OutgressStep)->Apply(Sizes);

}  // namespace
