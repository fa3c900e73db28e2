// The receive thread of CTSstpPort. A datagram's road:
//
//   RecvBurst             all that the socket has
//   Accept                datagram -> descriptor; dropped unless its length is a message's
//   RecvXmitPacketHandle  heartbeat acknowledgements end here; fragments wait for their partner
//   Deliver               -> receive queue
//
// Recv, DoRecvXmitPacket and RecvXmitPacketFinish do the same for one datagram at a time.

#include <algorithm>
#include <climits>
#include <cstdio>

#include "base/pvu_batch.h"
#include "base/pvu_sleep.h"
#include "base/pvu_tick.h"
#include "base/pvu_time.h"
#include "sstp/sstp_heartbeat.h"
#include "sstp/sstp_port.h"

namespace {

constexpr unsigned kFirstRetryMs = 2000;  // after one unanswered heartbeat
constexpr unsigned kRetryMs = 1000;       // after more
constexpr unsigned kSilentMs = 1000;      // with a sealed channel through which nothing comes
constexpr unsigned kMissesToRenew = 2;

// Descriptors in both queues at which the receive thread stops reading: a full queue of network
// packets each way, and as many commands and acknowledgements.
constexpr int kMaxBacklog = 3 * CTXmitPktMtFifo::kMaxNetPackets;
constexpr int kRoomWaitMs = 100;
constexpr unsigned kPoolBackOffMs = 10;
constexpr int kMaxCommandsOfStrangers = 1024;

uint32_t Now() {
    return static_cast<uint32_t>(CTTime::GetCurrentTick());
}

}  // namespace

void* CTSstpPort::rx_thread_process(void* port) {
    if (port) static_cast<CTSstpPort*>(port)->RxLoop();
    return nullptr;
}

void CTSstpPort::RxLoop() {
    if (!m_conn || !m_pool) return;
    pvu_batch_thread();
    printf("sstp port rxloop start\n");
    m_last_heartbeat = Now();
    while (m_rx_running) {
        m_rx_pulse.Beat();
        WaitAtGate();
        CTMutexGuard turn(m_rx_turn);
        SendHeartBeat();
        RecvBurst();
    }
    CTXmitPktPool::Release(m_spares.data(), m_spare_count);
    m_spare_count = 0;
    m_rx_semaphore.Post();
    ClearRxFifo();
    m_fragments.Release();
    m_fragments_waiting = 0;
    printf("sstp port rxloop stop\n");
}

// All that waits in the socket, as far as one call of the system gives it.
void CTSstpPort::RecvBurst() {
    if (BacklogIsFull()) return WaitForRoom();
    if (!TakeSpares()) return;
    CTReceivedDatagram datagram;
    m_rx_pulse.Rest();  // the receive time-out may be long
    bool received = m_conn->Receive(datagram);
    m_rx_pulse.Beat();
    if (!received) return;
    CTXmitPkt* burst[kMaxBurst];
    int n = 0;
    do {
        CTXmitPkt* pkt = Accept(datagram);
        if (pkt) burst[n++] = pkt;
        if (n < kMaxBurst) continue;
        Deliver(burst, n);
        n = 0;
    } while (TakeSpares() && m_conn->NextReceived(datagram));
    Deliver(burst, n);
}

// Descriptors to receive into; false, after a pause, when there is not one to be had: what was not
// taken waits, in the socket's buffer or the connection's.
bool CTSstpPort::TakeSpares() {
    if (m_spare_count > 0) return true;
    m_spare_count = m_pool->Alloc(m_spares.data(), kMaxBurst);
    if (m_spare_count > 0) return true;
    m_counters.pool_empty.Add();
    pvu_msleep(kPoolBackOffMs);
    return false;
}

// The descriptor that is to be delivered after this datagram, if any.
CTXmitPkt* CTSstpPort::Accept(const CTReceivedDatagram& datagram) {
    CTXmitPkt& pkt = *m_spares[static_cast<size_t>(m_spare_count - 1)];
    CTSkBuffer& skb = *pkt.GetSkb();
    int length = std::min(datagram.length, skb.GetFreeSize());
    skb.PutData(datagram.data, length);
    if (!IsComplete(pkt)) {
        m_counters.malformed.Add();
        pkt.Reset();
        return nullptr;
    }
    pkt.SetRecvAddr(CTSockAddr(datagram.from));
    pkt.SetRecvLength(length);
    pkt.SetSource(kXmitFromTunnel);
    m_counters.received.Add();
    --m_spare_count;
    RecvXmitPacketHandle(pkt);
    if (pkt.GetStatus() == kXmitDeliver && IsFlooded(pkt)) {
        m_counters.flooded.Add();
        pkt.SetStatus(kXmitFinished);
    }
    if (pkt.GetStatus() == kXmitDeliver) return &pkt;
    if (pkt.GetStatus() == kXmitFinished) pkt.Release();
    return nullptr;
}

// Into the receive queue, in their order: commands always, network packets as far as there is room.
void CTSstpPort::Deliver(CTXmitPkt* const* pkts, int n) {
    if (n == 1 && PassLone(*pkts[0])) return;
    int queued = 0;
    for (int begin = 0, end = 0; begin < n; begin = end) {
        bool is_packet = IsNetPacket(*pkts[begin]);
        for (end = begin + 1; end < n && IsNetPacket(*pkts[end]) == is_packet;)
            ++end;
        int run = end - begin;
        if (!is_packet) m_commands_waiting += run;
        int taken = m_rx_fifo.Enqueue(pkts + begin, run,
                                      is_packet ? CTXmitPktMtFifo::kMaxNetPackets : INT_MAX);
        queued += taken;
        m_counters.rx_queue_full.Add(static_cast<uint64_t>(run - taken));
        CTXmitPktPool::Release(pkts + begin + taken, run - taken);
    }
    m_rx_semaphore.Post(queued);
}

// As this thread alone fills the queue, nothing can come between the look at it and the end of the
// packet's road; and the reader is busy before the queue is empty.
bool CTSstpPort::PassLone(CTXmitPkt& pkt) {
    if (!m_rx_fifo.IsEmpty() || m_reader_busy || !IsNetPacket(pkt)) return false;
    CTXmitPktTaker* taker = m_taker;
    if (!taker) return false;
    taker->TakeLone(pkt);
    return true;
}

int CTSstpPort::DoRecvXmitPacket() {
    if (BacklogIsFull()) {
        WaitForRoom();
        return 1;
    }
    CTXmitPkt* pkt = Recv();
    if (!pkt) return 1;
    RecvXmitPacketHandle(*pkt);
    RecvXmitPacketFinish(*pkt);
    return 0;
}

// Anybody can send commands and peer heartbeats, faster than they are carried out and answered.
// What comes from elsewhere than the central router is dropped while too many of them wait, be it
// here or as answers: otherwise the central router's commands and everybody's packets would be
// lost in the socket's full buffer or wait behind a long queue.
bool CTSstpPort::IsFlooded(CTXmitPkt& pkt) {
    return m_commands_waiting >= kMaxCommandsOfStrangers && !IsNetPacket(pkt) &&
           !IsFromCentralRouter(pkt);
}

// Peers' heartbeats come from the peers, whose addresses the model holds: the ingress thread looks.
bool CTSstpPort::IsForeign(CTXmitPkt& pkt, CTSstpMessage& msg) {
    if (!m_strict_source || IsFromCentralRouter(pkt)) return false;
    bool is_command = msg.GetType() == kSstpCommand || msg.GetType() == kSstpCommandAck;
    return !is_command || msg.GetSubType() != kSstpCmmP2PHeartbeat;
}

// The central router's commands and acknowledgements are never dropped, so a flood under its
// address could fill the memory. When too much waits the thread leaves datagrams to the socket's
// own buffer until a consumer has taken something; heartbeats go on, as the wait is bounded.
bool CTSstpPort::BacklogIsFull() {
    return m_rx_fifo.Count() + m_tx_fifo.Count() >= kMaxBacklog;
}

void CTSstpPort::WaitForRoom() {
    m_reader_waits = true;
    m_room.Wait(kRoomWaitMs);
    m_reader_waits = false;
}

void CTSstpPort::TellRoom() {
    if (m_reader_waits && m_reader_waits.exchange(false)) m_room.Post();
}

CTXmitPkt* CTSstpPort::Recv() {
    CTXmitPkt* pkt = m_pool->Alloc();
    if (!pkt) {
        m_counters.pool_empty.Add();
        pvu_msleep(kPoolBackOffMs);  // the datagram waits in the socket's buffer
        return nullptr;
    }
    CTSkBuffer* skb = pkt->GetSkb();
    CTSstpMessage msg;
    if (!skb || skb->GetFreeSize() < 1 || !msg.Attach(*skb)) {
        pkt->Release();
        return nullptr;
    }
    CTSockAddr from;
    int length = m_conn->Read(from, msg);
    if (length <= 0) {
        if (length == 0) m_counters.malformed.Add();
        pkt->Release();
        return nullptr;
    }
    skb->Put(length);
    if (!IsComplete(*pkt)) {
        m_counters.malformed.Add();
        pkt->Release();
        return nullptr;
    }
    pkt->SetRecvAddr(from);
    pkt->SetRecvLength(length);
    pkt->SetSource(kXmitFromTunnel);
    m_counters.received.Add();
    return pkt;
}

// Anybody can send to this port, and every later stage trusts the length field: it must name at
// least a header and no more than what arrived.
bool CTSstpPort::IsComplete(CTXmitPkt& pkt) const {
    int received = pkt.GetSkb()->GetDataLength();
    if (received < kSstpHeaderSize) return false;
    CTSstpMessage msg;
    msg.Attach(pkt);
    return msg.GetMessageLength() >= kSstpHeaderSize && msg.GetMessageLength() <= received;
}

void CTSstpPort::RecvXmitPacketHandle(CTXmitPkt& pkt) {
    pkt.SetStatus(kXmitDeliver);
    CTSstpMessage msg;
    if (!msg.Attach(pkt)) return;
    if (IsForeign(pkt, msg)) {
        m_counters.foreign.Add();
        pkt.SetStatus(kXmitFinished);
        return;
    }
    switch (msg.GetType()) {
        case kSstpInterCommandAck:
            InterCommandAckHandle(pkt, msg);
            break;
        case kSstpNetPacket:
            RecvNetPacketDone(pkt);
            m_fragments_waiting = m_fragments.Count();
            break;
        default:
            break;
    }
}

void CTSstpPort::InterCommandAckHandle(CTXmitPkt& pkt, CTSstpMessage& msg) {
    if (msg.GetSubType() == kSstpInterHeartBeat) InterCommandHeartBeatAckDone(pkt);
}

void CTSstpPort::InterCommandHeartBeatAckDone(CTXmitPkt& pkt) {
    m_heartbeat_misses = 0;
    m_unanswered_since = kAnswered;
    m_answered = static_cast<int64_t>(pvu_get_current_tick());
    uint32_t tick = 0;
    if (m_heartbeat_sent_us != 0 && sstp_answered_tick(pkt, tick) && tick == m_last_heartbeat) {
        m_round_trip_us = pvu_get_current_micros() - m_heartbeat_sent_us;
    }
    pkt.SetStatus(kXmitFinished);
}

void CTSstpPort::RecvNetPacketDone(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    msg.Attach(pkt);
    if (m_merger.IsSingle(msg)) {
        m_fragments.Note(msg);
        pkt.SetStatus(kXmitDeliver);
        return;
    }
    uint32_t now = Now();
    CTXmitPkt* stored = m_fragments.FindPartner(msg, now);
    if (!stored) {
        pkt.SetStatus(kXmitHeld);
        m_fragments.Add(pkt, now);
        return;
    }
    CTSstpMessage stored_msg;
    stored_msg.Attach(*stored);
    if (stored_msg.GetFrameTotal() != kFrameTotalNone &&
        stored_msg.GetFrameIndex() == msg.GetFrameIndex()) {
        ReplaceRepeated(pkt, *stored, now);
        return;
    }
    int result = m_merger.Merge(pkt, *stored);
    if (result != 0) m_counters.merge_refused.Add();
    pkt.SetStatus(result == 0 ? kXmitDeliver : kXmitFinished);
    m_fragments.Delete(*stored);
}

void CTSstpPort::ReplaceRepeated(CTXmitPkt& incoming, CTXmitPkt& stored, uint32_t now) {
    CTSstpMessage stored_msg;
    stored_msg.Attach(stored);
    // The central router relays what any edge sends: its address does not tell who caused this.
    CTString text;
    text.Append("Recv same frame, src: %d, ft: %d, fi: %d\n", static_cast<int>(stored_msg.GetSrc()),
                stored_msg.GetFrameTotal(), stored_msg.GetFrameIndex());
    m_print_limit.Print(text.c_str(), *incoming.GetRecvAddr());
    m_fragments.Delete(stored);
    incoming.SetStatus(kXmitHeld);
    m_fragments.Add(incoming, now);
}

void CTSstpPort::RecvXmitPacketFinish(CTXmitPkt& pkt) {
    if (pkt.GetStatus() == kXmitFinished) {
        pkt.Release();
        return;
    }
    if (pkt.GetStatus() != kXmitDeliver) return;
    if (IsFlooded(pkt)) {
        m_counters.flooded.Add();
        pkt.Release();
        return;
    }
    if (Put(m_rx_fifo, pkt) != 0) {
        m_counters.rx_queue_full.Add();
        pkt.Release();
        return;
    }
    m_rx_semaphore.Post();
}

int CTSstpPort::SendHeartBeat() {
    unsigned interval = m_heartbeat_interval;
    if (m_heartbeat_misses == 1) interval = kFirstRetryMs;
    if (m_heartbeat_misses > 1) interval = kRetryMs;
    uint64_t tick = pvu_get_current_tick();
    uint32_t now = static_cast<uint32_t>(tick);
    // A central router that was restarted has lost the sealed channel, and only a handshake finds
    // that out: so it is asked sooner, and again with a new channel.
    if (m_conn->IsSilent()) interval = kSilentMs;
    if (now - m_last_heartbeat < interval) return 0;
    if (m_conn->IsSilent() && m_heartbeat_misses >= kMissesToRenew) m_conn->RenewChannel();

    CTSstpHeartBeatMsg heartbeat;
    if (!heartbeat.Create()) return 1;
    heartbeat.SetTick(now);
    int64_t sent_us = pvu_get_current_micros();
    if (Write(heartbeat, m_conn->GetCentralRouterAddr()) != 0) return 1;
    m_last_heartbeat = now;
    m_heartbeat_sent_us = sent_us;
    if (m_heartbeat_misses == 0) m_unanswered_since = static_cast<int64_t>(tick);
    ++m_heartbeat_misses;
    if (m_heartbeat_misses > kMissesToDropOff) {
        printf("sstp drop off, count = %d\n", static_cast<int>(m_heartbeat_misses));
    }
    return 0;
}
