// Sealed records: what one end of a channel takes for a message, and what both ends do.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <vector>

#include "seal/seal_session.h"

namespace {

using Record = std::array<uint8_t, CTSealSession::kMaxRecord>;

constexpr int kSmallMessage = 108;  // of 64 bytes of UDP data
constexpr size_t kBurst = 64;

// Both ends of one channel, their handshake done.
class Channel {
  public:
    Channel() {
        std::string fault;
        if (!m_edge_key.Make(fault) || !m_router_key.Make(fault) ||
            !router.Start(CTSealSession::Role::kCentralRouter, m_router_key, nullptr) ||
            !edge.Start(CTSealSession::Role::kEdge, m_edge_key, nullptr) || !Shake()) {
            fprintf(stderr, "no channel: %s\n", fault.c_str());
            exit(1);
        }
    }

    CTSealSession edge;
    CTSealSession router;

  private:
    using Queue = std::deque<std::vector<uint8_t>>;
    static CTSealSession::Sender To(Queue& queue) {
        return
            [&queue](const uint8_t* data, int length) { queue.emplace_back(data, data + length); };
    }
    // Whether the end's handshake is over after what waited for it.
    static bool Advance(CTSealSession& end, Queue& waiting, Queue& answers) {
        bool done = false;
        for (; !waiting.empty() && !done; waiting.pop_front()) {
            done = end.Advance(waiting.front().data(), static_cast<int>(waiting.front().size()),
                               To(answers)) == CTSealSession::Step::kDone;
        }
        return done;
    }
    bool Shake() {
        Queue to_router;
        Queue to_edge;
        edge.Advance(nullptr, 0, To(to_router));
        bool router_done = false;
        while (!to_router.empty()) {
            router_done = Advance(router, to_router, to_edge) || router_done;
            if (Advance(edge, to_edge, to_router)) return router_done;
        }
        return false;
    }

    CTSealKey m_edge_key;
    CTSealKey m_router_key;
};

void Seal(benchmark::State& state) {
    Channel channel;
    std::vector<uint8_t> message(static_cast<size_t>(state.range(0)), 0x5A);
    Record record;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            channel.edge.Seal(message.data(), static_cast<int>(message.size()), record.data()));
    }
}
BENCHMARK(Seal)->Arg(kSmallMessage)->Arg(CTSealSession::kMaxMessage);

// Bursts, as they come: the time for the sealing is not counted.
void Open(benchmark::State& state) {
    Channel channel;
    std::vector<uint8_t> message(static_cast<size_t>(state.range(0)), 0x5A);
    std::vector<Record> records(kBurst);
    std::vector<int> lengths(kBurst);
    CTSealSession::Sender nowhere = [](const uint8_t*, int) {};
    for (auto _ : state) {
        state.PauseTiming();
        for (size_t i = 0; i < kBurst; ++i) {
            lengths[i] = channel.edge.Seal(message.data(), static_cast<int>(message.size()),
                                           records[i].data());
        }
        state.ResumeTiming();
        for (size_t i = 0; i < kBurst; ++i) {
            int opened = channel.router.Open(records[i].data(), lengths[i], nowhere);
            if (opened != static_cast<int>(message.size())) state.SkipWithError("not opened");
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kBurst));
}
BENCHMARK(Open)->Arg(kSmallMessage)->Arg(CTSealSession::kMaxMessage);

}  // namespace
