#pragma once

#include "inet/xmit_pkt.h"
#include "sstp/sstp_message.h"

// Fragment numbering in the message header. An unfragmented message has total 0 and index 0; a
// split one has total 2, its start index 0 and its rest index 1. Both carry the same src and seq.
constexpr uint8_t kFrameTotalNone = 0;
constexpr uint8_t kFrameTotalPair = 2;
constexpr uint8_t kFrameIndexFirst = 0;
constexpr uint8_t kFrameIndexSecond = 1;

// Cuts a message that is longer than the tunnel MTU into exactly two fragments. Used by the tunnel
// port's transmit thread only.
class CTNetPktSplitter {
  public:
    static constexpr int kDefaultMtu = 1432;

    // 1 if the message is longer than the MTU and must be split, else 0: the name reads the other
    // way about.
    int IsSingle(CTSstpMessage& msg) const;
    int IsSingle(CTXmitPkt& pkt) const;
    // Moves what exceeds the MTU into the second descriptor, with a header of its own, and sets
    // that descriptor's status to 2. A message shorter than the MTU is left alone, and so is one
    // whose header states more bytes than its buffer holds or whose rest would not fit, and any
    // with an MTU below a header: both fragments are copied by those lengths. 0 always.
    int Split(CTXmitPkt& first, CTXmitPkt& second) const;
    void SetMtu(int mtu) { m_mtu = mtu; }

  private:
    int m_mtu = kDefaultMtu;
};
