#include "inet/tnet_merger.h"

#include <algorithm>
#include <cstring>

#include "inet/tnet_splitter.h"

namespace {

// Whether the header's length covers a header and no more than the descriptor holds: fragments
// come from the network, and both are copied by that length.
bool LengthIsHeld(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    if (!msg.Attach(pkt)) return false;
    int length = msg.GetMessageLength();
    return length >= kSstpHeaderSize && length <= pkt.GetSkb()->GetDataLength();
}

int MessageLength(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    msg.Attach(pkt);
    return msg.GetMessageLength();
}

// The length of the joined message, or 0 if the incoming buffer cannot take it.
int JoinedLength(CTXmitPkt& incoming, CTXmitPkt& stored) {
    if (!LengthIsHeld(incoming) || !LengthIsHeld(stored)) return 0;
    CTSkBuffer& skb = *incoming.GetSkb();
    int total = MessageLength(incoming) + MessageLength(stored) - kSstpHeaderSize;
    // What was pulled off the front is missing behind.
    int64_t pulled = std::max<int64_t>(0, skb.HeadRoom() - CTSkBuffer::kReserve);
    return total <= skb.GetBufferSize() - pulled ? total : 0;
}

int Fail(CTXmitPkt& incoming) {
    incoming.SetStatus(kXmitFinished);
    return 1;
}

// Makes the descriptor hold the joined message and marks it as unfragmented.
int Finish(CTXmitPkt& incoming, int total) {
    CTSkBuffer& skb = *incoming.GetSkb();
    skb.Put(total - skb.GetDataLength());
    CTSstpMessage msg;
    msg.Attach(skb);
    msg.SetLength(static_cast<uint16_t>(total));
    msg.SetFrameTotal(kFrameTotalNone);
    msg.SetFrameIndex(kFrameIndexFirst);
    incoming.SetStatus(kXmitDeliver);
    return 0;
}

}  // namespace

int CTNetPktMerger::IsSingle(CTSstpMessage& msg) const {
    return msg.GetFrameTotal() == kFrameTotalNone ? 1 : 0;
}

int CTNetPktMerger::IsSingle(CTXmitPkt& pkt) const {
    CTSstpMessage msg;
    return msg.Attach(pkt) ? IsSingle(msg) : 0;
}

int CTNetPktMerger::IsFirst(CTSstpMessage& msg) const {
    return msg.GetFrameTotal() != kFrameTotalNone && msg.GetFrameIndex() == kFrameIndexFirst ? 1
                                                                                             : 0;
}

int CTNetPktMerger::IsFirst(CTXmitPkt& pkt) const {
    CTSstpMessage msg;
    return msg.Attach(pkt) ? IsFirst(msg) : 0;
}

int CTNetPktMerger::Merge(CTXmitPkt& incoming, CTXmitPkt& stored) {
    return IsFirst(incoming) ? MergeSecond(incoming, stored) : MergeFirst(incoming, stored);
}

int CTNetPktMerger::MergeSecond(CTXmitPkt& first, CTXmitPkt& second) {
    int total = JoinedLength(first, second);
    if (total == 0) return Fail(first);
    int first_length = MessageLength(first);
    memcpy(first.GetSkb()->GetData() + first_length, second.GetSkb()->GetData() + kSstpHeaderSize,
           static_cast<size_t>(total - first_length));
    return Finish(first, total);
}

int CTNetPktMerger::MergeFirst(CTXmitPkt& second, CTXmitPkt& first) {
    int total = JoinedLength(second, first);
    if (total == 0) return Fail(second);
    int first_length = MessageLength(first);
    uint8_t* begin = second.GetSkb()->GetData();
    uint8_t* data = begin + kSstpHeaderSize;
    // Ends 16 bytes past the joined message: in the back reserve at most.
    memmove(data + first_length, data, static_cast<size_t>(total - first_length));
    memcpy(begin, first.GetSkb()->GetData(), static_cast<size_t>(first_length));
    second.SetRecvAddr(first.GetRecvAddr());
    second.SetRecvLength(first.GetRecvLength());
    second.SetRecvTick(first.GetRecvTick());
    return Finish(second, total);
}
