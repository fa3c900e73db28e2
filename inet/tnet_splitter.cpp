#include "inet/tnet_splitter.h"

namespace {

void MarkFragment(CTSkBuffer& skb, int length, uint8_t index) {
    CTSstpMessage msg;
    msg.Attach(skb);
    msg.SetLength(static_cast<uint16_t>(length));
    msg.SetFrameTotal(kFrameTotalPair);
    msg.SetFrameIndex(index);
}

}  // namespace

int CTNetPktSplitter::IsSingle(CTSstpMessage& msg) const {
    return msg.GetMessageLength() > m_mtu ? 1 : 0;
}

int CTNetPktSplitter::IsSingle(CTXmitPkt& pkt) const {
    CTSstpMessage msg;
    return msg.Attach(pkt) ? IsSingle(msg) : 0;
}

int CTNetPktSplitter::Split(CTXmitPkt& first, CTXmitPkt& second) const {
    CTSstpMessage whole;
    if (!whole.Attach(first) || !second.GetSkb()) return 0;
    int length = whole.GetMessageLength();
    if (length < m_mtu) return 0;

    CTSkBuffer& head = *first.GetSkb();
    CTSkBuffer& tail = *second.GetSkb();
    int rest = length - m_mtu;
    bool bounded = m_mtu >= kSstpHeaderSize && length <= head.GetDataLength() &&
                   rest + kSstpHeaderSize <= tail.GetBufferSize();
    if (!bounded) return 0;

    second.Reset();
    tail.PutData(head.GetData(), kSstpHeaderSize);
    tail.PutData(head.GetData() + m_mtu, rest);
    head.DropTail(rest);
    MarkFragment(head, m_mtu, kFrameIndexFirst);
    MarkFragment(tail, rest + kSstpHeaderSize, kFrameIndexSecond);
    second.SetSendAddr(first.GetSendAddr());
    second.SetStatus(kXmitSecondFilled);
    return 0;
}
