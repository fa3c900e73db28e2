#pragma once

#include "base/pvu_list.h"
#include "base/pvu_mutex.h"
#include "inet/xmit_pkt.h"

// The queue of packet descriptors between two threads. It never blocks; the threads that share
// one pair it with a semaphore that is posted once for each entry. It does not own its entries.
class CTXmitPktMtFifo {
  public:
    // Network packets that may wait in a queue between threads: a burst's worth, and no more than
    // 9 MB of buffers, however slow the consumer is.
    static constexpr int kMaxNetPackets = 4096;

    // Appends: 0, or 1 for null.
    int Enqueue(CTXmitPkt* pkt);
    // Appends unless that many descriptors wait already: 0, or 1 for null or a full queue, when
    // the caller still owns the descriptor.
    int Enqueue(CTXmitPkt* pkt, int max_count);
    // The front descriptor, or null if empty.
    CTXmitPkt* Dequeue();
    // A burst under one lock: appends as many of the n descriptors as there is room for below
    // max_count, and gives how many; the rest stay the caller's. And takes up to n from the front.
    int Enqueue(CTXmitPkt* const* pkts, int n, int max_count);
    int Dequeue(CTXmitPkt** pkts, int n);
    bool IsEmpty();
    int Count();
    // The most descriptors that ever waited at once.
    int HighWater();
    // Tells emptiness and count on standard output.
    void Print();

  private:
    CTLinkedList m_list PVU_GUARDED_BY(m_mutex);
    int m_high_water PVU_GUARDED_BY(m_mutex) = 0;
    CTMutex m_mutex;
};
