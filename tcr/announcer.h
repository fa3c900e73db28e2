#pragma once

#include <cstdint>

#include "sstp/sstp_message.h"
#include "tcr/tcr_link.h"
#include "tcr/tcr_subnet.h"

// Keeps every edge's picture of the others true.
//
// It compares what is with what each edge was told, and announces the difference, one command at a
// time for each edge: router add, device add, device del, router del. A command that is not
// acknowledged is repeated up to three times; then the edge is left alone until its next
// heartbeat. Because differences are told, not events, an edge that registers is told what changed
// since it fetched its lists, nothing is queued, and a lost command heals.
class TcrAnnouncer {
  public:
    static constexpr int kMaxRepeats = 3;
    static constexpr TcrTime kRepeatMs = 500;

    explicit TcrAnnouncer(TcrLink& link) : m_link(link) {}

    // Sends what is due to the edge in that slot by now, if anything.
    void Advance(TcrSubnet& subnet, int slot, TcrTime now);
    // Takes the edge's answer and goes on; false when it answers nothing that was asked.
    bool Acknowledge(TcrSubnet& subnet, int slot, CTSstpMessage& ack, int body, TcrTime now);

  private:
    bool Choose(TcrSubnet& subnet, int slot, int about);
    void Start(TcrSubnet& subnet, int slot, CTSstpMessage& msg, int about);
    void AnnounceRouter(TcrSubnet& subnet, int slot, int about);
    void AnnounceRouterEnd(TcrSubnet& subnet, int slot, int about);
    void AnnounceDevices(TcrSubnet& subnet, int slot, int about,
                         const std::vector<TcrDevice>& devices);
    void AnnounceDeviceEnds(TcrSubnet& subnet, int slot, int about,
                            const std::vector<TcrDevice>& devices);
    void SendAgain(TcrSubnet& subnet, int slot, TcrTime now);
    void GiveUp(TcrSubnet& subnet, int slot);
    void Apply(TcrSession& session);
    bool AcknowledgeAgain(TcrSession& session, CTSstpMessage& ack);

    TcrLink& m_link;
};
