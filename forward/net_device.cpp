// A packet's road through the device: ReadXmitPacket (receive thread) -> Queue -> Read (outgress
// thread); the other way it is the one call of Write.

#include "forward/net_device.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

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
    while (m_running == 1) {
        if (CTXmitPkt* pkt = ReadXmitPacket()) Queue(pkt);
    }
    m_rx_semaphore.Post();
    ClearRxFifo();
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
    bool is_gone = length <= 0 && errno == ENODEV;
    if (is_gone) length = -1;  // also where it is an end and no error
    if (length >= m_min_length) {
        skb->Put(length);
        pkt->SetNetLayer(m_net_layer);
        pkt->SetRecvTick(CTThread::GetCurrentTick());
        pkt->SetSource(kXmitFromTap);
        m_counters.read.Add();
        m_read_failure_printed = false;
        m_read_failed = false;
        return pkt;
    }
    if (length < 0) PrintFailure(m_read_failure_printed, "read");
    pkt->Release();
    if (is_gone && RestoreInterface()) return nullptr;
    if (length < 0) OnFailedRead();
    if (length >= 0) m_read_failed = false;
    if (length > 0) m_counters.short_read.Add();
    return nullptr;
}

// A failed read came back at once: without a pause an interface that is gone would keep this
// thread busy for ever. One that fails by itself, as a signal may make it, costs none.
void CTNetDevice::OnFailedRead() {
    m_counters.read_failed.Add();
    if (m_read_failed) pvu_msleep(kReadWaitMs);
    m_read_failed = true;
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
    return true;
}

void CTNetDevice::Queue(CTXmitPkt* pkt) {
    if (m_rx_fifo.Enqueue(pkt, CTXmitPktMtFifo::kMaxNetPackets) != 0) {
        m_counters.queue_full.Add();
        pkt->Release();
        return;
    }
    m_rx_semaphore.Post();
}

CTXmitPkt* CTNetDevice::Read() {
    if (m_running == 0) {
        pvu_msleep(kClosedReadMs);
        return nullptr;
    }
    if (m_rx_semaphore.Wait(kReadWaitMs) != 0) return nullptr;
    return m_rx_fifo.Dequeue();
}

int CTNetDevice::Write(CTXmitPkt* pkt) {
    if (!pkt) return 0;
    CTSkBuffer* skb = pkt->GetSkb();
    CTMutexGuard guard(m_write_mutex);
    if (!m_adapter || !skb) return -1;
    int result = m_adapter->Write(skb->GetData(), skb->GetDataLength());
    (result > 0 ? m_counters.written : m_counters.write_failed).Add();
    if (result > 0) m_write_failure_printed = false;
    // The interface is down. That it is gone, the reading thread says; other failures are the
    // packet's own, which anybody can send.
    if (result < 0 && errno == EIO) PrintFailure(m_write_failure_printed, "write");
    return result;
}

void CTNetDevice::ClearRxFifo() {
    while (CTXmitPkt* pkt = m_rx_fifo.Dequeue()) {
        m_rx_semaphore.TryWait();  // the post that came with it
        pkt->Release();
    }
}
