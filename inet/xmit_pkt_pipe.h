#pragma once

#include "base/pvu_list.h"
#include "base/pvu_mutex.h"
#include "base/pvu_semaphore.h"
#include "inet/xmit_pkt_pool.h"

// A blocking queue of packet descriptors with a pool behind it. A descriptor taken through a pipe
// has the pipe as its owner, so it goes back through Free or FreePacket, never through
// CTXmitPkt::Release, which takes every owner for a pool. Any thread.
class CTXimtPktPipe {
  public:
    explicit CTXimtPktPipe(CTXmitPktPool& pool) : m_pool(pool) {}
    CTXimtPktPipe(const CTXimtPktPipe&) = delete;
    CTXimtPktPipe& operator=(const CTXimtPktPipe&) = delete;

    // A descriptor owned by this pipe; null without memory.
    CTXmitPkt* Alloc();
    void Free(CTXmitPkt* pkt);

    // Queues the descriptor and wakes one reader; a null one only wakes it. 1.
    int Write(CTXmitPkt* pkt);
    // Waits without time limit; the front descriptor, or null after a null write.
    CTXmitPkt* Read();

    // Returns a descriptor to the pipe that owns it; null is ignored, one without owner is
    // reported on standard output.
    static void FreePacket(CTXmitPkt* pkt);
    static void FreePacket(CTXmitPkt& pkt) { FreePacket(&pkt); }

  private:
    CTXmitPktPool& m_pool;
    CTSemaphore m_semaphore;
    CTLinkedList m_list PVU_GUARDED_BY(m_mutex);
    CTMutex m_mutex;
};

// Allocates and frees through a pipe and tells on standard output whether that worked.
void test_xmitpkt_pipe();
