#pragma once

#include "inet/xmit_pkt.h"

// Who takes packets from a queue, and a lone one also without: while neither the queue nor its
// reader holds anything, the thread that received the packet carries it on itself. To wake another
// thread for it would cost more than all that is done with it.
class CTXmitPktTaker {
  public:
    // Called by the thread that received the packet, never while the queue's reader has a packet
    // in hand. The packet is the taker's from now on.
    virtual void TakeLone(CTXmitPkt& pkt) = 0;

  protected:
    ~CTXmitPktTaker() = default;
};
