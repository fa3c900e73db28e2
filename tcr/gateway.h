#pragma once

#include <cstdint>
#include <utility>

#include "inet/tnet_merger.h"
#include "inet/tnet_splitter.h"
#include "inet/xmit_pkt_pool.h"
#include "ops/traffic.h"
#include "tcr/fragment_store.h"
#include "tcr/tcr_datagram.h"
#include "tcr/tcr_link.h"

// The subnets' gateway addresses, behind which nothing lives but an answer to pings. It joins the
// fragments of what is sent to it, and splits what is too long for the tunnel.
class TcrGateway {
  public:
    explicit TcrGateway(TcrLink& link);

    // A network packet message for the gateway address, from the edge at that address. True when
    // it was a ping and is answered, or a fragment that waits for its partner.
    bool Receive(const TcrDatagram& datagram, uint32_t gateway);
    // An edge sent a packet, to whomever.
    void Note(CTSstpMessage& packet) { m_fragments.Note(packet.GetSrc(), packet.GetSeq()); }
    // Gives fragments up whose partner did not come.
    void Tick(TcrTime now) { m_fragments.ForgetOld(now); }
    // What it sent since the last call, as packets without tunnel headers.
    CTTraffic TakeAnswered() { return std::exchange(m_answered, {}); }

  private:
    bool Reassemble(TcrPkt& pkt, TcrTime now);
    bool Answer(const TcrPath& to, CTXmitPkt& request, uint32_t gateway);
    void SendMessage(const TcrPath& to, CTXmitPkt& pkt);

    TcrLink& m_link;
    CTXmitPktPool m_pool;  // outlives the fragments, which return to it
    CTXmitPkt m_reply;
    CTXmitPkt m_spare;  // takes a reply's second fragment
    CTNetPktMerger m_merger;
    CTNetPktSplitter m_splitter;
    TcrFragmentStore m_fragments;
    uint16_t m_seq = 0;
    CTTraffic m_answered;
};
