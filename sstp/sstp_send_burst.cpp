#include "sstp/sstp_send_burst.h"

#include <algorithm>

namespace {

constexpr int kSpareSize = 2048;

bool IsNetPacket(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    return msg.Attach(pkt) && msg.GetType() == kSstpNetPacket;
}

uint32_t DestinationOf(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    return msg.Attach(pkt) ? msg.GetDst() : kSstpCentralRouter;
}

}  // namespace

int CTSstpSendBurst::Create() {
    for (CTXmitPkt& spare : m_spares) {
        if (spare.Create(kSpareSize) == 0) return 0;
    }
    return 1;
}

void CTSstpSendBurst::Destroy() {
    for (CTXmitPkt& spare : m_spares)
        spare.Destroy();
}

int CTSstpSendBurst::Send(CTSstpConnect& conn, CTXmitPkt* const* pkts, int count) {
    m_count = 0;
    m_split = 0;
    m_messages = 0;
    count = std::min(count, kMaxMessages);
    for (int i = 0; i < count;) {
        int together = CountTogether(pkts + i, count - i);
        if (together == 0) {
            AddMessage(conn, *pkts[i++]);
        } else {
            AddPackets(conn, pkts + i, together);
            i += together;
        }
    }
    int refused = m_count - conn.WriteBurst(m_datagrams.data(), m_count);
    return std::max(m_messages - refused, 0);
}

// How many network packets from here on may share their order: one, or those of one burst that go
// to one router. 0 for any other message.
int CTSstpSendBurst::CountTogether(CTXmitPkt* const* pkts, int count) const {
    if (!IsNetPacket(*pkts[0])) return 0;
    uint32_t burst = pkts[0]->GetBurst();
    uint32_t dst = DestinationOf(*pkts[0]);
    int together = 1;
    while (burst != 0 && together < std::min(count, kMaxTogether) &&
           pkts[together]->GetBurst() == burst && IsNetPacket(*pkts[together]) &&
           DestinationOf(*pkts[together]) == dst) {
        ++together;
    }
    return together;
}

// Every network packet goes to the central router, whatever address it carries. One whose header
// states more than its buffer holds cannot be split, and does not leave.
void CTSstpSendBurst::AddPackets(CTSstpConnect& conn, CTXmitPkt* const* pkts, int count) {
    const CTSockAddr& to = conn.GetCentralRouterAddr();
    std::array<CTXmitPkt*, kMaxTogether> whole_or_first;
    int firsts = 0;
    for (int i = 0; i < count; ++i) {
        CTSstpMessage msg;
        msg.Attach(*pkts[i]);
        conn.Number(msg);
        if (m_splitter.IsSingle(*pkts[i]) != 0) {
            CTXmitPkt* second = Split(*pkts[i]);
            if (!second) continue;
            AddDatagram(*second, to);
        }
        whole_or_first[static_cast<size_t>(firsts++)] = pkts[i];
    }
    for (int i = 0; i < firsts; ++i)
        AddDatagram(*whole_or_first[static_cast<size_t>(i)], to);
    m_messages += firsts;
}

// The second fragment, which has the first one's number; null when it could not be made.
CTXmitPkt* CTSstpSendBurst::Split(CTXmitPkt& pkt) {
    CTXmitPkt& spare = m_spares[static_cast<size_t>(m_split)];
    spare.SetStatus(kXmitFinished);
    m_splitter.Split(pkt, spare);
    if (spare.GetStatus() != kXmitSecondFilled) return nullptr;
    ++m_split;
    return &spare;
}

// The address is not checked: a zero one is sent to as it stands.
void CTSstpSendBurst::AddMessage(CTSstpConnect& conn, CTXmitPkt& pkt) {
    CTSstpMessage msg;
    if (!msg.Attach(pkt) || pkt.GetSkb()->GetDataLength() <= 0) return;
    conn.Number(msg);
    AddDatagram(pkt, *pkt.GetSendAddr());
    ++m_messages;
}

void CTSstpSendBurst::AddDatagram(CTXmitPkt& pkt, const CTSockAddr& to) {
    CTSstpMessage msg;
    msg.Attach(pkt);
    int length = std::min(msg.GetMessageLength(), msg.GetBufferSize());
    m_datagrams[static_cast<size_t>(m_count++)] = {msg.GetBufferPtr(), length, to.GetSockAddrin()};
}
