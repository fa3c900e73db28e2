#pragma once

#include <cstdint>

#include "base/pvu_counter.h"
#include "base/pvu_string.h"
#include "forward/forward_base.h"
#include "inet/xmit_pkt.h"
#include "inet/xmit_pkt_taker.h"

class CTSstpAddRouterMsg;
class CTSstpGetDeviceAckParamList;
class CTSstpMessage;

// The single consumer of what the tunnel port receives. Its thread writes network packets to the
// local interface, carries out the commands of the central router and answers them, passes peer
// heartbeat replies to the peer's connection and, between messages, drives all peer heartbeats.
// It is the only place where the network model changes after joining, but for the main thread,
// which replaces it whole when the edge joins again.
//
// Handlers return 0 when done and 1 when not.
class CTForwardIngress : public CTForwardBase, public CTXmitPktTaker {
  public:
    // ---- The owner's: main thread ----

    // Stops the thread, within 200 ms, and forgets device and port.
    void Stop();

    // ---- The steps of the ingress thread, in the order of a message's road ----

    void DoneLoop() override;
    // One message of the port; 1 when there was none.
    int XmitPacketProc();
    void XmitPacketDone(CTXmitPkt& pkt);

    int NetPacketHandle(CTXmitPkt& pkt);
    int RemoveSstpHeader(CTXmitPkt& pkt);

    int CommandHandle(CTXmitPkt& pkt);
    int CommandAckHandle(CTXmitPkt& pkt);
    int CommandAddRouterDone(CTXmitPkt& pkt);
    int CommandDelRouterDone(CTXmitPkt& pkt);
    int CommandAddDeviceDone(CTXmitPkt& pkt);
    int CommandDelDeviceDone(CTXmitPkt& pkt);
    int CommandP2pHeartbeatDone(CTXmitPkt& pkt);
    int CommandP2pHeartbeatAckDone(CTXmitPkt& pkt);

    // A packet of the received one's pool with its addresses, layer and type; null without owner
    // or memory.
    CTXmitPkt* AllocXmitPkt(CTXmitPkt& pkt);
    // Queues the message to where the packet came from; 0, or 1 when that was not possible.
    int SendAck(CTXmitPkt& pkt, CTSstpMessage& ack);

    void XmitPacketFinish(CTXmitPkt& pkt);
    // One heartbeat step of every peer connection.
    void P2pHeartbeat();

    // ---- The port's receive thread ----

    // The whole of a lone network packet's road.
    void TakeLone(CTXmitPkt& pkt) override;

    // ---- What the forwarder counts: any thread ----

    // Commands dropped because their fixed part was not all there.
    uint64_t GetMalformedCount() const { return m_malformed.Get(); }
    // Peers' heartbeats and replies dropped because they came from elsewhere.
    uint64_t GetForeignCount() const { return m_foreign.Get(); }

  private:
    void HandleBurst(CTXmitPkt** pkts, int n);
    bool TakePacket(CTXmitPkt& pkt, CTPeerTraffic::Run& traffic);
    bool IsTimeForPeers();
    bool HoldsBody(CTXmitPkt& pkt, int length);
    bool ReplaceRouter(CTSstpAddRouterMsg& msg, CTString& text);
    void PrintSubnet(CTString& text) const;
    void PrintPeers(CTString& text) const;
    void UnknownType(CTXmitPkt& pkt, int type);
    void Show(CTXmitPkt& cause, const CTString& text);
    bool IsFromPeer(CTXmitPkt& pkt) const;
    void AddDevices(uint32_t identifier, CTSstpGetDeviceAckParamList& list);

    uint32_t m_last_peer_look = 0;  // tick
    CTCounter m_malformed;
    CTCounter m_foreign;
};
