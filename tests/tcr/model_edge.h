#pragma once

#include <memory>
#include <optional>

#include "forward/forward_ingress.h"
#include "inet/xmit_pkt_pool.h"
#include "lab/wire/wire_bytes.h"
#include "sdwan/sdwan_subnet.h"
#include "sstp/p2p_connect_list.h"
#include "sstp/sstp_port.h"

// The part of an edge that carries out commands: its own model, its own peers, its own command
// handlers, without socket and thread.
class ModelEdge {
  public:
    ModelEdge() {
        m_port.Attach(m_pool, m_connect);
        StartAnew();
    }
    ~ModelEdge() { m_pool.Release(); }

    // As a join does: nobody is known.
    void StartAnew() {
        subnet = std::make_unique<CTSdwanSubnet>();
        peers = std::make_unique<CTP2pConnectList>();
        m_ingress.SetExternalSubnet(*subnet);
        m_ingress.SetP2PConnectList(*peers);
    }
    // Carries the command out; the datagram with which it is acknowledged.
    std::optional<WireBytes> Obey(const WireBytes& command) {
        CTXmitPkt* pkt = m_pool.Alloc();
        pkt->Write(command.data(), static_cast<int>(command.size()));
        m_ingress.XmitPacketDone(*pkt);
        m_ingress.XmitPacketFinish(*pkt);
        CTXmitPkt* answer = m_port.GetTxQueue().Dequeue();
        if (!answer) return std::nullopt;
        const uint8_t* bytes = answer->GetSkb()->GetData();
        WireBytes datagram(bytes, bytes + answer->GetSkb()->GetDataLength());
        answer->Release();
        return datagram;
    }

    std::unique_ptr<CTSdwanSubnet> subnet;
    std::unique_ptr<CTP2pConnectList> peers;

  private:
    struct Ingress : CTForwardIngress {
        explicit Ingress(CTSstpPort& port) { m_port = &port; }
    };

    CTXmitPktPool m_pool{2048, 8};
    CTSstpConnect m_connect;
    CTSstpPort m_port;
    Ingress m_ingress{m_port};
};
