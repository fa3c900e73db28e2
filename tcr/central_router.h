#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "inet/tnet_npkt.h"
#include "tcr/edge_removal.h"
#include "tcr/relay.h"
#include "tcr/requests.h"
#include "tcr/sessions.h"
#include "tcr/state_sink.h"
#include "tcr/tcr_core.h"

struct TcrSnapshot;

// The central router: keeps the model of its subnets, lets edges join and leave, announces them to
// each other and relays their packets. It knows no socket, no clock and no disk: datagrams and the
// time come in through Receive and Tick, everything else goes out through the link, and what has
// to be kept through the sink. This is the front that sorts what arrives; the parts are one subject
// each, see docs/architecture.md. One thread.
class CTCentralRouter {
  public:
    // Serves what the configuration names. Without a sink nothing is kept and no reply waits.
    CTCentralRouter(const TcrConfig& config, TcrLink& link, TcrStateSink* sink = nullptr);

    // -- At the start and by signal

    // Takes up what an earlier run kept, before the first datagram. Edges that were there are
    // listened to as if heard just now; what they know of each other counts as unknown. Subnets
    // that are no longer served, or have another gateway or mask, go. unix_now in seconds.
    void Restore(const TcrStateImage& image, TcrTime now, int64_t unix_now);
    // Serves what the configuration names from now on. Subnets come and go, by name; one whose
    // gateway or mask changed goes and comes anew. Passwords and limits end no session.
    void Reload(const TcrConfig& config, TcrTime now);
    // The table of subnets, routers and devices, and the counters, line by line to the link.
    void PrintTable(TcrTime now);

    // -- For operators, through TcrDesk

    // What the table shows and more, as plain values; the clocks' fields are left alone.
    void TakeSnapshot(TcrTime now, TcrSnapshot& snapshot) const;
    // Ends what the edge with that serial number has (see tcr_remove_edge).
    std::vector<TcrRemovedEdge> RemoveEdge(uint32_t serial, TcrTime now) {
        return tcr_remove_edge(m_core, serial, now);
    }

    // -- While serving

    // One datagram. Its bytes last until EndOfBurst, which follows each run of them.
    void Receive(const TcrPath& from, const uint8_t* data, int length, TcrTime now);
    void EndOfBurst() { m_relay.EndOfBurst(); }
    // What is due by now: edges gone silent, announcements. A few times a second.
    void Tick(TcrTime now);
    // After each batch of datagrams, ticks and outcomes: hands over what changed.
    void EndOfWakeUp(TcrTime now);
    // The outcome of the batch with that ticket: replies that depend on it leave, or are dropped;
    // what could not be written goes into a later batch. The reason names the file.
    void Saved(uint64_t ticket, TcrTime now);
    void SaveFailed(uint64_t ticket, const std::string& reason, TcrTime now);
    // The end comes: from the next EndOfWakeUp on whatever changed is handed over without delay.
    void Hurry() { m_core.journal.Hurry(); }
    // Whether something changed that has not been written.
    bool HasUnsaved() const { return m_core.journal.IsPending(); }

    // Adds the sealed channels that sessions have, or had until a moment ago.
    void AddChannels(std::unordered_set<uint64_t>& in_use, TcrTime now) const;

    const TcrCounters& GetCounters() const { return m_core.counters; }

  private:
    void SampleTraffic(TcrTime now);

    TcrCore m_core;
    TcrSessions m_sessions;
    TcrRequests m_requests;
    TcrRelay m_relay;
    TcrTime m_last_sample = INT64_MIN / 2;  // of the traffic
    CTSkBuffer m_buffer;  // the datagram being handled, as the message classes want it
};
