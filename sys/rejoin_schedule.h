#pragma once

#include <cstdint>

// When an edge joins again: first once heartbeats went unanswered for the configured time, then,
// as long as that fails, after 5 seconds, doubling to 60, each spread by up to a fifth to either
// side, so that the edges of a central router that was away do not come all at once.
//
// Heartbeats that are answered again end it, but only while no login was sent: that may have ended
// the old session, and the central router answers the heartbeats of an edge that has not
// registered, too. From then on only a completed join does.
//
// Owned by the system object, main thread only. Times are readings of the tick in milliseconds.
class CTRejoinSchedule {
  public:
    static constexpr int64_t kAnswered = -1;  // in the place of the time of an unanswered heartbeat

    enum class Step {
        kNone,
        kJoin,      // now
        kAnswered,  // heartbeats are answered again: the session goes on
    };

    // Seconds; 0 or less for never.
    void SetAfter(int seconds);
    // What is to be done, with the time of the first unanswered heartbeat. A changed time shows
    // that heartbeats were answered in between.
    Step Look(int64_t unanswered_since, int64_t now);

    // What became of a join that Look asked for. Failed gives the milliseconds until the next one.
    void LoginSent() { m_login_sent = true; }
    int Failed(int64_t now);
    // The same for a request that did not leave the host, whose network is not up: the shortest
    // time, as nobody else is troubled.
    int NotSent(int64_t now);
    void Joined() { Reset(); }

    // Whether the edge has no complete session any more, by all that it knows.
    bool IsLoginSent() const { return m_login_sent; }

  private:
    static constexpr int kFirstDelayMs = 5000;
    static constexpr int kLongestDelayMs = 60000;

    void Reset();

    int64_t m_after_ms = 0;
    bool m_under_way =
        false;  // since the first join, until one completes or heartbeats are answered
    bool m_login_sent = false;
    int64_t m_since = kAnswered;  // the silence that began it
    int64_t m_next = 0;           // join
    int m_delay_ms = kFirstDelayMs;
};
