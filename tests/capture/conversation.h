#pragma once

#include <deque>
#include <map>
#include <optional>

#include "tests/capture/lab_plan.h"
#include "tests/capture/packet_rules.h"
#include "tests/support/wire_kinds.h"

// Follows a lab run from the first join to the last logout, datagram by datagram in the order of
// the capture, and holds it against the protocol's rules. The network between must be a good one.
class Conversation {
  public:
    explicit Conversation(const LabPlan& plan) : m_plan(plan) {}

    // Takes what goes between edges and central router or among edges; nothing else.
    void Follow(const Datagram& datagram);
    // Holds the whole against what had to come of it.
    void Finish();

    // By kind and way.
    const std::map<std::string, int>& GetCounts() const { return m_counts; }
    const std::vector<std::string>& GetDeviations() const { return m_deviations; }

  private:
    enum class Phase { kJoining, kJoined, kLeaving, kGone };
    struct Step {
        uint8_t sub;
        uint32_t identifier = kWireCentral;  // whose devices are asked for
    };
    struct Beat {
        int64_t at;
        uint32_t tick;
    };
    // An edge from its first to its last message.
    struct Edge {
        Endpoint at;
        uint32_t number = 0;  // in the plan
        Phase phase = Phase::kJoining;
        uint32_t identifier = kWireCentral;
        std::deque<Step> steps;        // still to go, in this order, each when the last is answered
        std::optional<uint16_t> open;  // the number of the step that is asked for
        int64_t registered_at = 0;
        int64_t joined_at = 0;
        uint16_t next_packet = 0, next_other = 0;
        std::map<uint32_t, bool> known;      // routers, and whether with devices
        std::map<Endpoint, uint32_t> beats;  // the last tick sent to each
        std::optional<Beat> clock;           // its first heartbeat
    };
    // A request under one number, with all its copies.
    struct Exchange {
        WireMessage request;
        WireBytes reply;
        int asked = 1;
        int answered = 0;
        int64_t last_asked_at = 0;
    };
    using Key = std::tuple<Endpoint, Endpoint, uint8_t, uint8_t, uint16_t>;

    static bool IsHeartbeat(const WireMessage& request) {
        return request.type == 1 || request.sub == wire_sub::kPeerHeartbeat;
    }
    void Begin(const Endpoint& at);
    void FollowPacket(const WireMessage& message, WireWay way);
    void NumberPacket(uint16_t& next, const WireMessage& message);
    void FollowRequest(const WireMessage& message, WireWay way);
    void FollowReply(const WireMessage& message);
    void Repeat(Exchange& exchange, const WireMessage& message, bool from_central);
    void Ask(Edge& edge, const WireMessage& request);
    void Command(Edge& edge, const WireMessage& command);
    void HeartBeat(Edge& edge, const WireMessage& request);
    void Acknowledged(Edge& edge, const WireMessage& command);
    void FinishStep(Edge& edge, const WireMessage& request, const WireMessage& reply);
    void Leave(Edge& edge);
    WireBytes RequestBody(const Edge& edge, const WireMessage& request, bool from_central);
    WireBytes ReplyBody(const Edge& edge, const Exchange& exchange, const WireMessage& reply);

    void ExpectSeen(const WireKind& kind, WireWay way);

    Edge* EdgeAt(const Endpoint& endpoint);
    // The one that has it now; nullptr if none.
    const Edge* EdgeWith(uint32_t identifier) const;
    std::vector<const Edge*> OthersThan(const Edge& edge) const;
    void Want(bool fulfilled, const std::string& otherwise);
    void Deviate(const std::string& text);

    const LabPlan m_plan;
    std::map<Endpoint, Edge> m_edges;
    std::map<Key, Exchange> m_exchanges;
    PacketRules m_packets;
    const Datagram* m_datagram = nullptr;  // the one that is looked at
    std::string m_name;                    // what it is
    std::map<std::string, int> m_counts;
    uint16_t m_next_packet = 0;  // of the central router's own
    std::vector<std::string> m_deviations;
};
