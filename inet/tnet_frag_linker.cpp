#include "inet/tnet_frag_linker.h"

#include "base/pvu_time.h"

namespace {

constexpr unsigned kSweepAgeMs = 800;
constexpr uint32_t kHashFactor = 0x9E3779B1;  // spreads neighbouring sources

}  // namespace

// The numbers of one source follow each other, so they lie in different buckets.
size_t CTNetPktFragLinker::BucketOf(uint32_t src, uint16_t seq) {
    return ((src * kHashFactor >> 16) ^ seq) % kBuckets;
}

// What is no message is never found, in whatever bucket it is.
size_t CTNetPktFragLinker::BucketOf(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    return msg.Attach(pkt) ? BucketOf(msg.GetSrc(), msg.GetSeq()) : 0;
}

template <typename Match>
CTXmitPkt* CTNetPktFragLinker::FindIf(Match match) {
    for (CTLinkedNode* node = m_list.begin(); node != m_list.end(); node = node->GetNext()) {
        CTXmitPkt* pkt = static_cast<CTXmitPkt*>(node);
        CTSstpMessage msg;
        if (msg.Attach(pkt) && match(msg)) return pkt;
    }
    return nullptr;
}

int CTNetPktFragLinker::Add(CTXmitPkt& pkt) {
    return Add(pkt, static_cast<uint32_t>(CTTime::GetCurrentTick()));
}

int CTNetPktFragLinker::Add(CTXmitPkt& pkt, uint32_t now) {
    static_assert(CTNetSourceProgress::kMaxSources >= kMaxWaiting);
    if (m_list.count() >= kMaxWaiting) {
        Delete(*static_cast<CTXmitPkt*>(m_list.back()));
        m_evicted.Add();
    }
    CTSstpMessage msg;
    if (msg.Attach(pkt)) pkt.SetStoreMark(m_progress.Hold(msg.GetSrc(), msg.GetSeq()));
    pkt.SetRecvTick(now);
    m_list.push_front(&pkt);
    ++m_in_bucket[BucketOf(pkt)];
    return 0;
}

// The list is in the order of arrival, so each fragment is looked at here once in its life, and
// the oldest one in vain.
void CTNetPktFragLinker::DropAged(uint32_t now) {
    while (m_list.count() > 0) {
        CTXmitPkt* oldest = static_cast<CTXmitPkt*>(m_list.back());
        if (now - oldest->GetRecvTick() <= kMaxAgeMs) return;
        Delete(*oldest);
        m_aged.Add();
    }
}

CTXmitPkt* CTNetPktFragLinker::FindPartner(CTSstpMessage& msg, uint32_t now) {
    Note(msg);
    DropAged(now);
    CTXmitPkt* stored = Find(msg);
    if (!stored) return nullptr;
    uint32_t passed = m_progress.PassedSince(msg.GetSrc(), stored->GetStoreMark());
    if (passed < kMaxNumbersPassed) return stored;
    Delete(*stored);
    m_aged.Add();
    return nullptr;
}

CTXmitPkt* CTNetPktFragLinker::Find(unsigned src, unsigned short seq) {
    if (m_in_bucket[BucketOf(src, seq)] == 0) return nullptr;
    return FindIf([=](CTSstpMessage& msg) { return msg.GetSrc() == src && msg.GetSeq() == seq; });
}

CTXmitPkt* CTNetPktFragLinker::Find(unsigned src, unsigned short seq, unsigned char index) {
    if (m_in_bucket[BucketOf(src, seq)] == 0) return nullptr;
    return FindIf([=](CTSstpMessage& msg) {
        return msg.GetSrc() == src && msg.GetSeq() == seq && msg.GetFrameIndex() == index;
    });
}

CTXmitPkt* CTNetPktFragLinker::Find(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    return msg.Attach(pkt) ? Find(msg) : nullptr;
}

int CTNetPktFragLinker::Delete(CTXmitPkt& pkt) {
    m_list.erase(&pkt);
    --m_in_bucket[BucketOf(pkt)];
    CTSstpMessage msg;
    if (msg.Attach(pkt)) m_progress.Release(msg.GetSrc());
    pkt.Release();
    return 0;
}

int CTNetPktFragLinker::DeleteTimeout(unsigned now) {
    int removed = 0;
    for (CTLinkedNode* node = m_list.begin(); node != m_list.end();) {
        CTXmitPkt* pkt = static_cast<CTXmitPkt*>(node);
        node = node->GetNext();
        if (pkt->GetRecvTick() + kSweepAgeMs <= now) continue;
        Delete(*pkt);
        ++removed;
    }
    return removed;
}

void CTNetPktFragLinker::Release() {
    while (CTLinkedNode* node = m_list.pop_front())
        static_cast<CTXmitPkt*>(node)->Release();
    m_in_bucket.fill(0);
    m_progress.Clear();
}
