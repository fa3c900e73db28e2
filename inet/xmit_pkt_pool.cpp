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

CTXmitPkt* CTXmitPktPool::Ready(CTXmitPkt* pkt) {
    if (!pkt) pkt = CreateXmitPkt();
    if (!pkt) return nullptr;
    pkt->Reset();
    pkt->SetOwner(this);
    return pkt;
}

void CTXmitPktPool::CountLoans(int n) {
    // Two threads may meet here: the figures are hints, one that is a little low does no harm.
    int loans = m_loans.fetch_add(n, std::memory_order_relaxed) + n;
    if (loans > m_most_loans.load(std::memory_order_relaxed)) {
        m_most_loans.store(loans, std::memory_order_relaxed);
    }
    if (m_taken.fetch_add(n, std::memory_order_relaxed) + n > m_max) m_keep = m_busy_max;
}

CTXmitPkt* CTXmitPktPool::Alloc() {
    CTXmitPkt* pkt = nullptr;
    return Alloc(&pkt, 1) == 1 ? pkt : nullptr;
}

int CTXmitPktPool::Alloc(CTXmitPkt** pkts, int n) {
    {
        CTMutexGuard guard(m_mutex);
        for (int i = 0; i < n; ++i)
            pkts[i] = static_cast<CTXmitPkt*>(m_idle.pop_front());
    }
    int ready = 0;
    while (ready < n && (pkts[ready] = Ready(pkts[ready])))
        ++ready;
    CountLoans(ready);
    return ready;
}

void CTXmitPktPool::Free(CTXmitPkt* pkt) {
    if (pkt) TakeBack(&pkt, 1, Place::kBack);
}

void CTXmitPktPool::TakeBack(CTXmitPkt* const* pkts, int n, Place place) {
    m_loans.fetch_sub(n, std::memory_order_relaxed);
    int kept = 0;
    {
        CTMutexGuard guard(m_mutex);
        for (; kept < n && m_idle.count() <= m_keep; ++kept)
            place == Place::kFront ? m_idle.push_front(pkts[kept]) : m_idle.push_back(pkts[kept]);
    }
    for (; kept < n; ++kept)
        DestoryXmitPkt(pkts[kept]);
}

void CTXmitPktPool::Release(CTXmitPkt* const* pkts, int n) {
    for (int begin = 0, end = 0; begin < n; begin = end) {
        CTXmitPktPool* owner = static_cast<CTXmitPktPool*>(pkts[begin]->GetOwner());
        for (end = begin + 1; end < n && pkts[end]->GetOwner() == owner;)
            ++end;
        if (owner) {
            owner->TakeBack(pkts + begin, end - begin, Place::kFront);
        } else {
            for (int i = begin; i < end; ++i)
                pkts[i]->Release();
        }
    }
}

void CTXmitPktPool::Release() {
    CTMutexGuard guard(m_mutex);
    while (CTLinkedNode* node = m_idle.pop_front())
        DestoryXmitPkt(static_cast<CTXmitPkt*>(node));
}

int CTXmitPktPool::GetIdle() {
    CTMutexGuard guard(m_mutex);
    return m_idle.count();
}

void CTXmitPktPool::EndLoad() {
    m_keep = m_max;
    CTMutexGuard guard(m_mutex);
    while (m_idle.count() > m_max + 1)
        DestoryXmitPkt(static_cast<CTXmitPkt*>(m_idle.pop_back()));
}

// The buffers kept idle and held lie scattered over what a burst took, so that the allocator by
// itself keeps nearly all of it: the largest burst of its life would stay with the process.
bool CTXmitPktPool::Trim() {
    bool is_quiet = m_taken.exchange(0) <= m_max;
    if (m_keep > m_max && !is_quiet) return false;
    if (m_keep > m_max) EndLoad();
    int loans = GetLoans();
    if (m_most_loans - loans < kBurst) return false;
    m_most_loans = loans;
    malloc_trim(0);
    return true;
}
