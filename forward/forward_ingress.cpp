// A message's road, all on the ingress thread:
//
//   CTSstpPort::Read -> HandleBurst -> CTNetDevice::Write  -> interface
//                    -> XmitPacketDone -> CommandHandle     -> model, then SendAck
//                                      -> CommandAckHandle  -> peer connection
//   and back to the pool
//
// The command handlers are in forward_ingress_command.cpp.

#include "forward/forward_ingress.h"

#include <cstdio>

#include "base/pvu_batch.h"
#include "base/pvu_tick.h"
#include "forward/net_device.h"
#include "sstp/p2p_connect_list.h"
#include "sstp/sstp_message.h"
#include "sstp/sstp_port.h"

namespace {

constexpr uint32_t kPeerLookMs = 20;

}  // namespace

void CTForwardIngress::Stop() {
    StopThread();
    m_device = nullptr;
    m_port = nullptr;
}

void CTForwardIngress::DoneLoop() {
    if (!IsComplete()) return;
    pvu_batch_thread();
    CTXmitPkt* burst[CTSstpPort::kMaxBurst];
    while (IsRunning()) {
        m_pulse.Beat();
        int n = m_port->Read(burst, CTSstpPort::kMaxBurst);
        HandleBurst(burst, n);
        if (IsTimeForPeers()) P2pHeartbeat();
        m_port->GetPrintLimit().Mention();
    }
    m_port->GetPrintLimit().Mention(true);
}

// In the order of arrival: network packets that follow each other go to the interface together.
void CTForwardIngress::HandleBurst(CTXmitPkt** pkts, int n) {
    CTPeerTraffic::Run traffic(m_traffic->Received());
    for (int begin = 0, end = 0; begin < n; begin = end) {
        end = begin;
        while (end < n && TakePacket(*pkts[end], traffic))
            ++end;
        if (end > begin) {
            m_device->Write(pkts + begin, end - begin);
        } else {
            XmitPacketDone(*pkts[end++]);
        }
    }
    CTXmitPktPool::Release(pkts, n);
}

void CTForwardIngress::TakeLone(CTXmitPkt& pkt) {
    CTXmitPkt* burst[] = {&pkt};
    HandleBurst(burst, 1);
}

// Whether it is a network packet, ready to be written.
bool CTForwardIngress::TakePacket(CTXmitPkt& pkt, CTPeerTraffic::Run& traffic) {
    CTSstpMessage msg;
    if (!msg.Attach(pkt) || msg.GetType() != kSstpNetPacket) return false;
    uint32_t source = msg.GetSrc();
    if (RemoveSstpHeader(pkt) != 0) return false;
    traffic.Add(source, pkt.GetSkb()->GetDataLength());
    return true;
}

// The shortest of the peers' intervals is 200 ms: to look ten times as often is enough, however
// many packets pass meanwhile.
bool CTForwardIngress::IsTimeForPeers() {
    uint32_t now = static_cast<uint32_t>(pvu_get_current_tick());
    if (now - m_last_peer_look < kPeerLookMs) return false;
    m_last_peer_look = now;
    return true;
}

int CTForwardIngress::XmitPacketProc() {
    CTXmitPkt* pkt = m_port->Read();
    if (!pkt) return 1;
    XmitPacketDone(*pkt);
    XmitPacketFinish(*pkt);
    return 0;
}

void CTForwardIngress::XmitPacketDone(CTXmitPkt& pkt) {
    pkt.SetStatus(kXmitFinished);
    CTSstpMessage msg;
    if (!msg.Attach(pkt)) return;
    switch (msg.GetType()) {
        case kSstpInterCommand:
        case kSstpInterCommandAck:
        case kSstpNetPacketAck:
            break;
        case kSstpCommand:
            CommandHandle(pkt);
            break;
        case kSstpCommandAck:
            CommandAckHandle(pkt);
            break;
        case kSstpNetPacket:
            NetPacketHandle(pkt);
            break;
        default:
            UnknownType(pkt, msg.GetType());
            break;
    }
}

void CTForwardIngress::UnknownType(CTXmitPkt& pkt, int type) {
    CTString text;
    text.Append("unknow sstp message type %d\n", type);
    Show(pkt, text);
}

// What the central router asks for is printed as it is; what others send, as far as their allowance
// goes.
void CTForwardIngress::Show(CTXmitPkt& cause, const CTString& text) {
    if (m_port->IsFromCentralRouter(cause)) {
        fputs(text.c_str(), stdout);
    } else {
        m_port->GetPrintLimit().Print(text.c_str(), *cause.GetRecvAddr());
    }
}

void CTForwardIngress::XmitPacketFinish(CTXmitPkt& pkt) {
    if (pkt.GetStatus() == kXmitFinished) pkt.Release();
}

// Neither source nor destination is examined: whatever arrives is written out.
int CTForwardIngress::NetPacketHandle(CTXmitPkt& pkt) {
    if (RemoveSstpHeader(pkt) != 0) return 1;
    m_device->Write(&pkt);
    return 0;
}

int CTForwardIngress::RemoveSstpHeader(CTXmitPkt& pkt) {
    return pkt.GetSkb()->Pull(kSstpHeaderSize);
}

int CTForwardIngress::CommandHandle(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    if (!msg.Attach(pkt)) return 1;
    switch (msg.GetSubType()) {
        case kSstpCmmP2PHeartbeat:
            return CommandP2pHeartbeatDone(pkt);
        case kSstpCmmAddRouter:
            return CommandAddRouterDone(pkt);
        case kSstpCmmDelRouter:
            return CommandDelRouterDone(pkt);
        case kSstpCmmAddDevice:
            return CommandAddDeviceDone(pkt);
        case kSstpCmmDelDevice:
            return CommandDelDeviceDone(pkt);
        default:
            return 1;
    }
}

int CTForwardIngress::CommandAckHandle(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    if (!msg.Attach(pkt)) return 1;
    return msg.GetSubType() == kSstpCmmP2PHeartbeat ? CommandP2pHeartbeatAckDone(pkt) : 1;
}

void CTForwardIngress::P2pHeartbeat() {
    CTWriteGuard guard(*m_lock);
    for (int i = 0; i < EditPeers().Count(); ++i) {
        if (CTP2PConnect* peer = EditPeers().At(i)) peer->HeartBeat(*m_port);
    }
}

CTXmitPkt* CTForwardIngress::AllocXmitPkt(CTXmitPkt& pkt) {
    CTXmitPktPool* pool = static_cast<CTXmitPktPool*>(pkt.GetOwner());
    CTXmitPkt* copy = pool ? pool->Alloc() : nullptr;
    if (!copy) return nullptr;
    copy->SetRecvAddr(pkt.GetRecvAddr());
    copy->SetSendAddr(pkt.GetSendAddr());
    copy->SetNetLayer(pkt.GetNetLayer());
    copy->SetType(pkt.GetType());
    return copy;
}

int CTForwardIngress::SendAck(CTXmitPkt& pkt, CTSstpMessage& ack) {
    CTXmitPkt* answer = AllocXmitPkt(pkt);
    if (!answer) return 1;
    if (answer->Write(ack.GetBufferPtr(), ack.GetMessageLength()) != 0) {
        answer->Release();
        return 1;
    }
    answer->SetSendAddr(pkt.GetRecvAddr());
    m_port->Write(answer);
    return 0;
}
