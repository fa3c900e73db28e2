// The transmit thread of CTSstpPort. A descriptor's road:
//
//   transmit queue -> SendQueued -> CTSstpSendBurst -> socket, and back to the pool, sent or not
//
// The operations behind it do the same for one descriptor at a time.

#include <cstdio>

#include "base/pvu_batch.h"
#include "sstp/sstp_port.h"

namespace {

constexpr int kSpareSize = 2048;

}  // namespace

void* CTSstpPort::tx_thread_process(void* port) {
    if (port) static_cast<CTSstpPort*>(port)->TxLoop();
    return nullptr;
}

void CTSstpPort::TxLoop() {
    if (!m_conn) return;
    pvu_batch_thread();
    printf("sstp port txloop start\n");
    if (m_split_spare.Create(kSpareSize) == 0 || !BeginSending()) return;
    m_splitter.SetMtu(m_conn->GetMtu());
    while (m_tx_running) {
        m_tx_pulse.Rest();
        m_tx_semaphore.Wait();
        m_tx_pulse.Beat();
        bool was_paused = WaitAtGate();
        CTMutexGuard turn(m_tx_turn);
        SendQueued(was_paused);
    }
    ClearTxFifo();
    EndSending();
    m_split_spare.Destroy();
    printf("sstp port txloop stop\n");
}

bool CTSstpPort::BeginSending() {
    CTMutexGuard turn(m_tx_turn);
    m_can_send = m_send_burst.Create() != 0;
    m_send_burst.SetMtu(m_conn->GetMtu());
    return m_can_send;
}

void CTSstpPort::EndSending() {
    CTMutexGuard turn(m_tx_turn);
    m_can_send = false;
    m_send_burst.Destroy();
}

// All that waits, as far as one burst goes. The first post was taken already.
void CTSstpPort::SendQueued(bool was_paused) {
    CTXmitPkt* burst[kMaxBurst];
    int posts = 1 + m_tx_semaphore.Take(kMaxBurst - 1);
    int n = Take(m_tx_fifo, burst, posts);
    TellRoom();
    if (n > 0) SendBurst(burst, n);
    if (n == posts || was_paused) return;  // paused: a new session began without what waited
    printf("pkt is null\n");
    m_tx_fifo.Print();
}

void CTSstpPort::SendBurst(CTXmitPkt** pkts, int n) {
    int sent = m_send_burst.Send(*m_conn, pkts, n);
    m_counters.sent.Add(static_cast<uint64_t>(sent));
    m_counters.send_refused.Add(static_cast<uint64_t>(n - sent));
    CTXmitPktPool::Release(pkts, n);
}

// Whether the packet was sent at once: the transmit thread has nothing in hand, as it keeps its
// turn until that is sent, and nothing waits that would have to go first.
bool CTSstpPort::SendLone(CTXmitPkt& pkt) {
    if (m_tx_turn.TryLock() != 0) return false;
    bool is_first = m_can_send && m_tx_fifo.IsEmpty();
    CTXmitPkt* burst[] = {&pkt};
    if (is_first) SendBurst(burst, 1);
    m_tx_turn.UnLock();
    return is_first;
}

void CTSstpPort::TxXmitPacketHandle(CTXmitPkt& pkt) {
    pkt.SetStatus(kXmitFinished);
    CTSstpMessage msg;
    if (!msg.Attach(pkt)) return;
    int sent = msg.GetType() == kSstpNetPacket ? SendNetPacket(pkt) : Send(pkt);
    (sent > 0 ? m_counters.sent : m_counters.send_refused).Add();
}

void CTSstpPort::TxXmitPacketFinish(CTXmitPkt& pkt) {
    if (pkt.GetStatus() == kXmitFinished) pkt.Release();
}

// The address is not checked: a zero one is sent to as it stands.
int CTSstpPort::Send(CTXmitPkt& pkt) {
    CTSkBuffer* skb = pkt.GetSkb();
    CTSstpMessage msg;
    if (!skb || skb->GetDataLength() <= 0 || !msg.Attach(*skb)) return 0;
    return m_conn->Write(*pkt.GetSendAddr(), msg);
}

int CTSstpPort::Send(CTXmitPkt& first, CTXmitPkt& second) {
    CTSkBuffer* skb = first.GetSkb();
    CTSstpMessage first_msg;
    CTSstpMessage second_msg;
    if (!skb || skb->GetDataLength() <= 0 || !first_msg.Attach(*skb)) return 0;
    if (!second_msg.Attach(second)) return 0;
    return m_conn->Write(*first.GetSendAddr(), first_msg, second_msg);
}

// Every network packet goes to the central router, whatever address it carries: the endpoint of a
// direct connection that the outgress forwarder put there tells where it could go.
int CTSstpPort::SendNetPacket(CTXmitPkt& pkt) {
    pkt.SetSendAddr(m_conn->GetCentralRouterAddr());
    if (m_splitter.IsSingle(pkt) == 0) return Send(pkt);
    m_split_spare.SetStatus(kXmitFinished);
    m_splitter.Split(pkt, m_split_spare);
    return m_split_spare.GetStatus() == kXmitSecondFilled ? Send(pkt, m_split_spare) : 0;
}
