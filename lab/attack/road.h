#pragma once

#include <array>
#include <vector>

#include "lab/road/road_end.h"

// The two ways along the road: from the edge, and to it.
enum Way { kUp = 0, kDown = 1 };
constexpr size_t kWays = 2;

// The road between an edge and all others, with somebody on it who reads, keeps, changes and adds.
class Road {
  public:
    bool Open(const char* to_edge, const char* to_others) {
        return m_ends[kUp].Open(to_edge) && m_ends[kDown].Open(to_others);
    }
    // Where frames of that way come in.
    int Handle(Way way) const { return m_ends[way].Handle(); }
    // Carries what waits there.
    void Receive(Way way);

    // Forgets what was kept; from now on all datagrams are, up to a bound.
    void Record();
    // Sends those that were kept once more, in their order; how many.
    size_t Replay(Way way);
    // Ahead of the next sealed message of that way go copies of it: with each of its bytes changed
    // in two manners; or cut to each smaller length.
    void ChangeNext(Way way) { m_spoil[way] = Spoil::kChange; }
    void CutNext(Way way) { m_spoil[way] = Spoil::kCut; }
    // From now on nothing sealed passes, or all does.
    void DropSealed(bool drop) { m_drop_sealed = drop; }
    // Sends a datagram with the addresses of what passes between the edge and its central router.
    // False when nothing has passed yet.
    bool Inject(Way way, const std::vector<uint8_t>& payload);
    // Sends first messages of handshakes, copies of those that were kept but for their random
    // bytes, from addresses that nobody has (10.78.0.0/16); false when none was kept.
    bool Flood(size_t count);
    bool IsFlooding() const { return m_flood > 0; }
    void GoOnFlooding();

    void Tell() const;

  private:
    enum class Spoil { kNothing, kChange, kCut };
    struct Seen {
        size_t sealed = 0;
        size_t open = 0;  // but for heartbeats between edges
        size_t heartbeats = 0;
        size_t largest = 0;  // with the headers of IP and UDP
    };

    void Carry(Way way, Frame& frame);
    void Look(Way way, const Frame& frame, size_t udp);
    void SendSpoilt(Way way, const Frame& frame, size_t udp);
    void Send(Way way, const Frame& frame) { m_ends[way == kUp ? kDown : kUp].Send(frame); }

    std::array<RoadEnd, kWays> m_ends;
    std::array<std::vector<Frame>, kWays> m_kept;
    std::array<Frame, kWays> m_last;  // between edge and central router
    std::array<Spoil, kWays> m_spoil = {};
    std::array<Seen, kWays> m_seen = {};
    bool m_drop_sealed = false;
    size_t m_dropped = 0;
    std::vector<Frame> m_hellos;
    size_t m_flood = 0;  // still to be sent
    int64_t m_flooded_at = 0;
    size_t m_forged = 0, m_forged_bytes = 0;
    size_t m_answers = 0, m_answer_bytes = 0;
};
