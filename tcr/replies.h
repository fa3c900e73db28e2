#pragma once

#include "sstp/sstp_message.h"
#include "tcr/tcr_counters.h"
#include "tcr/tcr_datagram.h"
#include "tcr/tcr_edge.h"
#include "tcr/tcr_link.h"

// Replies to requests. A reply carries the seq of its request. One to an edge whose session is not
// yet written waits in the session; an edge has one request open at a time, so a later reply takes
// the place of an earlier one. One thread.
class TcrReplies {
  public:
    TcrReplies(TcrLink& link, TcrCounters& counters) : m_link(link), m_counters(counters) {}

    // At once, whatever is written: to where the request came from.
    void SendNow(const TcrDatagram& request, CTSstpMessage& reply);
    // When the edge's session is written.
    void Send(const TcrEdge& edge, const TcrDatagram& request, CTSstpMessage& reply);
    // As Send; a repeated request gets the same bytes again.
    void SendAndKeep(const TcrEdge& edge, const TcrDatagram& request, CTSstpMessage& reply);
    // Whether the request is the last one that was answered so.
    static bool IsRepeated(const TcrEdge& edge, CTSstpMessage& request);
    void Repeat(const TcrEdge& edge);

    // The session is written: what waits leaves; true if there was something.
    bool Release(const TcrEdge& edge);
    // The session could not be written: what waits is dropped.
    void Drop(const TcrEdge& edge);
    // While writing fails replies that would wait are dropped at once.
    void SetFailing(bool failing) { m_failing = failing; }

  private:
    static void Address(const TcrDatagram& request, CTSstpMessage& reply);
    void Leave(const TcrEdge& edge, const uint8_t* data, int length);

    TcrLink& m_link;
    TcrCounters& m_counters;
    bool m_failing = false;
};
