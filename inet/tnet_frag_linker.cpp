#include "inet/tnet_frag_linker.h"

#include "base/pvu_time.h"

namespace {

constexpr unsigned kSweepAgeMs = 800;

}  // namespace

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
    if (m_list.count() >= kMaxWaiting) {
        Delete(*static_cast<CTXmitPkt*>(m_list.back()));
        m_evicted.Add();
    }
    pkt.SetRecvTick(static_cast<unsigned>(CTTime::GetCurrentTick()));
    m_list.push_front(&pkt);
    return 0;
}

CTXmitPkt* CTNetPktFragLinker::Find(unsigned src, unsigned short seq) {
    return FindIf([=](CTSstpMessage& msg) { return msg.GetSrc() == src && msg.GetSeq() == seq; });
}

CTXmitPkt* CTNetPktFragLinker::Find(unsigned src, unsigned short seq, unsigned char index) {
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
}
