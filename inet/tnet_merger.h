#pragma once

#include "inet/xmit_pkt.h"
#include "sstp/sstp_message.h"

// Joins the two fragments of a message in the buffer of the one that arrived last. Used by the
// tunnel port's receive thread only; no state.
//
// Joining fails, with the incoming status set to 0, when the result would not fit the incoming
// buffer or a length field states more than its buffer holds.
class CTNetPktMerger {
  public:
    // 1 if the message is not a fragment.
    int IsSingle(CTSstpMessage& msg) const;
    int IsSingle(CTXmitPkt& pkt) const;
    // 1 if it is the first fragment of a pair.
    int IsFirst(CTSstpMessage& msg) const;
    int IsFirst(CTXmitPkt& pkt) const;

    // Joins; the result lands in the incoming descriptor, with status 4. 0 on success, 1 on
    // failure. The stored descriptor is only read.
    int Merge(CTXmitPkt& incoming, CTXmitPkt& stored);
    // The incoming one is the first fragment: the normal path, as the sender emits the second
    // fragment first.
    int MergeSecond(CTXmitPkt& first, CTXmitPkt& second);
    // The incoming one is the second fragment. Its data is moved by the first's message length
    // measured from the data area, not from the buffer start: the result has the first's message,
    // then 16 bytes of the old buffer content, then the second's data less its last 16 bytes.
    // Established behaviour, which peers rely on the sender to avoid.
    int MergeFirst(CTXmitPkt& second, CTXmitPkt& first);
};
