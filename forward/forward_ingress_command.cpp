// The command handlers of CTForwardIngress: what the central router and the peers ask for.

#include <algorithm>

#include "forward/forward_ingress.h"
#include "inet/tnet_byteorder.h"
#include "sdwan/sdwan_subnet.h"
#include "sstp/p2p_connect_list.h"
#include "sstp/sstp_add_device.h"
#include "sstp/sstp_add_router.h"
#include "sstp/sstp_del_device.h"
#include "sstp/sstp_del_router.h"
#include "sstp/sstp_device_list.h"
#include "sstp/sstp_p2p_heartbeat.h"
#include "sstp/sstp_port.h"

namespace {

constexpr int kIdentifierSize = 4;
constexpr int kAddrSize = 4;
constexpr int kPrintCapacity = 1024;
constexpr uint32_t kErrNone = 0;
constexpr uint32_t kErrNotAdded = 1;

// The answer goes back to the sender under the command's own number.
void AddressAck(CTSstpMessage& ack, CTSstpMessage& command) {
    ack.SetSeq(command.GetSeq());
    ack.SetSrc(command.GetDst());
    ack.SetDst(command.GetSrc());
}

// The body bytes that arrived: what the header states, cut to what the buffer really holds.
int BodyHeld(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    if (!msg.Attach(pkt)) return 0;
    return std::min(msg.GetBodyLimit(), pkt.GetSkb()->GetDataLength() - kSstpHeaderSize);
}

}  // namespace

// A command without its fixed part would be read from what an earlier packet left in the buffer.
bool CTForwardIngress::HoldsBody(CTXmitPkt& pkt, int length) {
    if (BodyHeld(pkt) >= length) return true;
    m_malformed.Add();
    return false;
}

int CTForwardIngress::CommandAddRouterDone(CTXmitPkt& pkt) {
    CTSstpAddRouterMsg msg;
    CTSstpAddRouterAck ack;
    if (!HoldsBody(pkt, CTSstpAddRouterMsg::GetContextLength())) return 1;
    if (!msg.Attach(*pkt.GetSkb()) || !ack.Create()) return 1;
    CTString text(kPrintCapacity);
    msg.PrintTo(text);
    ack.SetError(ReplaceRouter(msg, text) ? kErrNone : kErrNotAdded);
    Show(pkt, text);
    AddressAck(ack, msg);
    return SendAck(pkt, ack);
}

void CTForwardIngress::PrintSubnet(CTString& text) const {
    CTReadGuard guard(*m_lock);
    GetSubnet().Print(text);
    text.Append("\n");
}

void CTForwardIngress::PrintPeers(CTString& text) const {
    CTReadGuard guard(*m_lock);
    text.Append("P2P connects:\n");
    GetPeers().Print(text);
}

bool CTForwardIngress::ReplaceRouter(CTSstpAddRouterMsg& msg, CTString& text) {
    CTSockAddr addr;
    msg.GetExtSockaddr(addr);
    {
        CTWriteGuard guard(*m_lock);
        CTSdwanRouter* router = EditSubnet().ReplaceRouter(msg.GetIdentifier());
        if (!router) return false;
        router->SetLabel(msg.GetRouterLabel());
        router->SetType(msg.GetRouterType());
        router->SetNetLayer(msg.GetNetLayer());
        router->SetIdentifier(msg.GetIdentifier());
        router->SetSerialNumber(msg.GetSerialNumber());
        router->SetSstpAddr(addr);
        m_traffic->Assign(msg.GetIdentifier(), msg.GetSerialNumber());
    }
    PrintSubnet(text);
    {
        CTWriteGuard guard(*m_lock);
        EditPeers().Insert(msg.GetIdentifier(), addr);
    }
    PrintPeers(text);
    return true;
}

// The peer connection to the router stays in the peer list.
int CTForwardIngress::CommandDelRouterDone(CTXmitPkt& pkt) {
    CTSstpDelRouterMsg msg;
    CTSstpDelRouterAck ack;
    if (!HoldsBody(pkt, CTSstpDelRouterMsg::GetContextLength())) return 1;
    if (!msg.Attach(*pkt.GetSkb()) || !ack.Create()) return 1;
    CTString text(kPrintCapacity);
    msg.PrintTo(text);
    {
        CTWriteGuard guard(*m_lock);
        EditSubnet().DelRouter(msg.GetIdentifier());
    }
    PrintSubnet(text);
    Show(pkt, text);
    AddressAck(ack, msg);
    return SendAck(pkt, ack);
}

int CTForwardIngress::CommandAddDeviceDone(CTXmitPkt& pkt) {
    CTSstpAddDeviceMsg msg;
    CTSstpAddDeviceAck ack;
    if (!HoldsBody(pkt, kIdentifierSize)) return 1;
    if (!msg.Attach(*pkt.GetSkb()) || !ack.Create()) return 1;
    CTString text(kPrintCapacity);
    msg.PrintTo(text);
    CTSstpGetDeviceAckParamList list;
    list.Attach(msg.GetParamListPtr(), BodyHeld(pkt) - kIdentifierSize);
    list.Print(text);
    AddDevices(msg.GetIdentifier(), list);
    PrintSubnet(text);
    Show(pkt, text);
    AddressAck(ack, msg);
    return SendAck(pkt, ack);
}

void CTForwardIngress::AddDevices(uint32_t identifier, CTSstpGetDeviceAckParamList& list) {
    CTWriteGuard guard(*m_lock);
    for (list.First(); !list.IsEnd(); list.Next()) {
        CTSdwanDevice* device =
            EditSubnet().AddDevice(identifier, list.GetIPvAddr(), list.GetEtherAddr());
        if (!device) continue;
        device->SetType(list.GetType());
        device->SetStatus(list.GetStat());
    }
}

// The identifier is not used: each address names its router through the map.
int CTForwardIngress::CommandDelDeviceDone(CTXmitPkt& pkt) {
    CTSstpDelDeviceMsg msg;
    CTSstpDelDeviceAck ack;
    if (!HoldsBody(pkt, kIdentifierSize)) return 1;
    if (!msg.Attach(*pkt.GetSkb()) || !ack.Create()) return 1;
    CTString text(kPrintCapacity);
    msg.PrintTo(text);
    const uint8_t* addrs = static_cast<const uint8_t*>(msg.GetParamListPtr());
    int count = (BodyHeld(pkt) - kIdentifierSize) / kAddrSize;
    {
        CTWriteGuard guard(*m_lock);
        for (int i = 0; i < count; ++i)
            EditSubnet().DelDevice(tnet_load32(addrs + i * kAddrSize));
    }
    PrintSubnet(text);
    Show(pkt, text);
    AddressAck(ack, msg);
    return SendAck(pkt, ack);
}

// Whether it came from where the central router said that an edge is.
bool CTForwardIngress::IsFromPeer(CTXmitPkt& pkt) const {
    CTReadGuard guard(*m_lock);
    for (int i = 0; i < GetPeers().Count(); ++i) {
        CTP2PConnect* peer = GetPeers().At(i);
        if (peer && peer->GetEndpointAddr() == *pkt.GetRecvAddr()) return true;
    }
    return false;
}

int CTForwardIngress::CommandP2pHeartbeatDone(CTXmitPkt& pkt) {
    CTSstpP2PHeartbeatMsg msg;
    CTSstpP2PHeartbeatAck ack;
    if (!HoldsBody(pkt, CTSstpP2PHeartbeatMsg::GetContextLength())) return 1;
    if (!msg.Attach(*pkt.GetSkb()) || !ack.Create()) return 1;
    if (m_port->IsStrictSource() && !IsFromPeer(pkt)) {
        m_foreign.Add();
        return 1;
    }
    ack.SetSeq(msg.GetSeq());
    ack.SetDst(msg.GetSrc());
    ack.SetTick(msg.GetTick());
    m_port->Write(ack, *pkt.GetRecvAddr());
    return 0;
}

int CTForwardIngress::CommandP2pHeartbeatAckDone(CTXmitPkt& pkt) {
    CTSstpMessage msg;
    if (!msg.Attach(pkt)) return 1;
    CTWriteGuard guard(*m_lock);
    CTP2PConnect* peer = EditPeers().GetConnect(msg.GetSrc());
    if (!peer) return 1;
    if (m_port->IsStrictSource() && !(peer->GetEndpointAddr() == *pkt.GetRecvAddr())) {
        m_foreign.Add();
        return 1;
    }
    peer->HeartBeatAckDone(pkt);
    return 0;
}
