#pragma once

#include <array>

#include "inet/tnet_splitter.h"
#include "inet/xmit_pkt.h"
#include "offload/grouped_sender.h"
#include "sstp/sstp_connect.h"

// Sends what the transmit thread took off its queue at once: numbers each message, splits what is
// longer than the tunnel's MTU, and hands the datagrams to the system in one go.
//
// Of two fragments the second goes first. Of up to 16 packets that the host's stack handed over as
// one burst, for one router, the second halves go first, all of them, and then the first ones: so
// datagrams of one size follow each other, which is what the system can send as one. Packets that
// came one by one leave pair by pair.
//
// Owned by the port; its transmit thread alone uses it.
class CTSstpSendBurst {
  public:
    static constexpr int kMaxMessages = CTGroupedSender::kMaxBurst / 2;
    static constexpr int kMaxTogether = 16;  // packets whose second halves go first

    // Takes the memory for second fragments; 1, or 0 without it.
    int Create();
    void Destroy();
    void SetMtu(int mtu) { m_splitter.SetMtu(mtu); }

    // Sends up to kMaxMessages messages, which stay the caller's. How many left whole; the others
    // the system refused, or they were none.
    int Send(CTSstpConnect& conn, CTXmitPkt* const* pkts, int count);

  private:
    int CountTogether(CTXmitPkt* const* pkts, int count) const;
    void AddPackets(CTSstpConnect& conn, CTXmitPkt* const* pkts, int count);
    void AddMessage(CTSstpConnect& conn, CTXmitPkt& pkt);
    CTXmitPkt* Split(CTXmitPkt& pkt);
    void AddDatagram(CTXmitPkt& pkt, const CTSockAddr& to);

    CTNetPktSplitter m_splitter;
    std::array<CTXmitPkt, kMaxMessages> m_spares;  // take the second fragments
    int m_split = 0;                               // spares in use
    int m_messages = 0;                            // that are being sent
    std::array<CTDatagram, CTGroupedSender::kMaxBurst> m_datagrams;
    int m_count = 0;
};
