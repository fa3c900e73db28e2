#pragma once

#include <array>
#include <cstdint>

#include "base/pvu_counter.h"
#include "base/pvu_list.h"
#include "inet/tnet_source_progress.h"
#include "inet/xmit_pkt.h"
#include "sstp/sstp_message.h"

// The store of fragments that wait for their partner, newest at the front, keyed by source router
// and sequence number. It owns what it holds until it gives it back to its pool. Used by the
// tunnel port's receive thread only.
//
// A look-up walks the few that share a bucket of a hash, not all that wait: of a burst, many
// second halves arrive before the first partner does. The header of a stored fragment stays as it
// is.
//
// Numbers come again after 65,536 messages of their source, so half of a packet that was lost would
// one day meet half of another one. A fragment that waited longer than 2 seconds, or since whose
// arrival its source went on by 4,096 numbers, is therefore nobody's partner. Receivers look for
// one with FindPartner alone; Find tells what is stored, whatever its age.
class CTNetPktFragLinker {
  public:
    // Anybody can send fragments without partner: the oldest goes when one more arrives. There is
    // room for 16 halves of one burst from each of the 15 other edges and the gateway, and for four
    // times as many without partner.
    static constexpr int kMaxWaiting = 1024;
    static constexpr uint32_t kMaxAgeMs = 2000;
    static constexpr uint32_t kMaxNumbersPassed = 4096;

    ~CTNetPktFragLinker() { Release(); }

    // Stamps the descriptor's receive tick and stores it; 0. With the tick where it is known.
    int Add(CTXmitPkt& pkt);
    int Add(CTXmitPkt& pkt, uint32_t now);
    // A fragment arrived: the stored one with its src and seq, or null when there is none or it is
    // too old. Fragments that are too old are counted and released on the way.
    CTXmitPkt* FindPartner(CTSstpMessage& msg, uint32_t now);
    // A message that is no fragment arrived: its source has come that far.
    void Note(CTSstpMessage& msg) { m_progress.Note(msg.GetSrc(), msg.GetSeq()); }
    // The newest descriptor with that src and seq (and frame index), or null.
    CTXmitPkt* Find(unsigned src, unsigned short seq);
    CTXmitPkt* Find(unsigned src, unsigned short seq, unsigned char index);
    CTXmitPkt* Find(CTSstpMessage& msg) { return Find(msg.GetSrc(), msg.GetSeq()); }
    CTXmitPkt* Find(CTXmitPkt& pkt);
    // Unlinks the descriptor and releases it; 0.
    int Delete(CTXmitPkt& pkt);
    // Removes every fragment stored less than 800 ticks ago and keeps the older ones: the required
    // sense of the comparison. Returns how many went.
    int DeleteTimeout(unsigned now);
    // Unlinks and releases everything.
    void Release();

    int Count() const { return m_list.count(); }
    // Fragments that went because the store was full.
    uint64_t GetEvicted() const { return m_evicted.Get(); }
    // Fragments that went because they were too old. Any thread, as the one above.
    uint64_t GetAged() const { return m_aged.Get(); }

  private:
    static constexpr size_t kBuckets = 4096;

    CTXmitPkt*& BucketOf(uint32_t src, uint16_t seq);
    CTXmitPkt*& BucketOf(CTXmitPkt& pkt);
    template <typename Match>
    CTXmitPkt* FindIf(CTXmitPkt* newest, Match match);
    void Unlink(CTXmitPkt& pkt);
    void DropAged(uint32_t now);

    CTLinkedList m_list;
    std::array<CTXmitPkt*, kBuckets> m_buckets{};  // each a chain of the list's, newest first
    CTNetSourceProgress m_progress;
    CTCounter m_evicted;
    CTCounter m_aged;
};
