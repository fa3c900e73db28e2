#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "tcr/state_sink.h"
#include "tcr/subnet_table.h"
#include "tcr/tcr_time.h"

// Collects what changed and hands it to the sink, one batch at a time: while one is being written,
// further changes wait for the next one. Records are made when a batch is, of what is true then;
// what could not be written goes into the next batch, at most one a second.
//
// A change that a reply depends on marks the edge's session as unsaved until it is written.
// Announcements do not wait: after a restart everything is announced anew, so one that was ahead of
// the disk is put right, and no edge's changes hold up what the others learn. Without a sink
// nothing is collected and no session is ever unsaved. One thread.
class TcrStateJournal {
  public:
    static constexpr TcrTime kPauseMs = 1000;

    // The sink may be null.
    TcrStateJournal(const TcrSubnetTable& subnets, TcrStateSink* sink)
        : m_subnets(subnets), m_sink(sink) {}

    // Something changed that a reply shows to the edge: its replies wait until it is written.
    void EdgeChanged(const TcrEdge& edge) { Mark(edge, true); }
    // Something changed that nobody has to wait for: heard again, silent, joined. Written with the
    // next change, at the latest after a second.
    void EdgeNoted(const TcrEdge& edge) { Mark(edge, false); }
    // A subnet is new under its index, or was removed, with its edges. After a removal a new one
    // may have the same index.
    void SubnetChanged(int index);
    void SubnetRemoved(int index);
    // Forgets every mark: what is there is what is written.
    void Clear();

    // The difference between the clock of the records and that of the times: seconds since 1970 at
    // time 0.
    void SetClock(int64_t unix_at_zero) { m_unix_at_zero = unix_at_zero; }

    // The end comes: what waits is due at once.
    void Hurry() { m_hurry = true; }
    // Hands over what is due, if nothing is being written.
    void Submit(TcrTime now);
    // The outcome of a batch. The edges whose replies may leave, or are to be dropped; those of an
    // unknown ticket are none.
    std::vector<TcrEdge> Saved(uint64_t ticket);
    std::vector<TcrEdge> Failed(uint64_t ticket, TcrTime now);

    // Whether changes are kept at all.
    bool HasSink() const { return m_sink != nullptr; }
    // Whether there is something that has not been written.
    bool IsPending() const { return IsInFlight() || !m_waiting.IsEmpty(); }
    // The last batch could not be written.
    bool IsFailing() const { return m_failing; }

  private:
    using Key = std::pair<int, int>;  // subnet index, slot

    struct Marks {
        std::set<int> removed_subnets;
        std::set<int> subnets;
        std::map<Key, bool> edges;  // whether replies wait for it

        bool IsEmpty() const { return removed_subnets.empty() && subnets.empty() && edges.empty(); }
        bool IsUrgent() const;
    };

    void Mark(const TcrEdge& edge, bool awaited);
    bool IsInFlight() const { return m_in_flight != 0; }
    // The edges of the batch whose replies waited for it and still exist.
    std::vector<TcrEdge> Awaited() const;
    TcrEdge EdgeOf(const Key& key) const { return {m_subnets.At(key.first), key.second}; }
    TcrStateBatch MakeBatch(TcrTime now) const;
    TcrEdgeRecord RecordOf(const TcrEdge& edge, TcrTime now) const;

    const TcrSubnetTable& m_subnets;
    TcrStateSink* const m_sink;
    int64_t m_unix_at_zero = 0;
    Marks m_waiting;
    Marks m_written;           // in the batch that is being written
    uint64_t m_in_flight = 0;  // its ticket; 0: none
    uint64_t m_last_ticket = 0;
    TcrTime m_last_submit = INT64_MIN / 2;
    bool m_failing = false;
    bool m_hurry = false;
};
