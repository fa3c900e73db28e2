// The transmit thread of CTSstpPort. A descriptor's road:
//
//   transmit queue -> TxXmitPacketHandle -> Send or SendNetPacket -> socket
//   TxXmitPacketFinish: back to the pool, sent or not

#include <cstdio>

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
    printf("sstp port txloop start\n");
    if (m_split_spare.Create(kSpareSize) == 0) return;
    m_splitter.SetMtu(m_conn->GetMtu());
    while (m_tx_running) {
        m_tx_semaphore.Wait();
        bool was_paused = WaitAtGate();
        CTMutexGuard turn(m_tx_turn);
        CTXmitPkt* pkt = Take(m_tx_fifo);
        TellRoom();
        if (!pkt) {
            if (was_paused) continue;  // a new session began without it
            printf("pkt is null\n");
            m_tx_fifo.Print();
            continue;
        }
        TxXmitPacketHandle(*pkt);
        TxXmitPacketFinish(*pkt);
    }
    ClearTxFifo();
    m_split_spare.Destroy();
    printf("sstp port txloop stop\n");
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
