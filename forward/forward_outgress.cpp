// A packet's road, all on the outgress thread:
//
//   CTNetDevice::Read -> Verify -> NetPacketHandle (look-up, header) -> NetPacketFinish
//   -> CTSstpPort::Write, which owns it from then on

#include "forward/forward_outgress.h"

#include "base/pvu_batch.h"
#include "forward/net_device.h"
#include "inet/tnet_ether_hdr.h"
#include "inet/tnet_ipv4_hdr.h"
#include "sdwan/sdwan_subnet.h"
#include "sstp/p2p_connect_list.h"
#include "sstp/sstp_port.h"

namespace {

constexpr int kToBeSent = 2;  // status between handling and finishing
constexpr int kAccept = 1;
constexpr int kReject = 0;
constexpr int kIPv4Version = 4;

tnet_ipv4_hdr* IPv4HeaderAt(CTXmitPkt& pkt, int offset) {
    return reinterpret_cast<tnet_ipv4_hdr*>(pkt.GetSkb()->GetData() + offset);
}

}  // namespace

CTForwardOutgress::CTForwardOutgress() {
    m_central.Zero();
}

void CTForwardOutgress::DoneLoop() {
    if (!IsComplete()) return;
    pvu_batch_thread();
    CTXmitPkt* burst[CTNetDevice::kMaxBurst];
    while (IsRunning()) {
        m_pulse.Beat();
        int n = m_device->Read(burst, CTNetDevice::kMaxBurst);
        if (n > 0) ForwardBurst(burst, n);
    }
}

// A burst's road is that of each of its packets, under one lock and into the queue at once.
void CTForwardOutgress::ForwardBurst(CTXmitPkt** pkts, int n) {
    CTXmitPkt* dropped[CTNetDevice::kMaxBurst];
    int drops = 0;
    int kept = 0;
    {
        CTReadGuard guard(*m_lock);
        CTPeerTraffic::Run traffic(m_traffic->Sent());
        for (int i = 0; i < n; ++i) {
            CTXmitPkt* pkt = pkts[i];
            unsigned int identifier = 0;
            int length = pkt->GetSkb()->GetDataLength();
            bool is_ready = Verify(*pkt) == kAccept && AddressPacket(*pkt, identifier);
            if (is_ready) traffic.Add(identifier, length);
            (is_ready ? pkts[kept++] : dropped[drops++]) = pkt;
        }
    }
    CTXmitPktPool::Release(dropped, drops);
    if (kept > 0) m_port->Write(pkts, kept);
}

void CTForwardOutgress::TakeLone(CTXmitPkt& pkt) {
    CTXmitPkt* burst[] = {&pkt};
    ForwardBurst(burst, 1);
}

int CTForwardOutgress::Verify(CTXmitPkt& pkt) {
    switch (pkt.GetNetLayer()) {
        case kNetLayer2:
            return Verify_L2(pkt);
        case kNetLayer3:
            return Verify_L3(pkt);
        default:
            return kReject;
    }
}

int CTForwardOutgress::Verify_L2([[maybe_unused]] CTXmitPkt& pkt) {
    m_counters.wrong_layer.Add();
    return kReject;
}

// Bytes behind the packet's total length travel along.
int CTForwardOutgress::Verify_L3(CTXmitPkt& pkt) {
    int length = pkt.GetSkb()->GetDataLength();
    if (length < static_cast<int>(sizeof(tnet_ipv4_hdr)) ||
        CIPv4Header(IPv4HeaderAt(pkt, 0)).GetVersion() != kIPv4Version) {
        m_counters.not_ipv4.Add();
        return kReject;
    }
    if (length >= CIPv4Header(IPv4HeaderAt(pkt, 0)).GetPacketLength()) return kAccept;
    m_counters.length_lie.Add();
    return kReject;
}

uint32_t CTForwardOutgress::GetNetPktDstIPv4(CTXmitPkt& pkt) {
    switch (pkt.GetNetLayer()) {
        case kNetLayer2:
            return GetL2NetPktDstIPv4(pkt);
        case kNetLayer3:
            return GetL3NetPktDstIPv4(pkt);
        default:
            return 0;
    }
}

uint32_t CTForwardOutgress::GetL2NetPktDstIPv4(CTXmitPkt& pkt) {
    return CIPv4Header(IPv4HeaderAt(pkt, CEtherHeader::GetHeaderLength())).GetDstIP();
}

uint32_t CTForwardOutgress::GetL3NetPktDstIPv4(CTXmitPkt& pkt) {
    return CIPv4Header(IPv4HeaderAt(pkt, 0)).GetDstIP();
}

int CTForwardOutgress::FindDstIdentifier(CTXmitPkt& pkt, unsigned int& identifier) {
    uint32_t dst = GetNetPktDstIPv4(pkt);
    if (dst == 0) return 0;
    if (CTSdwanRouter* router = GetSubnet().GetRouterByIPv4Addr(dst)) {
        identifier = router->GetIdentifier();
        return 1;
    }
    if (dst != GetSubnet().GetGateway()) return 0;
    identifier = kSstpCentralRouter;
    return 1;
}

CTSdwanRouter* CTForwardOutgress::FindDstRouter(CTXmitPkt& pkt) {
    return GetSubnet().GetRouterByIPv4Addr(GetL3NetPktDstIPv4(pkt));
}

int CTForwardOutgress::FindDDstIdentifier(CTXmitPkt& pkt) {
    CTSdwanRouter* router = FindDstRouter(pkt);
    return router ? static_cast<int>(router->GetIdentifier()) : -1;
}

void CTForwardOutgress::NetPacketHandle(CTXmitPkt& pkt) {
    CTReadGuard guard(*m_lock);
    unsigned int identifier = 0;
    pkt.SetStatus(AddressPacket(pkt, identifier) ? kToBeSent : kXmitFinished);
}

// Look-up and header; false when the packet is to be dropped.
bool CTForwardOutgress::AddressPacket(CTXmitPkt& pkt, unsigned int& identifier) {
    if (!ChooseRoute(pkt, identifier)) {
        m_counters.unknown_destination.Add();
        return false;
    }
    return PushSstpHeader(pkt, identifier) == 0;
}

// Finds the destination and sets the send address: the peer's own endpoint while its direct path
// works, otherwise the central router. The port sends every network packet to the central router
// all the same.
bool CTForwardOutgress::ChooseRoute(CTXmitPkt& pkt, unsigned int& identifier) {
    if (FindDstIdentifier(pkt, identifier) == 0) return false;
    CTP2PConnect* peer = GetPeers().GetConnect(identifier);
    pkt.SetSendAddr(peer && peer->IsConnect() ? peer->GetEndpointAddr() : m_central);
    return true;
}

// The source stays 0 here: the connection stamps the edge's identifier when it sends.
int CTForwardOutgress::PushSstpHeader(CTXmitPkt& pkt, unsigned int identifier) {
    CTSkBuffer& skb = *pkt.GetSkb();
    CTSstpMsgHdr header;
    header.SetType(kSstpNetPacket);
    header.SetLength(static_cast<uint16_t>(skb.GetDataLength() + kSstpHeaderSize));
    header.SetDstRouter(identifier);
    return skb.PushData(header.GetPtr(), kSstpHeaderSize);
}

void CTForwardOutgress::NetPacketFinish(CTXmitPkt& pkt) {
    if (pkt.GetStatus() == kToBeSent) {
        m_port->Write(&pkt);
    } else {
        pkt.Release();
    }
}
