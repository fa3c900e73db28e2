#include "tcr/gateway.h"

#include <utility>

#include "inet/tnet_icmp_packet.h"
#include "sstp/sstp_connect.h"
#include "sstp/sstp_message.h"

namespace {

constexpr int kBufSize = 2048;
constexpr int kPoolMax = 16;
constexpr int kIPv4Version = 4;
constexpr uint8_t kEchoRequest = 8;
constexpr int kEchoHeaderSize = sizeof(tnet_icmp_hdr);

// Whether the bytes are one whole, unfragmented echo request to that address, as the reply builder
// wants it.
bool IsPingTo(uint8_t* packet, int length, uint32_t address) {
    if (length < static_cast<int>(sizeof(tnet_ipv4_hdr))) return false;
    CIPv4Header ip(reinterpret_cast<tnet_ipv4_hdr*>(packet));
    int header_length = ip.GetHeaderLength();
    bool whole = ip.GetVersion() == kIPv4Version &&
                 header_length >= static_cast<int>(sizeof(tnet_ipv4_hdr)) &&
                 ip.GetPacketLength() <= length &&
                 ip.GetPacketLength() >= header_length + kEchoHeaderSize;
    if (!whole || !ip.VerifyCheckSum()) return false;
    if ((ip.GetOffset() & (kIPv4MoreFragments | kIPv4OffsetMask)) != 0) return false;
    if (ip.GetNextProto() != kIpProtoIcmp || ip.GetDstIP() != address) return false;
    CIcmpHeader icmp(reinterpret_cast<tnet_icmp_hdr*>(packet + header_length));
    if (icmp.GetType() != kEchoRequest || icmp.GetCode() != 0) return false;
    // Over header and data: a reply made of spoilt data would be a valid one.
    return CIcmpHeader::CheckSum(packet + header_length, ip.GetPayloadLength()) == 0;
}

}  // namespace

TcrGateway::TcrGateway(TcrLink& link)
    : m_link(link), m_pool(kBufSize, kPoolMax), m_reply(kBufSize), m_spare(kBufSize) {
    m_splitter.SetMtu(CTSstpConnect::kDefaultMtu);
}

bool TcrGateway::Receive(const TcrDatagram& datagram, uint32_t gateway) {
    TcrPkt pkt(m_pool.Alloc());
    if (!pkt || pkt->Write(datagram.data, datagram.length) != 0) return false;
    if (!Reassemble(pkt, datagram.now)) return false;
    return !pkt || Answer(datagram.from, *pkt, gateway);
}

// False when the packet is to be dropped; otherwise it is whole, or has gone into the store.
bool TcrGateway::Reassemble(TcrPkt& pkt, TcrTime now) {
    CTSstpMessage msg;
    if (!msg.Attach(*pkt)) return false;
    if (m_merger.IsSingle(msg)) return true;
    TcrPkt stored = m_fragments.Take(msg.GetSrc(), msg.GetSeq(), now);
    CTSstpMessage stored_msg;
    bool repeated =
        stored && stored_msg.Attach(*stored) && stored_msg.GetFrameIndex() == msg.GetFrameIndex();
    if (stored && !repeated) return m_merger.Merge(*pkt, *stored) == 0;
    m_fragments.Put(msg.GetSrc(), msg.GetSeq(), std::move(pkt), now);
    return true;
}

bool TcrGateway::Answer(const TcrPath& to, CTXmitPkt& request, uint32_t gateway) {
    CTSstpMessage asked;
    asked.Attach(request);
    uint8_t* packet = asked.GetDataPtr();
    if (!IsPingTo(packet, asked.GetBodyLimit(), gateway)) return false;
    CTSkBuffer& skb = *m_reply.GetSkb();
    skb.Reset();
    CTSstpMessage reply;
    reply.Attach(skb);
    if (CIcmpPacket::MakeL3Reply(packet, reply.GetDataPtr()) != 0) return false;
    int length = CIPv4Header::GetPacketLength(reinterpret_cast<tnet_ipv4_hdr*>(reply.GetDataPtr()));
    reply.GetHeader().Fill(kSstpNetPacket, 0, m_seq++,
                           static_cast<uint16_t>(kSstpHeaderSize + length), kFrameTotalNone,
                           kFrameIndexFirst, kSstpCentralRouter, asked.GetSrc());
    skb.Put(kSstpHeaderSize + length);
    m_answered.Add(1, static_cast<uint64_t>(length));
    SendMessage(to, m_reply);
    return true;
}

// The second fragment first: the receiver joins them the quicker way.
void TcrGateway::SendMessage(const TcrPath& to, CTXmitPkt& pkt) {
    if (m_splitter.IsSingle(pkt)) {
        m_spare.SetStatus(kXmitFinished);
        m_splitter.Split(pkt, m_spare);
        if (m_spare.GetStatus() != kXmitSecondFilled) return;
        m_link.Send(to, m_spare.GetSkb()->GetData(), m_spare.GetSkb()->GetDataLength());
    }
    m_link.Send(to, pkt.GetSkb()->GetData(), pkt.GetSkb()->GetDataLength());
}
