#pragma once

#include <deque>
#include <map>
#include <optional>

#include "lab/capture/lab_plan.h"
#include "lab/wire/wire_kinds.h"

// Follows a lab run from the first join to the last logout, datagram by datagram in the order of
// the capture, and holds it against the protocol's rules. The network between must be a good one.
class Conversation {
  public:
    explicit Conversation(const LabPlan& plan) : m_plan(plan) {}

    // Takes what goes between edges and central router or among edges; nothing else.
    void Follow(const Datagram& datagram);
    // Holds the whole against what had to come of it.
    void Finish();

    std::map<std::string, int> counts;  // by kind and way
    std::vector<std::string> deviations;

  private:
    enum class Phase { kJoining, kJoined, kLeaving, kGone };
    struct Step {
        uint8_t sub;
        uint32_t identifier = kWireCentral;  // whose devices are asked for
    };
    // An edge from its first to its last message.
    struct Edge {
        Endpoint at;
        LabPlan::Edge plan;
        std::deque<Step> steps;  // still to go, in this order, each when the last is answered
        Phase phase = Phase::kJoining;
        uint32_t identifier = kWireCentral;
        std::optional<uint16_t> open;  // the number of the step that is asked for
        int stray_answers = 0;         // that it got while it waited for another
        int64_t joined_at = 0;
        uint16_t next_packet = 0, next_other = 0;
        std::map<uint32_t, bool> known;      // routers, and whether with devices
        std::map<Endpoint, uint32_t> beats;  // the last tick sent to each
        std::optional<uint32_t> lag;         // of the ticks, behind the capture's time
    };
    // A request under one number, with all its copies.
    struct Exchange {
        WireMessage request;
        std::string where;
        int64_t last_asked_at;
        int asked = 1;
        int answered = 0;
        WireBytes reply = {};
    };
    using Key = std::tuple<Endpoint, Endpoint, uint8_t, uint8_t, uint16_t>;

    static bool IsHeartbeat(const WireMessage& request) {
        return request.type == 1 || request.sub == wire_sub::kPeerHeartbeat;
    }
    void FollowRequest();
    void Repeat(Exchange& exchange);
    void Ask();
    void Leave();
    void Command();
    void HeartBeat();
    void FollowReply();
    void Acknowledged(const WireMessage& command);
    void FinishStep(const WireMessage& request);
    // What has to stand in the body, as far as the plan and what was said before tell it.
    WireBytes RequestBody();
    WireBytes ReplyBody(const WireMessage& request);

    void FollowPacket();
    WireBytes JoinPacket();
    void CheckPacket(const WireBytes& packet);

    Edge* EdgeAt(const Endpoint& endpoint);
    uint32_t IdentifierAt(const Endpoint& endpoint);
    // The one that has it now; nullptr if none.
    const Edge* EdgeWith(uint32_t identifier) const;
    // Those that have joined, by identifier.
    std::map<uint32_t, const Edge*> Others() const;
    // Of this message in the counter; again if it shares it with the one before.
    void Number(uint16_t& next, bool again = false);
    bool IsQuietOver() const;
    std::string Where() const;
    void Want(bool fulfilled, const std::string& otherwise);

    const LabPlan m_plan;
    std::map<Endpoint, Edge> m_edges;
    std::map<Key, Exchange> m_exchanges;
    std::map<std::tuple<Endpoint, Endpoint, uint32_t, uint32_t, uint16_t>, WireBytes> m_seconds;
    std::map<WireBytes, int> m_on_the_way;  // packets that the central router has to pass on
    uint16_t m_next_packet = 0;             // of the central router's own

    // What is looked at, and the edge that sends it, or gets it from the central router.
    Datagram m_datagram;
    WireMessage m_message;
    WireWay m_way = kWireUp;
    std::string m_name = "message";
    Edge* m_edge = nullptr;
};
