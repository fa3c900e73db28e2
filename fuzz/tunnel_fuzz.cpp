// Datagrams from the network, through the tunnel port and its fragment store, into the ingress
// forwarder's handlers: with a model that is empty at first, or that holds a router with devices.
//
// Input: a byte, bit 0 for a filled model; then datagrams as records.

#include "forward/forward_ingress.h"
#include "forward/net_device.h"
#include "fuzz/fuzz_input.h"
#include "sdwan/sdwan_subnet.h"
#include "sstp/p2p_connect_list.h"
#include "sstp/sstp_port.h"

namespace {

// The ingress forwarder without its thread.
class Ingress : public CTForwardIngress {
  public:
    void Attach(CTNetDevice& device, CTSstpPort& port) {
        m_device = &device;
        m_port = &port;
    }
};

constexpr int kPacketSize = 2048;
constexpr int kPoolMax = 128;
constexpr uint8_t kMac[] = {2, 0, 0, 0, 0, 1};

// The tunnel's receiving half without its threads: what they would do is done here, in order.
class Tunnel {
  public:
    explicit Tunnel(bool filled) : m_pool(kPacketSize, kPoolMax) {
        m_port.Attach(m_pool, m_client);
        m_ingress.SetExternalSubnet(m_subnet);
        m_ingress.SetP2PConnectList(m_peers);
        m_ingress.Attach(m_device, m_port);
        if (!filled) return;
        CTSdwanRouter* router = m_subnet.ReplaceRouter(1);
        CTSockAddr addr("127.0.0.1", 9);
        router->SetIdentifier(1);
        router->SetSstpAddr(addr);
        m_peers.Insert(1, addr);
        for (uint32_t ip = 0xC0A80F01; ip < 0xC0A80F08; ++ip)
            m_subnet.AddDevice(router, ip, kMac);
    }

    void Receive(const std::vector<uint8_t>& datagram) {
        CTXmitPkt* pkt = m_pool.Alloc();
        if (!pkt) return;
        if (pkt->Write(datagram.data(), static_cast<int>(datagram.size())) != 0 ||
            !m_port.IsComplete(*pkt)) {
            pkt->Release();
            return;
        }
        m_port.RecvXmitPacketHandle(*pkt);
        if (pkt->GetStatus() == kXmitFinished) pkt->Release();
        if (pkt->GetStatus() != kXmitDeliver) return;
        m_ingress.XmitPacketDone(*pkt);
        m_ingress.XmitPacketFinish(*pkt);
        m_ingress.P2pHeartbeat();
        m_port.ClearTxFifo();
    }

  private:
    CTXmitPktPool m_pool;
    CTSstpConnect m_client;
    CTSstpPort m_port;
    CTNetDevice m_device;
    CTSdwanSubnet m_subnet;
    CTP2pConnectList m_peers;
    Ingress m_ingress;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    Tunnel tunnel((input.Take8() & 1) != 0);
    while (!input.Empty())
        tunnel.Receive(input.TakeRecord());
    return 0;
}
