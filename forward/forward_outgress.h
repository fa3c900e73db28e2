#pragma once

#include <cstdint>

#include "base/pvu_counter.h"
#include "base/pvu_sockaddr.h"
#include "forward/forward_base.h"
#include "inet/xmit_pkt.h"
#include "inet/xmit_pkt_taker.h"

class CTSdwanRouter;

// Carries the host's own traffic into the overlay. Its thread takes each packet of the interface,
// checks it, finds the router that serves its destination address, puts a tunnel header in front
// of it and hands it to the tunnel port. What it cannot place it drops without a word.
class CTForwardOutgress : public CTForwardBase, public CTXmitPktTaker {
  public:
    CTForwardOutgress();

    // ---- The owner's: main thread ----

    // Before Start; copied.
    void SetCentralRouterAddr(CTSockAddr& addr) { m_central = addr; }
    // Returns within one read wait of the device, 200 ms.
    void Stop() { StopThread(); }

    // ---- The steps of the outgress thread, in the order of a packet's road ----

    void DoneLoop() override;
    // 1 to accept the packet. Only whole IPv4 packets of a layer 3 interface are; no layer 2 frame
    // is forwarded.
    int Verify(CTXmitPkt& pkt);
    int Verify_L2(CTXmitPkt& pkt);
    int Verify_L3(CTXmitPkt& pkt);
    // Look-up and header: status 2 when the packet is ready to be sent, 0 when it is to be dropped.
    void NetPacketHandle(CTXmitPkt& pkt);
    // The identifier of the router that serves the packet's destination, the central router's for
    // the gateway; 1 when there is one, else 0.
    int FindDstIdentifier(CTXmitPkt& pkt, unsigned int& identifier) PVU_REQUIRES_SHARED(*m_lock);
    // The destination address in host byte order, by the packet's layer; 0 for other layers. The
    // EtherType of a frame is not looked at. Precondition: the packet holds the headers.
    uint32_t GetNetPktDstIPv4(CTXmitPkt& pkt);
    uint32_t GetL2NetPktDstIPv4(CTXmitPkt& pkt);
    uint32_t GetL3NetPktDstIPv4(CTXmitPkt& pkt);
    // Prepends the tunnel header; 0, or a negative error number without head room.
    int PushSstpHeader(CTXmitPkt& pkt, unsigned int identifier);
    // Hands the packet to the port or back to its pool.
    void NetPacketFinish(CTXmitPkt& pkt);

    // ---- The device's receive thread ----

    // The whole of that road for a lone packet.
    void TakeLone(CTXmitPkt& pkt) override;

    // ---- On nobody's road ----

    // The router for an IPv4 header at the very start of the data, or null; its identifier, or -1.
    CTSdwanRouter* FindDstRouter(CTXmitPkt& pkt) PVU_REQUIRES_SHARED(*m_lock);
    int FindDDstIdentifier(CTXmitPkt& pkt) PVU_REQUIRES_SHARED(*m_lock);

    // ---- What is dropped: any thread ----

    struct Counters {
        CTCounter not_ipv4;             // another version, or too short for a header
        CTCounter length_lie;           // shorter than it says
        CTCounter wrong_layer;          // frames of a layer 2 interface
        CTCounter unknown_destination;  // nobody's address
    };
    const Counters& GetCounters() const { return m_counters; }

  private:
    void ForwardBurst(CTXmitPkt** pkts, int n);
    bool AddressPacket(CTXmitPkt& pkt, unsigned int& identifier) PVU_REQUIRES_SHARED(*m_lock);
    bool ChooseRoute(CTXmitPkt& pkt, unsigned int& identifier) PVU_REQUIRES_SHARED(*m_lock);

    CTSockAddr m_central;
    Counters m_counters;
};
