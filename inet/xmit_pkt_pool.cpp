#include "inet/xmit_pkt_pool.h"

#include <malloc.h>

#include <new>

namespace {

// Descriptors that came back, of those out at once, that are worth it: half a megabyte.
constexpr int kBurst = 256;

}  // namespace

CTXmitPkt* CTXmitPktPool::CreateXmitPkt() {
    CTSkBuffer* skb = new (std::nothrow) CTSkBuffer;
    CTXmitPkt* pkt = new (std::nothrow) CTXmitPkt;
    if (!skb || !pkt || skb->Create(m_bufsize) != 0) {
        delete skb;
        delete pkt;
        return nullptr;
    }
    pkt->SetSkb(skb);
    pkt->SetOwner(this);
    return pkt;
}

void CTXmitPktPool::DestoryXmitPkt(CTXmitPkt* pkt) {
    if (!pkt) return;
    pkt->Destroy();  // a buffer of its own, if Create made one: it is not destroyed twice
    delete pkt->GetSkb();
    pkt->SetSkb(nullptr);
    delete pkt;
}

CTXmitPkt* CTXmitPktPool::Alloc() {
    CTXmitPkt* pkt;
    {
        CTMutexGuard guard(m_mutex);
        pkt = static_cast<CTXmitPkt*>(m_idle.pop_front());
    }
    if (!pkt) pkt = CreateXmitPkt();
    if (!pkt) return nullptr;
    pkt->Reset();
    pkt->SetOwner(this);
    // Two threads may meet here: the figure is a hint, one that is a little low does no harm.
    int loans = m_loans.fetch_add(1, std::memory_order_relaxed) + 1;
    if (loans > m_most_loans.load(std::memory_order_relaxed)) {
        m_most_loans.store(loans, std::memory_order_relaxed);
    }
    return pkt;
}

void CTXmitPktPool::Free(CTXmitPkt* pkt) {
    if (!pkt) return;
    m_loans.fetch_sub(1, std::memory_order_relaxed);
    {
        CTMutexGuard guard(m_mutex);
        if (m_idle.count() <= m_max) {
            m_idle.push_back(pkt);
            return;
        }
    }
    DestoryXmitPkt(pkt);
}

void CTXmitPktPool::Release() {
    CTMutexGuard guard(m_mutex);
    while (CTLinkedNode* node = m_idle.pop_front())
        DestoryXmitPkt(static_cast<CTXmitPkt*>(node));
}

// The buffers kept idle and held lie scattered over what a burst took, so that the allocator by
// itself keeps nearly all of it: the largest burst of its life would stay with the process.
bool CTXmitPktPool::Trim() {
    int loans = GetLoans();
    if (m_most_loans - loans < kBurst) return false;
    m_most_loans = loans;
    malloc_trim(0);
    return true;
}
