#pragma once

#include <cstddef>
#include <cstdint>

#include "tcr/announcement.h"
#include "tcr/peer_view.h"

constexpr int kTcrSlots = 16;  // routers of a subnet

// What the subnet is, in the eyes of whoever announces it: for each slot whether there is a router
// that others see, in which version, and with which devices.
struct TcrRoster {
    struct Entry {
        bool visible = false;
        uint32_t version = 0;  // changes with each registration, never 0
        TcrDevices devices;    // empty where not visible
    } entries[kTcrSlots];
};

// What one edge knows of its subnet, and what is being announced to it: a part of its session, kept
// by the announcer.
//
// An edge's model lets an address lead to the first router that claims it and forgets it when any
// router goes that claimed it, too; a command that arrives late is carried out like any other. What
// follows from each of the four commands for what is sure is worked out here: when it is sent (it
// may be carried out from then on), when it is acknowledged, and when it is acknowledged again.
class TcrTopology {
  public:
    // How often the devices of each router are announced although nothing changed.
    static constexpr TcrTime kRefreshMs = 300'000;

    // For a restored edge: anything may be known, nothing is sure.
    void Forget();
    // The edge logged in again from the socket that it had.
    void StartAnew();

    // The times that depend on now, and what is due because of them. Called before a choice.
    void Elapse(const TcrRoster& roster, uint32_t identifier, TcrTime now);
    // The devices behind the router are being announced because it was time to.
    void Refreshed(int slot, TcrTime now);
    // A number for the next command; never 0, which an edge would number itself.
    uint16_t NextSeq();
    // A command was sent for the first time.
    void Sent(const TcrAnnouncement& sent, const TcrRoster& roster);
    // The pending command was carried out.
    void Acknowledged();
    // Whether the reply is to a command that is not pending (any more). It was carried out late or
    // twice then: the router that it was about is announced anew.
    bool AcknowledgedAgain(uint8_t sub_type, uint16_t seq, TcrTime now);

    TcrPeerView views[kTcrSlots];  // of the router in each slot
    TcrPendingAnnouncement pending;
    bool stalled = false;    // it left an announcement unanswered: not before its next heartbeat
    TcrTime not_before = 0;  // nothing is announced earlier

  private:
    static constexpr size_t kPast = 64;

    bool AcknowledgedLongAgo(uint16_t seq, TcrTime now);
    void SentRouter(const TcrAnnouncement& sent);
    void Contradict(TcrPeerView& view, const TcrRoster::Entry& present);
    void DoubtAddressesBehind(int slot);
    void DoubtEverywhere(const TcrDevices& devices);
    void Renew(TcrPeerView& view, TcrTime now);

    uint16_t m_next_seq = 1;
    uint64_t m_sent = 0;  // commands
    // The commands sent last, in a ring: what a late acknowledgement is recognised by.
    TcrAnnouncement m_past[kPast];
    size_t m_next_past = 0;
};
