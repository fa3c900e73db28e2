#include "tests/capture/conversation.h"

namespace {

using namespace wire_sub;

constexpr int kEdgeAsks = 3;     // times in all
constexpr int kCentralAsks = 4;  // one and three repetitions
// The central router's patience, after a registration and before a repetition.
constexpr int64_t kQuietMs = 500;
constexpr int64_t kIntervalMs = 2000;  // of heartbeats in the lab
constexpr uint32_t kLeastBeatMs = 1000;
constexpr uint32_t kLeastPeerBeatMs = 200;
constexpr int64_t kClockSlackMs = 10000;  // far below what a wrong unit or byte order gives
constexpr int64_t kRoundingMs = 2;

WireWay Back(WireWay way) {
    if (way == WireWay::kToPeer) return way;
    return way == WireWay::kToCentral ? WireWay::kToEdge : WireWay::kToCentral;
}

}  // namespace

void Conversation::Follow(const Datagram& datagram) {
    WireWay way = WireWay::kToPeer;
    if (datagram.to == m_plan.central) way = WireWay::kToCentral;
    if (datagram.from == m_plan.central) way = WireWay::kToEdge;
    bool among_edges = LabPlan::NumberAt(datagram.from.ip) && LabPlan::NumberAt(datagram.to.ip);
    if (way == WireWay::kToPeer && !among_edges) return;
    m_datagram = &datagram;
    m_name = "message";

    WireFaults faults;
    WireMessage message = WireMessage::Decode(datagram.bytes, faults);
    const WireKind* kind = CheckWireKind(message, faults);
    if (kind) m_name = kind->name;
    if (message.frame_total != 0)
        m_name += message.frame_index == 0 ? ", first part" : ", second part";
    if (message.IsReply()) m_name += " reply";
    for (const std::string& fault : faults)
        Deviate(fault);
    if (!kind) return;
    ++m_counts[m_name + " " + WireWayName(way)];
    Want(kind->Goes(message.IsReply() ? Back(way) : way), "goes the wrong way");

    if (way == WireWay::kToCentral && message.Is(3, kEcho)) Begin(datagram.from);
    for (const Endpoint& end : {datagram.from, datagram.to}) {
        if (end != m_plan.central && !EdgeAt(end))
            return Deviate("of an edge that has not begun to join");
    }
    if (message.IsPacket()) return FollowPacket(message, way);
    message.IsReply() ? FollowReply(message) : FollowRequest(message, way);
}

void Conversation::Begin(const Endpoint& at) {
    if (EdgeAt(at)) return;
    Edge& edge = m_edges[at];
    edge.at = at;
    edge.number = LabPlan::NumberAt(at.ip);
    edge.steps = {{kEcho}, {kLogin}, {kDhcp}, {kSubnet}, {kGetRouter}, {kAddRouter}, {kAddDevice}};
}

void Conversation::FollowPacket(const WireMessage& message, WireWay way) {
    const Datagram& datagram = *m_datagram;
    Edge& edge = *EdgeAt(way == WireWay::kToCentral ? datagram.from : datagram.to);
    const Edge* target = message.dst == kWireCentral ? nullptr : EdgeWith(message.dst);
    bool from_central = way == WireWay::kToEdge && message.src == kWireCentral;
    Want(edge.phase == Phase::kJoined || (way == WireWay::kToEdge && edge.phase == Phase::kLeaving),
         "of an edge that has not joined");
    Want(message.dst == kWireCentral || target, "to nobody");
    if (way == WireWay::kToCentral) {
        Want(message.src == edge.identifier, "src is not the sender");
        if (target) m_packets.Hand(datagram);
    } else {
        Want(target == &edge, "dst is another edge");
        Want(from_central || m_packets.IsHandedOn(datagram), "is not what an edge has sent");
        Want(from_central || datagram.at - edge.registered_at >= kQuietMs - kRoundingMs,
             "a packet too soon after the join");
    }
    if (from_central) NumberPacket(m_next_packet, message);
    if (way == WireWay::kToCentral) NumberPacket(edge.next_packet, message);

    WireFaults faults;
    WireBytes packet = m_packets.Join(datagram, message, faults);
    if (!packet.empty()) {
        const Edge* source = way == WireWay::kToCentral ? &edge : EdgeWith(message.src);
        CheckIPv4(packet, faults);
        Want(At32(packet, 12) == (source ? LabPlan::DeviceOf(source->number).ip : m_plan.gateway),
             "its source address is not the sender's");
        Want(At32(packet, 16) == (target ? LabPlan::DeviceOf(target->number).ip : m_plan.gateway),
             "its destination address is not that of dst");
    }
    for (const std::string& fault : faults)
        Deviate(fault);
}

// Both fragments have one number, and the second one is the first to come.
void Conversation::NumberPacket(uint16_t& next, const WireMessage& message) {
    bool has_it_already = message.frame_total != 0 && message.frame_index == 0;
    uint16_t number = has_it_already ? static_cast<uint16_t>(next - 1) : next++;
    Want(message.seq == number, "is not number " + std::to_string(number));
}

void Conversation::FollowRequest(const WireMessage& message, WireWay way) {
    const Datagram& datagram = *m_datagram;
    bool from_central = way == WireWay::kToEdge;
    Edge& edge = *EdgeAt(from_central ? datagram.to : datagram.from);
    Key key(datagram.from, datagram.to, message.type, message.sub, message.seq);
    if (auto known = m_exchanges.find(key); known != m_exchanges.end())
        return Repeat(known->second, message, from_central);

    uint32_t to = way == WireWay::kToCentral ? kWireCentral : EdgeAt(datagram.to)->identifier;
    Want(message.src == (from_central ? kWireCentral : edge.identifier), "src is not the sender");
    Want(message.dst == to, "dst is not the addressee");
    if (from_central) {
        Command(edge, message);
    } else {
        uint16_t number = edge.next_other++;
        Want(message.seq == number, "is not number " + std::to_string(number));
        IsHeartbeat(message) ? HeartBeat(edge, message) : Ask(edge, message);
    }
    if (!IsHeartbeat(message))
        Want(message.body == RequestBody(edge, message, from_central),
             "its content is not as planned");
    m_exchanges[key] = {.request = message, .reply = {}, .last_asked_at = datagram.at};
}

void Conversation::Repeat(Exchange& exchange, const WireMessage& message, bool from_central) {
    Want(message.Encode() == exchange.request.Encode(), "another message with its number");
    Want(++exchange.asked <= (from_central ? kCentralAsks : kEdgeAsks), "is repeated too often");
    if (from_central)
        Want(m_datagram->at - exchange.last_asked_at >= kQuietMs - kRoundingMs,
             "is repeated too soon");
    exchange.last_asked_at = m_datagram->at;
}

// Joining and leaving: stop and wait.
void Conversation::Ask(Edge& edge, const WireMessage& request) {
    if (edge.phase == Phase::kJoined && request.sub == kDelDevice) Leave(edge);
    if (edge.steps.empty() || edge.steps.front().sub != request.sub)
        return Deviate("is not the next step");
    Want(!edge.open || *edge.open == 0, "asks anew instead of repeating");
    edge.open = request.seq;
}

void Conversation::Command(Edge& edge, const WireMessage& command) {
    Want(command.seq != 0, "a command without a number");
    Want(edge.phase == Phase::kJoined || edge.phase == Phase::kLeaving,
         "a command before the join");
    Want(m_datagram->at - edge.registered_at >= kQuietMs - kRoundingMs,
         "a command too soon after the join");
    for (const auto& [key, exchange] : m_exchanges) {
        bool open = std::get<0>(key) == m_plan.central && std::get<1>(key) == edge.at &&
                    exchange.answered == 0 && exchange.asked < kCentralAsks;
        Want(!open, "a command while another is open");
    }
    uint32_t about = At32(command.body, 0);
    bool needs_router = command.sub == kAddDevice || command.sub == kDelDevice;
    Want(!needs_router || edge.known.count(about) == 1, "devices of a router that is not known");
}

void Conversation::HeartBeat(Edge& edge, const WireMessage& request) {
    bool central = request.type == 1;
    uint32_t least = central ? kLeastBeatMs : kLeastPeerBeatMs;
    Want(edge.phase == Phase::kJoined, "a heartbeat of an edge that has not joined");
    uint32_t tick = At32(request.body, 0);
    auto [last, is_first] = edge.beats.emplace(m_datagram->to, tick);
    if (is_first && central)
        Want(m_datagram->at - edge.joined_at >= kIntervalMs - kRoundingMs, "too soon");
    Want(is_first || tick - last->second >= least, "too soon after the last one");
    last->second = tick;
    if (!edge.clock) edge.clock = {m_datagram->at, tick};
    int64_t ticks = static_cast<int32_t>(tick - edge.clock->tick);
    int64_t passed = m_datagram->at - edge.clock->at;
    Want(std::abs(ticks - passed) < kClockSlackMs, "its tick is no clock in milliseconds");
}

void Conversation::FollowReply(const WireMessage& message) {
    const Datagram& datagram = *m_datagram;
    auto found =
        m_exchanges.find(Key(datagram.to, datagram.from, static_cast<uint8_t>(message.type - 1),
                             message.sub, message.seq));
    if (found == m_exchanges.end()) return Deviate("answers nothing");
    Exchange& exchange = found->second;
    bool by_central = datagram.from == m_plan.central;
    Edge& edge = *EdgeAt(by_central ? datagram.to : datagram.from);
    Want(message.Encode() == exchange.request.Reply(message.body).Encode(),
         "does not fit its request");
    Want(++exchange.answered <= exchange.asked, "answers again");
    if (exchange.answered > 1) {
        Want(datagram.bytes == exchange.reply, "differs from the first answer");
        return;
    }
    exchange.reply = datagram.bytes;
    Want(message.body == ReplyBody(edge, exchange, message), "its content is not as planned");
    if (IsHeartbeat(exchange.request)) return;
    by_central ? FinishStep(edge, exchange.request, message) : Acknowledged(edge, exchange.request);
}

void Conversation::Acknowledged(Edge& edge, const WireMessage& command) {
    uint32_t about = At32(command.body, 0);
    if (command.sub == kAddRouter) edge.known[At32(command.body, 4)] = false;
    if (command.sub == kAddDevice) edge.known[about] = true;
    if (command.sub == kDelRouter) edge.known.erase(about);
}

void Conversation::FinishStep(Edge& edge, const WireMessage& request, const WireMessage& reply) {
    uint8_t sub = request.sub;
    if (edge.steps.empty() || edge.steps.front().sub != sub) return;
    edge.steps.pop_front();
    edge.open.reset();
    WireFaults faults;
    if (sub == kLogin) edge.identifier = DecodeWire<WireLoginReply>(reply.body, faults).identifier;
    if (sub == kGetRouter) {
        std::vector<WireRouter> routers = DecodeWire<WireRouterList>(reply.body, faults).routers;
        for (auto router = routers.rbegin(); router != routers.rend(); ++router)
            edge.steps.push_front({kGetDevice, router->identifier});
    }
    if (sub == kGetDevice) edge.known[At32(request.body, 0)] = true;
    if (sub == kAddRouter || sub == kAddDevice) edge.registered_at = m_datagram->at;
    if (!edge.steps.empty()) return;
    edge.phase = edge.phase == Phase::kJoining ? Phase::kJoined : Phase::kGone;
    edge.joined_at = m_datagram->at;
}

// Before it goes, an edge has been told of everybody who is there, and has found the way to them.
void Conversation::Leave(Edge& edge) {
    edge.phase = Phase::kLeaving;
    edge.steps = {{kDelDevice}, {kLogout}};
    std::map<uint32_t, bool> there;
    for (const Edge* other : OthersThan(edge)) {
        there[other->identifier] = true;
        Want(edge.beats.count(other->at) == 1, "has never sent a heartbeat to " + other->at.Text());
    }
    Want(edge.known == there, "leaves with a wrong picture of the others");
    Want(edge.beats.count(m_plan.central) == 1, "leaves without a heartbeat");
}

void Conversation::Finish() {
    for (const auto& [key, exchange] : m_exchanges) {
        const WireMessage& request = exchange.request;
        if (exchange.answered > 0 || request.Is(3, kPeerHeartbeat)) continue;
        m_deviations.push_back("never answered: type " + std::to_string(request.type) +
                               ", sub type " + std::to_string(request.sub) + ", number " +
                               std::to_string(request.seq) + " of " + std::get<0>(key).Text());
    }
    for (const auto& [at, edge] : m_edges) {
        if (edge.phase != Phase::kGone) m_deviations.push_back(at.Text() + " has not left");
    }
    if (m_packets.Unpaired() > 0) m_deviations.push_back("second parts without a first one");
    for (const WireKind& kind : WireKinds()) {
        for (WireWay way : {WireWay::kToCentral, WireWay::kToEdge, WireWay::kToPeer}) {
            // The central router tells that a device is gone only if it gets to that before the
            // edge itself is gone.
            bool may_miss = way == WireWay::kToEdge && kind.sub == kDelDevice;
            if (kind.Goes(way) && !may_miss) ExpectSeen(kind, way);
        }
    }
    if (m_next_packet == 0) m_deviations.push_back("never seen: an answer of the gateway");
}

void Conversation::ExpectSeen(const WireKind& kind, WireWay way) {
    std::vector<std::pair<const char*, WireWay>> forms = {{"", way}};
    if (kind.check_reply) {
        forms.emplace_back(" reply", Back(way));
    } else {
        forms.insert(forms.end(), {{", first part", way}, {", second part", way}});
    }
    for (const auto& [form, its_way] : forms) {
        std::string name = std::string(kind.name) + form + " " + WireWayName(its_way);
        if (m_counts.count(name) == 0) m_deviations.push_back("never seen: " + name);
    }
}

Conversation::Edge* Conversation::EdgeAt(const Endpoint& endpoint) {
    auto found = m_edges.find(endpoint);
    return found == m_edges.end() ? nullptr : &found->second;
}

const Conversation::Edge* Conversation::EdgeWith(uint32_t identifier) const {
    for (const auto& [at, edge] : m_edges) {
        if (edge.identifier == identifier && edge.phase != Phase::kGone &&
            identifier != kWireCentral)
            return &edge;
    }
    return nullptr;
}

std::vector<const Conversation::Edge*> Conversation::OthersThan(const Edge& edge) const {
    std::map<uint32_t, const Edge*> others;  // in the order of their identifiers
    for (const auto& [at, other] : m_edges) {
        if (&other != &edge && other.phase == Phase::kJoined) others[other.identifier] = &other;
    }
    std::vector<const Edge*> list;
    for (const auto& [identifier, other] : others)
        list.push_back(other);
    return list;
}

void Conversation::Want(bool fulfilled, const std::string& otherwise) {
    if (!fulfilled) Deviate(otherwise);
}

void Conversation::Deviate(const std::string& text) {
    m_deviations.push_back("frame " + std::to_string(m_datagram->frame) + ", " +
                           m_datagram->from.Text() + " to " + m_datagram->to.Text() + ", " +
                           m_name + ": " + text);
}
