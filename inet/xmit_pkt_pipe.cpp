#include "inet/xmit_pkt_pipe.h"

#include <cstdio>

#include "inet/tnet_skb_pool.h"

CTXmitPkt* CTXimtPktPipe::Alloc() {
    CTXmitPkt* pkt = m_pool.Alloc();
    if (pkt) pkt->SetOwner(this);
    return pkt;
}

void CTXimtPktPipe::Free(CTXmitPkt* pkt) {
    m_pool.Free(pkt);
}

int CTXimtPktPipe::Write(CTXmitPkt* pkt) {
    if (pkt) {
        CTMutexGuard guard(m_mutex);
        m_list.push_back(pkt);
    }
    m_semaphore.Post();
    return 1;
}

CTXmitPkt* CTXimtPktPipe::Read() {
    m_semaphore.Wait();
    CTMutexGuard guard(m_mutex);
    return static_cast<CTXmitPkt*>(m_list.pop_front());
}

void CTXimtPktPipe::FreePacket(CTXmitPkt* pkt) {
    if (!pkt) return;
    CTXimtPktPipe* pipe = static_cast<CTXimtPktPipe*>(pkt->GetOwner());
    if (!pipe) {
        printf("CTXimtPktPipe: free packet failed, owner is NULL\n");
        return;
    }
    pipe->Free(pkt);
}

void test_xmitpkt_pipe() {
    CTSkBuffPool skb_pool(1500, 128);
    CTXmitPktPool pkt_pool(1500, 128);
    CTXimtPktPipe pipe(pkt_pool);
    CTXmitPkt* pkt = pipe.Alloc();
    printf(pkt ? "get pkt success\n" : "get pkt failed\n");
    if (pkt) pipe.Free(pkt);
}
