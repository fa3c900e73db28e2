// What a split packet costs the receive path while fragments without partner gather: prints, for
// stores of several fillings, the time from the arrival of a packet's two halves to the joined
// packet. The same for a fragment that stays alone.

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "inet/tnet_frag_linker.h"
#include "inet/tnet_splitter.h"
#include "sstp/sstp_port.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 100;
constexpr int kPerRound = 2000;
constexpr int kFirstSize = 1400;
constexpr int kSecondSize = 132;
constexpr uint32_t kFlooder = 14;
constexpr uint32_t kSender = 1;

class Bench {
  public:
    // Nanoseconds; the best of some rounds, which other programs disturbed least.
    double PerPair(int waiting) {
        Fill(waiting);
        return Best([this](uint16_t seq) {
            Receive(kSender, seq, kFrameIndexSecond, kSecondSize);
            Receive(kSender, seq, kFrameIndexFirst, kFirstSize);
        });
    }
    double PerLoneFragment() {
        return Best([this](uint16_t seq) { Receive(kFlooder, seq, kFrameIndexFirst, kFirstSize); });
    }

  private:
    void Fill(int waiting) {
        for (int i = 0; i < waiting; ++i)
            Receive(kFlooder, static_cast<uint16_t>(i), kFrameIndexFirst, kFirstSize);
    }

    template <typename Step>
    double Best(Step step) {
        double best = 1e12;
        for (int round = 0; round < kRounds; ++round) {
            Clock::time_point begin = Clock::now();
            for (int i = 0; i < kPerRound; ++i)
                step(m_seq++);
            std::chrono::duration<double, std::nano> spent = Clock::now() - begin;
            best = std::min(best, spent.count() / kPerRound);
        }
        return best;
    }

    void Receive(uint32_t src, uint16_t seq, uint8_t index, int size) {
        CTXmitPkt* pkt = m_pool.Alloc();
        pkt->SkbPut(size);
        CTSstpMessage msg;
        msg.Attach(pkt);
        msg.GetHeader().Fill(kSstpNetPacket, 0, seq, static_cast<uint16_t>(size), kFrameTotalPair,
                             index, src, 0);
        m_port.RecvXmitPacketHandle(*pkt);
        if (pkt->GetStatus() == kXmitDeliver) pkt->Release();
    }

    CTXmitPktPool m_pool{2048, 128};
    CTSstpPort m_port;
    uint16_t m_seq = 0;
};

}  // namespace

int main() {
    printf("%-9s %16s %22s\n\n", "waiting", "ns per packet", "ns per lone fragment");
    for (int waiting : {0, 16, 64, 128, CTNetPktFragLinker::kMaxWaiting - 1}) {
        // The lone fragments of the second one fill its store themselves.
        printf("%-9d %16.0f", waiting, Bench().PerPair(waiting));
        bool full = waiting == CTNetPktFragLinker::kMaxWaiting - 1;
        full ? printf(" %22.0f\n", Bench().PerLoneFragment()) : printf("\n");
    }
    return 0;
}
