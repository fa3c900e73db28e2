// A packet's road through the device: ReadBurst (receive thread) -> QueueBurst -> Read (outgress
// thread), or, alone, -> PassLone; the other way it is the one call of Write.

#include "forward/net_device.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/pvu_batch.h"
#include "base/pvu_event.h"
#include "base/pvu_sleep.h"
#include "base/pvu_tick.h"

namespace {

constexpr int kMinFrameLength = 14;   // layer 2: an Ethernet header
constexpr int kMinPacketLength = 20;  // layer 3: an IPv4 header
constexpr int kReadWaitMs = 200;
constexpr unsigned kClosedReadMs = 5;
constexpr unsigned kPoolBackOffMs = 10;
constexpr uint64_t kRestoreIntervalMs = 1000;
constexpr int kAddrTextSize = 16;

// Once for each time that it begins to fail, not for each packet.
void PrintFailure(bool& printed, const char* what) {
    if (printed) return;
    printed = true;
    printf("net adapter %s failed: %s\n", what, strerror(errno));
}

}  // namespace

CTNetDevice::CTNetDevice() : m_min_length(kMinFrameLength) {}

// A device that is closed, or was never opened, leaves the interface alone: of that name there may
// be another program's by now.
CTNetDevice::~CTNetDevice() {
    if (m_running == 1) Close();
}

int CTNetDevice::Open(CTNetAdapter& adapter, CTXmitPktPool& pool) {
    m_adapter = &adapter;
    m_pool = &pool;
    m_net_layer = adapter.GetNetLayer();
    m_min_length = m_net_layer == kNetLayer3 ? kMinPacketLength : kMinFrameLength;
    adapter.SetMediaStatus(true);
    return StartThread();
}

void CTNetDevice::Close() {
    StopThread();
    CTMutexGuard guard(m_write_mutex);
    if (m_adapter) m_adapter->SetMediaStatus(false);
    m_adapter = nullptr;
    m_pool = nullptr;
}

int CTNetDevice::StartThread() {
    m_running = 1;
    if (m_rx_thread.Start(ThreadEntry, this)) return 1;
    m_running = 0;
    return 0;
}

void CTNetDevice::StopThread() {
    if (m_running != 1) return;
    m_running = 0;
    m_rx_thread.Stop();
}

void* CTNetDevice::ThreadEntry(void* device) {
    static_cast<CTNetDevice*>(device)->RxLoop();
    return nullptr;
}

void CTNetDevice::RxLoop() {
    if (!m_adapter || !m_pool) return;
    pvu_batch_thread();
    while (m_running == 1) {
        m_pulse.Beat();
        if (TakeSpares()) ReadBurst();
    }
    CTXmitPktPool::Release(m_spares.data(), m_spare_count);
    m_spare_count = 0;
    m_rx_semaphore.Post();
    ClearRxFifo();
}

// Descriptors for the next burst; false, after a pause, when there is not one to be had.
bool CTNetDevice::TakeSpares() {
    m_spare_count +=
        m_pool->Alloc(&m_spares[static_cast<size_t>(m_spare_count)], kMaxBurst - m_spare_count);
    if (m_spare_count > 0) return true;
    m_counters.pool_empty.Add();
    pvu_msleep(kPoolBackOffMs);
    return false;
}

// What the interface has by now, as far as there are descriptors: it ends when nothing more is to
// be read. What had to be waited for and is one packet does not even wait for that.
void CTNetDevice::ReadBurst() {
    CTBurstReader& reader = m_adapter->GetReader();
    bool has_waited = m_is_drained && !reader.HasPacket();
    if (has_waited && !m_adapter->WaitReadable(kReadWaitMs)) return;
    int result = reader.HasPacket() ? 1 : reader.Read();
    m_is_drained = result == 0;
    if (result < 0) return OnFailedRead();
    m_read_failure_printed = false;
    m_read_failed = false;
    m_now = CTThread::GetCurrentTick();
    while (reader.HasPacket()) {
        TakePackets(reader);
        if (has_waited && m_filled == 1 && PassLone()) break;
        if (m_filled == m_spare_count) break;
        has_waited = false;
        m_is_drained = reader.Read() <= 0;
    }
    PassOn();
}

// The packets of one read.
void CTNetDevice::TakePackets(CTBurstReader& reader) {
    if (reader.IsBurst() && reader.IsFirst() && ++m_burst_number == 0) m_burst_number = 1;
    while (reader.HasPacket() && m_filled < m_spare_count) {
        CTXmitPkt& pkt = *m_spares[static_cast<size_t>(m_filled)];
        CTSkBuffer* skb = pkt.GetSkb();
        int length = reader.Next(skb->GetData(), skb->GetFreeSize());
        if (length < m_min_length) {
            m_counters.short_read.Add();
            continue;
        }
        TakePacket(pkt, length);
        pkt.SetBurst(reader.IsBurst() ? m_burst_number : 0);
        ++m_filled;
    }
}

void CTNetDevice::TakePacket(CTXmitPkt& pkt, int length) {
    pkt.GetSkb()->Put(length);
    pkt.SetNetLayer(m_net_layer);
    pkt.SetRecvTick(m_now);
    pkt.SetSource(kXmitFromTap);
    m_counters.read.Add();
}

void CTNetDevice::PassOn() {
    if (m_filled == 0) return;
    if (PassLone()) return;
    QueueBurst();
    KeepSpares();
}

// As this thread alone fills the queue, nothing can come between the look at it and the end of the
// packet's road; and the reader is busy before the queue is empty.
bool CTNetDevice::PassLone() {
    if (m_filled != 1 || !m_rx_fifo.IsEmpty() || m_reader_busy) return false;
    CTXmitPktTaker* taker = m_taker;
    if (!taker) return false;
    taker->TakeLone(*m_spares[0]);
    KeepSpares();
    return true;
}

void CTNetDevice::QueueBurst() {
    int queued = m_rx_fifo.Enqueue(m_spares.data(), m_filled, CTXmitPktMtFifo::kMaxNetPackets);
    m_rx_semaphore.Post(queued);
    if (queued < m_filled) {
        m_counters.queue_full.Add(static_cast<uint64_t>(m_filled - queued));
        CTXmitPktPool::Release(&m_spares[static_cast<size_t>(queued)], m_filled - queued);
    }
}

// The descriptors that were not filled move to the front.
void CTNetDevice::KeepSpares() {
    std::copy(m_spares.begin() + m_filled, m_spares.begin() + m_spare_count, m_spares.begin());
    m_spare_count -= m_filled;
    m_filled = 0;
}

CTXmitPkt* CTNetDevice::ReadXmitPacket() {
    CTXmitPkt* pkt = m_pool->Alloc();
    if (!pkt) {
        m_counters.pool_empty.Add();
        pvu_msleep(kPoolBackOffMs);
        return nullptr;
    }
    CTSkBuffer* skb = pkt->GetSkb();
    int length = m_adapter->Read(skb->GetData(), skb->GetFreeSize(), kReadWaitMs);
    bool is_end = length == 0 && errno == ENODEV;  // an end, and no error
    if (length >= m_min_length) {
        m_now = CTThread::GetCurrentTick();
        TakePacket(*pkt, length);
        m_read_failure_printed = false;
        m_read_failed = false;
        return pkt;
    }
    pkt->Release();
    if (length < 0 || is_end) {
        OnFailedRead();
        return nullptr;
    }
    m_read_failed = false;
    if (length > 0) m_counters.short_read.Add();
    return nullptr;
}

// A failed read came back at once: without a pause an interface that is gone would keep this
// thread busy for ever. One that fails by itself, as a signal may make it, costs none.
void CTNetDevice::OnFailedRead() {
    bool is_gone = errno == ENODEV;
    if (is_gone && !m_read_failure_printed) TellState(CTEventLevel::kWarning, "interface lost");
    PrintFailure(m_read_failure_printed, "read");
    if (is_gone && RestoreInterface()) return;
    m_counters.read_failed.Add();
    if (m_read_failed) pvu_msleep(kReadWaitMs);
    m_read_failed = true;
}

void CTNetDevice::TellState(CTEventLevel level, const char* what) {
    int error = errno;  // is still looked at after this
    CTEvent(level, what).Add("interface", m_adapter->GetName()).Log();
    errno = error;
}

// Somebody deleted the interface. A new one takes its place once the name is free; a writer waits
// while the descriptors are exchanged.
bool CTNetDevice::RestoreInterface() {
    uint64_t now = pvu_get_current_tick();
    if (now < m_next_restore) return false;
    m_next_restore = now + kRestoreIntervalMs;
    int fd = m_adapter->MakeAgain();
    if (fd == -1) return false;
    {
        CTMutexGuard guard(m_write_mutex);
        m_adapter->Replace(fd);
        m_write_failure_printed = false;
    }
    m_read_failure_printed = false;
    m_read_failed = false;
    m_adapter->SetMediaStatus(true);
    char address[kAddrTextSize];
    m_adapter->GetIP().Format(address, sizeof address);
    printf("net adapter %s is back, address %s\n", m_adapter->GetName(), address);
    CTEvent(CTEventLevel::kNotice, "interface back")
        .Add("interface", m_adapter->GetName())
        .Add("address", address)
        .Log();
    return true;
}

CTXmitPkt* CTNetDevice::Read() {
    m_reader_busy = false;
    if (m_running == 0) {
        pvu_msleep(kClosedReadMs);
        return nullptr;
    }
    if (m_rx_semaphore.Wait(kReadWaitMs) != 0) return nullptr;
    m_reader_busy = true;
    return m_rx_fifo.Dequeue();
}

int CTNetDevice::Read(CTXmitPkt** pkts, int n) {
    m_reader_busy = false;
    if (m_running == 0) {
        pvu_msleep(kClosedReadMs);
        return 0;
    }
    if (m_rx_semaphore.Wait(kReadWaitMs) != 0) return 0;
    m_reader_busy = true;
    return m_rx_fifo.Dequeue(pkts, 1 + m_rx_semaphore.Take(n - 1));
}

int CTNetDevice::Write(CTXmitPkt* pkt) {
    if (!pkt) return 0;
    CTSkBuffer* skb = pkt->GetSkb();
    CTMutexGuard guard(m_write_mutex);
    if (!m_adapter || !skb) return -1;
    int result = m_adapter->Write(skb->GetData(), skb->GetDataLength());
    CountWritten(result, 1);
    return result;
}

void CTNetDevice::Write(CTXmitPkt* const* pkts, int n) {
    CTMutexGuard guard(m_write_mutex);
    if (!m_adapter) return;
    for (int i = 0; i < n; ++i) {
        CTSkBuffer& skb = *pkts[i]->GetSkb();
        if (!m_adapter->HasBursts()) {  // nothing is looked at that cannot be joined
            CountWritten(m_adapter->Write(skb.GetData(), skb.GetDataLength()), 1);
            continue;
        }
        if (m_joiner.Add(skb.GetData(), skb.GetDataLength())) continue;
        WriteJoined();
        m_joiner.Add(skb.GetData(), skb.GetDataLength());
    }
    if (!m_joiner.IsEmpty()) WriteJoined();
}

void CTNetDevice::WriteJoined() {
    int pieces = 0;
    const iovec* piece = m_joiner.Finish(pieces);
    CountWritten(m_adapter->WritePieces(piece, pieces), m_joiner.Count());
    m_joiner.Clear();
}

void CTNetDevice::CountWritten(int result, int packets) {
    CTCounter& counter = result > 0 ? m_counters.written : m_counters.write_failed;
    counter.Add(static_cast<uint64_t>(packets));
    if (result > 0) {
        if (m_write_failure_printed) TellState(CTEventLevel::kNotice, "interface up");
        m_write_failure_printed = false;
    }
    // The interface is down. That it is gone, the reading thread says; other failures are the
    // packet's own, which anybody can send.
    if (result < 0 && errno == EIO) {
        if (!m_write_failure_printed) TellState(CTEventLevel::kWarning, "interface down");
        PrintFailure(m_write_failure_printed, "write");
    }
}

void CTNetDevice::ClearRxFifo() {
    while (CTXmitPkt* pkt = m_rx_fifo.Dequeue()) {
        m_rx_semaphore.TryWait();  // the post that came with it
        pkt->Release();
    }
}
