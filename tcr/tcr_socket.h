#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "base/pvu_udp.h"
#include "offload/grouped_receiver.h"
#include "offload/grouped_sender.h"
#include "tcr/tcr_path.h"

// The central router's UDP socket. It knows for each datagram which address of this host it came
// to, and lets what is sent leave from a given one, so that an edge hears from the address that it
// speaks to also where the host has several. Never waits. One thread.
class TcrSocket {
  public:
    TcrSocket() = default;
    ~TcrSocket() { m_udp.Close(); }

    // Binds to the address (host byte order, 0: all of this host's) and the port. False with the
    // system's reason in fault.
    bool Open(uint32_t ip, uint16_t port, std::string& fault);
    // For poll.
    int Handle() const { return m_udp.GetHandle(); }

    // Takes in what waits, as far as a few calls of the system give it; whether there is anything.
    bool ReceiveBurst() { return m_receiver.Receive() > 0; }
    // Whether that took in all there was.
    bool IsDrained() const { return m_receiver.IsDrained(); }
    // One datagram after the other of the last ReceiveBurst: false at the end. Its bytes last until
    // the next ReceiveBurst; length 0 for one that was cut.
    bool Next(TcrPath& from, const uint8_t*& data, int& length);

    // False when the system did not take it whole.
    bool Send(const TcrPath& to, const void* data, int length);
    // Sends with the next Flush, at the latest when as many wait as go out at once; until then the
    // bytes must last.
    void Queue(const TcrPath& to, const uint8_t* data, int length);
    // How many datagrams were refused since the last Flush.
    int Flush();

  private:
    void SendQueued();

    CTUdp m_udp;
    CTGroupedReceiver m_receiver;
    CTGroupedSender m_sender;
    std::array<CTDatagram, CTGroupedSender::kMaxBurst> m_queue;
    std::array<sockaddr_in, CTGroupedSender::kMaxBurst> m_remotes;  // of the queue
    int m_queued = 0;
    int m_refused = 0;  // since the last Flush
};
