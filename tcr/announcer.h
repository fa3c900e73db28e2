#pragma once

#include <cstdint>
#include <vector>

#include "sstp/sstp_message.h"
#include "tcr/tcr_link.h"
#include "tcr/tcr_subnet.h"
#include "tcr/topology.h"

// Keeps the topology that every edge has true. Owned by the central router, on its thread.
//
// It compares what is with what each edge knows, and announces the difference, one command at a
// time for each edge, what has to be taken back first (tcr/next_announcement.h). A command that is
// not acknowledged is repeated up to three times; then the edge is left alone until its next
// heartbeat. Because differences are announced, not events, an edge that registers learns what
// changed since it fetched its lists, nothing is queued, and a lost command heals.
//
// What no acknowledgement shows heals as well: the devices of each router are announced again every
// five minutes, and a router of which an earlier, contrary command may still have been under way is
// announced once more when it cannot be any longer.
class TcrAnnouncer {
  public:
    static constexpr int kMaxRepeats = 3;
    static constexpr TcrTime kRepeatMs = 500;

    explicit TcrAnnouncer(TcrLink& link) : m_link(link) {}

    // Sends what is due by now to the edge in that slot, or to every edge, if anything.
    void Advance(TcrSubnet& subnet, int slot, TcrTime now);
    void AdvanceAll(TcrSubnet& subnet, TcrTime now);
    // Takes the edge's answer and goes on; false when it answers nothing that was asked. body is
    // how many bytes of the message's body arrived.
    bool Acknowledge(TcrSubnet& subnet, int slot, CTSstpMessage& ack, int body, TcrTime now);

  private:
    void Advance(TcrSubnet& subnet, const TcrRoster& roster, int slot, TcrTime now);
    void Start(TcrSubnet& subnet, const TcrRoster& roster, int slot, TcrAnnouncement next,
               TcrTime now);
    std::vector<uint8_t> Datagram(const TcrSubnet& subnet, int slot, const TcrAnnouncement& what);
    void SendPending(TcrSession& session, TcrTime now);
    void SendAgain(TcrSubnet& subnet, int slot, TcrTime now);
    void GiveUp(TcrSubnet& subnet, int slot);
    void NoteRoundTrip(TcrSession& session);

    TcrLink& m_link;
};
