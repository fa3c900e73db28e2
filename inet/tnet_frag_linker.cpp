#include "inet/tnet_frag_linker.h"

#include "base/pvu_time.h"

namespace {

constexpr unsigned kSweepAgeMs = 800;
constexpr uint32_t kHashFactor = 0x9E3779B1;  // spreads neighbouring sources

}  // namespace

// The numbers of one source follow each other, so they lie in different buckets.
CTXmitPkt*& CTNetPktFragLinker::BucketOf(uint32_t src, uint16_t seq) {
    return m_buckets[((src * kHashFactor >> 16) ^ seq) % kBuckets];
}

// What is no message is never found, in whatever bucket it is.
CTXmitPkt*& CTNetPktFragLinker::BucketOf(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    return msg.Attach(pkt) ? BucketOf(msg.GetSrc(), msg.GetSeq()) : m_buckets[0];
}

template <typename Match>
CTXmitPkt* CTNetPktFragLinker::FindIf(CTXmitPkt* newest, Match match) {
    for (CTXmitPkt* pkt = newest; pkt; pkt = pkt->GetStoreNext()) {
        CTSstpMessage msg;
        if (msg.Attach(*pkt) && match(msg)) return pkt;
    }
    return nullptr;
}

void CTNetPktFragLinker::Unlink(CTXmitPkt& pkt) {
    CTXmitPkt*& bucket = BucketOf(pkt);
    if (bucket == &pkt) {
        bucket = pkt.GetStoreNext();
        return;
    }
    CTXmitPkt* before = bucket;
    while (before && before->GetStoreNext() != &pkt)
        before = before->GetStoreNext();
    if (before) before->SetStoreNext(pkt.GetStoreNext());
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
    CTXmitPkt*& bucket = BucketOf(pkt);
    pkt.SetStoreNext(bucket);
    bucket = &pkt;
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
    return FindIf(BucketOf(src, seq),
                  [=](CTSstpMessage& msg) { return msg.GetSrc() == src && msg.GetSeq() == seq; });
}

CTXmitPkt* CTNetPktFragLinker::Find(unsigned src, unsigned short seq, unsigned char index) {
    return FindIf(BucketOf(src, seq), [=](CTSstpMessage& msg) {
        return msg.GetSrc() == src && msg.GetSeq() == seq && msg.GetFrameIndex() == index;
    });
}

CTXmitPkt* CTNetPktFragLinker::Find(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    return msg.Attach(pkt) ? Find(msg) : nullptr;
}

int CTNetPktFragLinker::Delete(CTXmitPkt& pkt) {
    m_list.erase(&pkt);
    Unlink(pkt);
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
    m_buckets.fill(nullptr);
    m_progress.Clear();
}
