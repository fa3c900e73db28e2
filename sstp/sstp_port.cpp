// CTSstpPort: opening, closing and its two queues. The receive thread is in sstp_port_rx.cpp, the
// transmit thread in sstp_port_tx.cpp.

#include "sstp/sstp_port.h"

#include <algorithm>

#include "base/pvu_sleep.h"
#include "base/pvu_tick.h"

namespace {

constexpr int kReadWaitMs = 200;
constexpr unsigned kClosedReadMs = 5;

}  // namespace

CTSstpPort::~CTSstpPort() {
    // What was queued while no thread ran.
    ClearRxFifo();
    ClearTxFifo();
}

void CTSstpPort::Attach(CTXmitPktPool& pool, CTSstpConnect& conn) {
    m_pool = &pool;
    m_conn = &conn;
}

bool CTSstpPort::Open(CTXmitPktPool& pool, CTSstpConnect& conn) {
    Attach(pool, conn);
    return StartThread();
}

void CTSstpPort::Close() {
    StopThread();
}

void CTSstpPort::SetHeartBeatInterval(int seconds) {
    int64_t ms = static_cast<int64_t>(seconds) * 1000;
    m_heartbeat_interval =
        static_cast<unsigned>(std::clamp<int64_t>(ms, kMinHeartBeatMs, UINT32_MAX));
}

bool CTSstpPort::StartThread() {
    m_rx_running = true;
    if (!m_rx_thread.Start(rx_thread_process, this)) {
        m_rx_running = false;
        return false;
    }
    m_tx_running = true;
    if (!m_tx_thread.Start(tx_thread_process, this)) {
        m_rx_running = false;
        m_rx_thread.Stop();
        m_tx_running = false;
        return false;
    }
    return true;
}

void CTSstpPort::StopThread() {
    if (m_rx_running) {
        m_rx_running = false;
        m_rx_thread.Stop();
    }
    if (m_tx_running) {
        m_tx_running = false;
        m_tx_semaphore.Post();
        m_tx_thread.Stop();
    }
}

void CTSstpPort::Pause() {
    m_gate.Lock();
    m_paused = true;
    m_rx_turn.Lock();
    m_tx_turn.Lock();
}

void CTSstpPort::Resume() {
    m_tx_turn.UnLock();
    m_rx_turn.UnLock();
    m_paused = false;
    m_gate.UnLock();
}

// The port's threads, between two pieces of their work; whether they had to wait.
bool CTSstpPort::WaitAtGate() {
    if (!m_paused) return false;
    CTMutexGuard gate(m_gate);
    return true;
}

void CTSstpPort::BeginSession() {
    int dropped =
        Clear(m_tx_fifo, m_tx_semaphore) + Clear(m_rx_fifo, m_rx_semaphore) + m_fragments_waiting;
    m_fragments.Release();
    m_fragments_waiting = 0;
    m_counters.old_session.Add(static_cast<uint64_t>(dropped));
    m_heartbeat_misses = 0;
    m_unanswered_since = kAnswered;
    m_last_heartbeat = static_cast<uint32_t>(pvu_get_current_tick());
    m_heartbeat_sent_us = 0;
}

int CTSstpPort::Write(CTXmitPkt* pkt) {
    if (!pkt) return 1;
    if (Put(m_tx_fifo, *pkt) != 0) {
        m_counters.tx_queue_full.Add();
        pkt->Release();
        return 1;
    }
    m_tx_semaphore.Post();
    return 0;
}

void CTSstpPort::Write(CTXmitPkt* const* pkts, int n) {
    if (n == 1 && SendLone(*pkts[0])) return;
    int queued = m_tx_fifo.Enqueue(pkts, n, CTXmitPktMtFifo::kMaxNetPackets);
    m_tx_semaphore.Post(queued);
    if (queued == n) return;
    m_counters.tx_queue_full.Add(static_cast<uint64_t>(n - queued));
    CTXmitPktPool::Release(pkts + queued, n - queued);
}

int CTSstpPort::Write(CTSstpMessage& msg, CTSockAddr& to) {
    CTXmitPkt* pkt = m_pool ? m_pool->Alloc() : nullptr;
    if (!pkt) {
        m_counters.pool_empty.Add();
        return 1;
    }
    int length = std::min(msg.GetMessageLength(), msg.GetBufferSize());
    if (pkt->Write(msg.GetBufferPtr(), length) != 0) {
        pkt->Release();
        return 1;
    }
    pkt->SetSendAddr(to);
    return Write(pkt);
}

bool CTSstpPort::IsNetPacket(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    return msg.Attach(pkt) && msg.GetType() == kSstpNetPacket;
}

int CTSstpPort::Put(CTXmitPktMtFifo& queue, CTXmitPkt& pkt) {
    if (IsNetPacket(pkt)) return queue.Enqueue(&pkt, CTXmitPktMtFifo::kMaxNetPackets);
    ++m_commands_waiting;
    return queue.Enqueue(&pkt);
}

CTXmitPkt* CTSstpPort::Take(CTXmitPktMtFifo& queue) {
    CTXmitPkt* pkt = queue.Dequeue();
    if (pkt && !IsNetPacket(*pkt)) --m_commands_waiting;
    return pkt;
}

int CTSstpPort::Take(CTXmitPktMtFifo& queue, CTXmitPkt** pkts, int n) {
    int taken = queue.Dequeue(pkts, n);
    m_commands_waiting -= static_cast<int>(
        std::count_if(pkts, pkts + taken, [](CTXmitPkt* pkt) { return !IsNetPacket(*pkt); }));
    return taken;
}

int CTSstpPort::Read(CTXmitPkt** pkts, int n) {
    m_reader_busy = false;
    if (!m_rx_running) {
        pvu_msleep(kClosedReadMs);
        return 0;
    }
    if (m_rx_semaphore.Wait(kReadWaitMs) != 0) return 0;
    m_reader_busy = true;
    int taken = Take(m_rx_fifo, pkts, 1 + m_rx_semaphore.Take(n - 1));
    TellRoom();
    return taken;
}

CTXmitPkt* CTSstpPort::Read() {
    m_reader_busy = false;
    if (!m_rx_running) {
        pvu_msleep(kClosedReadMs);
        return nullptr;
    }
    if (m_rx_semaphore.Wait(kReadWaitMs) != 0) return nullptr;
    m_reader_busy = true;
    CTXmitPkt* pkt = Take(m_rx_fifo);
    TellRoom();
    return pkt;
}

// How many there were.
int CTSstpPort::Clear(CTXmitPktMtFifo& queue, CTSemaphore& semaphore) {
    int cleared = 0;
    while (CTXmitPkt* pkt = Take(queue)) {
        semaphore.TryWait();  // the post that came with it
        pkt->Release();
        ++cleared;
    }
    return cleared;
}

void CTSstpPort::ClearRxFifo() {
    Clear(m_rx_fifo, m_rx_semaphore);
}

void CTSstpPort::ClearTxFifo() {
    Clear(m_tx_fifo, m_tx_semaphore);
}
