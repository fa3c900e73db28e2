#pragma once

#include "tcr/tcr_core.h"

// An edge that waits for the reply to its last registration step asks again within its receive
// time-out, 200 ms by default; after this long it is done with joining.
constexpr TcrTime kTcrSettleMs = 500;

// The life of the edges' sessions between login and logout: who is listened to, who is there, who
// has joined, who is shown to the others. One thread.
class TcrSessions {
  public:
    explicit TcrSessions(TcrCore& core) : m_core(core) {}

    // The edge with that identifier, if the datagram comes from where it logged in; false, and
    // counted, otherwise.
    bool Find(uint32_t identifier, const TcrPath& from, TcrEdge& edge);

    void HeartBeat(const TcrDatagram& datagram);
    void Acknowledgement(const TcrDatagram& datagram);
    // What is due by now: silence, ends of joins, announcements.
    void Tick(TcrTime now);
    // A reply left that the edge may have waited for.
    void ReplyLeft(const TcrEdge& edge, TcrTime now);

    // From now on the edge is sent announcements and packets, and it is announced to the others.
    void Settle(const TcrEdge& edge, TcrTime now);
    // The edge is heard of again after a silence; nothing otherwise.
    void TakeBack(const TcrEdge& edge, TcrTime now);
    // The edge registered its router, or is back; the others see it once it has settled.
    void List(const TcrEdge& edge);
    // The others no longer see the router; its devices wait with it or end.
    void Unlist(const TcrEdge& edge, uint16_t device_status);

  private:
    void CheckSilence(const TcrEdge& edge, TcrTime now);
    void CheckSettled(const TcrEdge& edge, TcrTime now);

    TcrCore& m_core;
};
