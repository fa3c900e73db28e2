#pragma once

#include "base/pvu_list.h"
#include "base/pvu_mutex.h"
#include "inet/tnet_npkt.h"

// A recycling pool of buffers of one capacity. It creates buffers as they are asked for and keeps
// idle ones; buffers out on loan are not tracked. Any thread.
class CTSkBuffPool {
  public:
    static constexpr int kDefaultBufSize = 1500;
    static constexpr int kDefaultMax = 64;

    CTSkBuffPool() : CTSkBuffPool(kDefaultBufSize, kDefaultMax) {}
    // Capacity of each buffer first, then the most idle buffers to keep (one more is kept).
    CTSkBuffPool(int bufsize, int max) : m_max(max), m_bufsize(bufsize) {}
    ~CTSkBuffPool() { Release(); }

    // A buffer, recycled as it was freed (not Reset) or new; the caller owns it until Free. Null
    // without memory; a new one that got no memory for its block holds nothing and takes nothing.
    CTSkBuffer* Alloc();
    // Takes the buffer back: kept while no more than the limit are idle, otherwise destroyed.
    // Null is ignored.
    void Free(CTSkBuffer* skb);
    // Destroys every idle buffer.
    void Release();

  private:
    const int m_max;
    const int m_bufsize;
    CTLinkedList m_idle PVU_GUARDED_BY(m_mutex);
    CTMutex m_mutex;
};

// Allocates and frees through a pool and tells on standard output whether that worked.
void test_skb_pool();
