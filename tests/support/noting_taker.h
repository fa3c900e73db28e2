#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "inet/xmit_pkt.h"
#include "inet/xmit_pkt_fifo.h"
#include "inet/xmit_pkt_taker.h"
#include "lab/wire/wire_message.h"

// Whether that many wait in the queue, now or within ten seconds.
inline bool BecomesLong(CTXmitPktMtFifo& queue, int count) {
    for (int i = 0; i < 10000 && queue.Count() != count; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return queue.Count() == count;
}

// Takes lone packets and keeps their bytes.
class NotingTaker : public CTXmitPktTaker {
  public:
    void TakeLone(CTXmitPkt& pkt) override {
        const CTSkBuffer& skb = *pkt.GetSkb();
        std::lock_guard lock(m_mutex);
        m_taken.emplace_back(skb.GetData(), skb.GetData() + skb.GetDataLength());
        pkt.Release();
        m_came.notify_all();
    }
    // What was taken so far, at least that many within ten seconds.
    std::vector<WireBytes> WaitFor(size_t count) {
        std::unique_lock lock(m_mutex);
        m_came.wait_for(lock, std::chrono::seconds(10), [&] { return m_taken.size() >= count; });
        return m_taken;
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_came;
    std::vector<WireBytes> m_taken;
};
