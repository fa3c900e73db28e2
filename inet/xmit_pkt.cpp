#include "inet/xmit_pkt.h"

#include <cerrno>
#include <new>

#include "inet/xmit_pkt_pool.h"

int CTXmitPkt::Create(int n) {
    Destroy();
    CTSkBuffer* skb = new (std::nothrow) CTSkBuffer;
    if (!skb || skb->Create(n) != 0) {
        delete skb;
        return 0;
    }
    m_own_skb = skb;
    m_skb = skb;
    return 1;
}

void CTXmitPkt::Destroy() {
    if (!m_own_skb) return;
    if (m_skb == m_own_skb) m_skb = nullptr;
    delete m_own_skb;
    m_own_skb = nullptr;
}

void CTXmitPkt::Init() {
    m_status = kXmitFinished;
    m_recv_tick = 0;
    m_recv_length = 0;
    m_burst = 0;
    m_store_mark = 0;
    m_source = kXmitFromTap;
    m_own_skb = nullptr;
    m_skb = nullptr;
    m_owner = nullptr;
}

void CTXmitPkt::Reset() {
    m_recv_tick = 0;
    m_recv_length = 0;
    m_burst = 0;
    m_store_mark = 0;
    m_source = kXmitFromTap;
    m_recv_addr.Zero();
    m_send_addr.Zero();
    SkbReset();
}

void CTXmitPkt::SetRecvAddr(const CTSockAddr* addr) {
    if (addr) m_recv_addr = *addr;
}

void CTXmitPkt::SetSendAddr(const CTSockAddr* addr) {
    if (addr) m_send_addr = *addr;
}

int CTXmitPkt::CopySkb(const CTSkBuffer* other) {
    if (!m_skb) return -ENOMEM;
    m_skb->Copy(other);
    return 0;
}

int CTXmitPkt::CopySkb(const CTXmitPkt* other) {
    return other ? CopySkb(other->GetSkb()) : -EINVAL;
}

void CTXmitPkt::SkbPut(int n) {
    if (m_skb) m_skb->Put(n);
}

void CTXmitPkt::SkbReset() {
    if (m_skb) m_skb->Reset();
}

int CTXmitPkt::Write(const void* p, int n) {
    if (!p || n < 1 || !m_skb) return 0;
    return m_skb->PutData(p, n);
}

void CTXmitPkt::Release() {
    if (m_owner) {
        static_cast<CTXmitPktPool*>(m_owner)->Free(this);
    } else {
        Destroy();
    }
}
