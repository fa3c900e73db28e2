#pragma once

#include <algorithm>
#include <atomic>

#include "base/pvu_list.h"
#include "base/pvu_mutex.h"
#include "inet/xmit_pkt.h"

// A recycling pool of packet descriptors with buffers of one capacity, so that the data path
// allocates nothing in its steady state. It grows on demand; the limit bounds what it keeps idle.
// Descriptors on loan must be back before the pool goes. Any thread.
class CTXmitPktPool {
  public:
    static constexpr int kDefaultBufSize = 1500;
    static constexpr int kDefaultMax = 128;

    CTXmitPktPool() : CTXmitPktPool(kDefaultBufSize, kDefaultMax) {}
    // Buffer capacity first, then the most idle descriptors to keep (one more is kept).
    CTXmitPktPool(int bufsize, int max)
        : m_max(max), m_busy_max(max), m_keep(max), m_bufsize(bufsize) {}
    ~CTXmitPktPool() { Release(); }
    CTXmitPktPool(const CTXmitPktPool&) = delete;
    CTXmitPktPool& operator=(const CTXmitPktPool&) = delete;

    // A new descriptor with its buffer, owned by this pool; null without memory.
    CTXmitPkt* CreateXmitPkt();
    // Destroys the descriptor and its buffer.
    static void DestoryXmitPkt(CTXmitPkt* pkt);

    // A descriptor, recycled or new, Reset and owned by this pool; null only without memory.
    CTXmitPkt* Alloc();
    // Takes a descriptor back; null is ignored.
    void Free(CTXmitPkt* pkt);
    // Destroys every idle descriptor.
    void Release();

    // A burst under one lock: up to n descriptors, as Alloc gives them, and how many; fewer only
    // without memory. And takes descriptors back, each to the pool that it belongs to: in front of
    // the others, so that those are asked for next whose memory is still warm.
    int Alloc(CTXmitPkt** pkts, int n);
    static void Release(CTXmitPkt* const* pkts, int n);

    // How many descriptors are kept idle while packets pass, so that bursts allocate nothing: from
    // the next allocation on, until a second without traffic (see Trim). The limit of the
    // constructor otherwise.
    void KeepUnderLoad(int max) { m_busy_max = std::max(max, m_max); }

    // Descriptors handed out by Alloc and not yet back.
    int GetLoans() const { return m_loans.load(std::memory_order_relaxed); }
    int GetIdle();
    // Gives the memory of a burst whose descriptors came back to the system; true when there was
    // one. Takes a millisecond then, so it is for a thread that carries no packets; called once a
    // second, it also ends the load when fewer descriptors than are kept idle anyway were asked for
    // since the last call.
    bool Trim();

  private:
    CTXmitPkt* Ready(CTXmitPkt* pkt);
    void CountLoans(int n);
    enum class Place { kFront, kBack };
    void TakeBack(CTXmitPkt* const* pkts, int n, Place place);
    void EndLoad();

    const int m_max;
    int m_busy_max;
    std::atomic<int> m_keep;      // idle descriptors to keep by now
    std::atomic<int> m_taken{0};  // since the last trim
    const int m_bufsize;
    std::atomic<int> m_loans{0};
    std::atomic<int> m_most_loans{0};  // since the last trim
    CTLinkedList m_idle PVU_GUARDED_BY(m_mutex);
    CTMutex m_mutex;
};
