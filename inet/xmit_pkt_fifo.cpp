#include "inet/xmit_pkt_fifo.h"

#include <algorithm>
#include <climits>
#include <cstdio>

int CTXmitPktMtFifo::Enqueue(CTXmitPkt* pkt) {
    return Enqueue(pkt, INT_MAX);
}

int CTXmitPktMtFifo::Enqueue(CTXmitPkt* pkt, int max_count) {
    if (!pkt) return 1;
    CTMutexGuard guard(m_mutex);
    if (m_list.count() >= max_count) return 1;
    m_list.push_back(pkt);
    m_high_water = std::max(m_high_water, m_list.count());
    return 0;
}

int CTXmitPktMtFifo::Enqueue(CTXmitPkt* const* pkts, int n, int max_count) {
    CTMutexGuard guard(m_mutex);
    int taken = std::clamp(max_count - m_list.count(), 0, n);
    for (int i = 0; i < taken; ++i)
        m_list.push_back(pkts[i]);
    m_high_water = std::max(m_high_water, m_list.count());
    return taken;
}

int CTXmitPktMtFifo::Dequeue(CTXmitPkt** pkts, int n) {
    CTMutexGuard guard(m_mutex);
    int taken = std::min(m_list.count(), n);
    for (int i = 0; i < taken; ++i)
        pkts[i] = static_cast<CTXmitPkt*>(m_list.pop_front());
    return taken;
}

CTXmitPkt* CTXmitPktMtFifo::Dequeue() {
    CTMutexGuard guard(m_mutex);
    return static_cast<CTXmitPkt*>(m_list.pop_front());
}

bool CTXmitPktMtFifo::IsEmpty() {
    CTMutexGuard guard(m_mutex);
    return m_list.empty() != 0;
}

int CTXmitPktMtFifo::Count() {
    CTMutexGuard guard(m_mutex);
    return m_list.count();
}

int CTXmitPktMtFifo::HighWater() {
    CTMutexGuard guard(m_mutex);
    return m_high_water;
}

void CTXmitPktMtFifo::Print() {
    CTMutexGuard guard(m_mutex);
    printf(m_list.empty() ? "linker is empty, " : "linker is not empty, ");
    printf("count = %d\n", m_list.count());
}
