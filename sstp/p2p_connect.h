#pragma once

#include <cstdint>

#include "base/pvu_sockaddr.h"
#include "base/pvu_string.h"
#include "inet/xmit_pkt.h"

class CTSstpPort;

// The direct path to one remote edge: probes it with heartbeats and tracks whether it works.
//
//   OFF      five heartbeats 200 ms apart, then silence until the address changes
//   ON       a heartbeat every 20 s; unanswered, a second one 500 ms later: Pending
//   Pending  a heartbeat every 500 ms; at six unanswered ones: OFF, and its probing again
//
// Any acknowledgement turns it ON. Owned by the list; the ingress thread changes it under the
// model's write lock, the outgress thread reads it under the read lock.
class CTP2PConnect {
  public:
    enum Stat { kOff = 0, kPending = 1, kOn = 2 };

    CTP2PConnect();

    void SetIdentifier(uint32_t identifier) { m_identifier = identifier; }
    uint32_t GetIdentifier() const { return m_identifier; }
    // A different address turns the connection OFF and restarts its probing.
    void SetEndpointAddr(const CTSockAddr& addr);
    CTSockAddr& GetEndpointAddr() { return m_endpoint; }
    bool IsConnect() const { return m_stat == kOn; }
    int GetStat() const { return m_stat; }
    // Of the last heartbeat that was acknowledged in time: microseconds, -1 for none yet, and the
    // tick of the acknowledgement.
    int64_t GetRoundTrip() const { return m_round_trip_us; }
    int64_t GetAnswered() const { return m_answered; }
    // "UnKnow" for any other value.
    static const char* GetStatString(int stat);

    // Sends what the state asks for by now; 0, or 1 for an unknown state.
    int HeartBeat(CTSstpPort& port);
    void HeartBeatAckDone(CTXmitPkt& pkt);
    // Queues one heartbeat to the endpoint; 0, also when it could not be queued.
    int SendHeartbeat(CTSstpPort& port);

    // Appends one line; the string's length.
    int Print(CTString& text);
    int Print();

  private:
    bool SendIfDue(CTSstpPort& port, uint32_t interval);

    int m_stat = kOff;
    uint32_t m_identifier = 0xFFFFFFFF;
    CTSockAddr m_endpoint;
    uint32_t m_last_heartbeat = 0;  // tick
    int64_t m_sent_us = 0;          // of the last heartbeat, which carries the tick beside it
    uint32_t m_sent_tick = 0;
    int64_t m_round_trip_us = -1;
    int64_t m_answered = -1;     // tick
    uint32_t m_online_interval;  // milliseconds
    int m_counter = 0;           // heartbeats since the last acknowledgement or change of state
};
