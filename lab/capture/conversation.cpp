#include "lab/capture/conversation.h"

using namespace wire_sub;

namespace {

constexpr int kEdgeAsks = 3;           // times in all
constexpr int kCentralAsks = 4;        // one and three repetitions
constexpr int64_t kPatienceMs = 200;   // of an edge that joins
constexpr int64_t kQuietMs = 500;      // the central router's, after a join and before a repetition
constexpr int64_t kIntervalMs = 2000;  // of heartbeats in the lab
constexpr uint32_t kLeastBeatMs = 1000;
constexpr uint32_t kLeastPeerBeatMs = 200;
constexpr int32_t kClockSlackMs = 10000;  // far below what a wrong unit or byte order gives
constexpr int64_t kRoundingMs = 2;

WireWay Back(WireWay way) {
    if (way == kWireAcross) return way;
    return way == kWireUp ? kWireDown : kWireUp;
}

std::string NameOf(const WireKind& kind, const std::string& form, WireWay way) {
    const char* to = way == kWireUp ? " to the central router" : " to an edge";
    return kind.name + form + (way == kWireAcross ? " edge to edge" : to);
}

}  // namespace

void Conversation::Follow(const Datagram& datagram) {
    m_way = datagram.to == m_plan.central ? kWireUp : kWireAcross;
    if (datagram.from == m_plan.central) m_way = kWireDown;
    bool among_edges = LabPlan::HasEdgeAt(datagram.from.ip) && LabPlan::HasEdgeAt(datagram.to.ip);
    if (m_way == kWireAcross && !among_edges) return;
    m_datagram = datagram;

    WireFaults faults;
    m_message = WireMessage::Decode(datagram.bytes, faults);
    const WireKind* kind = CheckWireKind(m_message, faults);
    std::string form = m_message.IsReply() ? " reply" : "";
    if (m_message.frame_total != 0)
        form = m_message.frame_index == 0 ? ", first part" : ", second part";
    m_name = kind ? NameOf(*kind, form, m_way) : "message";
    for (const std::string& fault : faults)
        Want(false, fault);
    if (!kind) return;
    ++counts[m_name];
    Want(kind->ways & (m_message.IsReply() ? Back(m_way) : m_way), "goes the wrong way");

    if (m_way == kWireUp && m_message.Is(3, kEcho) && !EdgeAt(datagram.from)) {
        Edge& edge = m_edges[datagram.from];
        edge.at = datagram.from;
        edge.plan = LabPlan::EdgeAt(edge.at.ip);
        edge.steps = {{kEcho},      {kLogin},     {kDhcp},     {kSubnet},
                      {kGetRouter}, {kAddRouter}, {kAddDevice}};
    }
    for (const Endpoint& end : {datagram.from, datagram.to}) {
        if (end != m_plan.central && !EdgeAt(end))
            return Want(false, "of an edge that has not begun to join");
    }
    m_edge = EdgeAt(m_way == kWireDown ? datagram.to : datagram.from);
    if (m_message.IsPacket()) return FollowPacket();
    m_message.IsReply() ? FollowReply() : FollowRequest();
}

void Conversation::FollowRequest() {
    Key key(m_datagram.from, m_datagram.to, m_message.type, m_message.sub, m_message.seq);
    if (auto known = m_exchanges.find(key); known != m_exchanges.end())
        return Repeat(known->second);
    Want(m_message.src == IdentifierAt(m_datagram.from), "src is not the sender");
    Want(m_message.dst == IdentifierAt(m_datagram.to), "dst is not the addressee");
    if (m_way == kWireDown) {
        Command();
    } else {
        Number(m_edge->next_other);
        IsHeartbeat(m_message) ? HeartBeat() : Ask();
    }
    if (!IsHeartbeat(m_message))
        Want(m_message.body == RequestBody(), "its content is not as planned");
    m_exchanges.emplace(key, Exchange{m_message, Where(), m_datagram.at});
}

void Conversation::Repeat(Exchange& exchange) {
    bool from_central = m_way == kWireDown;
    bool joining = m_way == kWireUp && m_edge->phase == Phase::kJoining;
    int64_t patience = from_central ? kQuietMs : kPatienceMs;
    bool waited = m_datagram.at - exchange.last_asked_at >= patience - kRoundingMs;
    Want(m_message.Encode() == exchange.request.Encode(), "another message with its number");
    Want(++exchange.asked <= (from_central ? kCentralAsks : kEdgeAsks), "is repeated too often");
    Want(!IsHeartbeat(m_message), "a heartbeat again");
    Want(!from_central || exchange.answered == 0, "is repeated after its answer");
    // An answer to something else makes an edge ask again at once.
    Want(waited || (joining ? m_edge->stray_answers-- > 0 : !from_central), "is repeated too soon");
    exchange.last_asked_at = m_datagram.at;
}

// Joining and leaving: stop and wait.
void Conversation::Ask() {
    if (m_edge->phase == Phase::kJoined && m_message.sub == kDelDevice) Leave();
    if (m_edge->steps.empty() || m_edge->steps.front().sub != m_message.sub)
        return Want(false, "is not the next step");
    Want(m_edge->open.value_or(0) == 0, "asks anew instead of repeating");
    m_edge->open = m_message.seq;
}

// Before it goes, an edge knows of everybody who is there, and has found the way to them.
void Conversation::Leave() {
    m_edge->phase = Phase::kLeaving;
    m_edge->steps = {{kDelDevice}, {kLogout}};
    std::map<uint32_t, bool> there;
    for (const auto& [identifier, other] : Others()) {
        there[identifier] = true;
        Want(m_edge->beats.count(other->at), "has never sent a heartbeat to " + other->at.Text());
    }
    Want(m_edge->known == there, "leaves with a wrong topology");
    Want(m_edge->beats.count(m_plan.central), "leaves without a heartbeat");
}

void Conversation::Command() {
    Want(m_message.seq != 0, "a command without a number");
    Want(IsQuietOver(), "a command too soon after the join");
    for (const auto& [key, exchange] : m_exchanges) {
        Want(std::get<0>(key) != m_plan.central || std::get<1>(key) != m_edge->at ||
                 exchange.answered > 0 || exchange.asked == kCentralAsks,
             "a command while another is open");
    }
    bool needs_router = m_message.sub == kAddDevice || m_message.sub == kDelDevice;
    Want(!needs_router || m_edge->known.count(At32(m_message.body, 0)),
         "devices of a router that is not known");
}

void Conversation::HeartBeat() {
    bool central = m_message.type == 1;
    uint32_t least = central ? kLeastBeatMs : kLeastPeerBeatMs;
    Want(m_edge->phase == Phase::kJoined, "a heartbeat of an edge that has not joined");
    uint32_t tick = At32(m_message.body, 0);
    auto [last, is_first] = m_edge->beats.emplace(m_datagram.to, tick);
    Want(!is_first || !central || m_datagram.at - m_edge->joined_at >= kIntervalMs - kRoundingMs,
         "too soon");
    Want(is_first || tick - last->second >= least, "too soon after the last one");
    last->second = tick;
    uint32_t lag = static_cast<uint32_t>(m_datagram.at) - tick;
    if (!m_edge->lag) m_edge->lag = lag;
    Want(std::abs(static_cast<int32_t>(lag - *m_edge->lag)) < kClockSlackMs,
         "its tick is no clock in milliseconds");
}

void Conversation::FollowReply() {
    uint8_t asked_type = static_cast<uint8_t>(m_message.type - 1);
    auto found = m_exchanges.find(
        Key(m_datagram.to, m_datagram.from, asked_type, m_message.sub, m_message.seq));
    if (found == m_exchanges.end()) return Want(false, "answers nothing");
    Exchange& exchange = found->second;
    const WireMessage& request = exchange.request;
    Want(m_message.Encode() == request.Reply(m_message.body).Encode(), "does not fit its request");
    Want(++exchange.answered <= exchange.asked, "answers again");
    if (exchange.answered > 1) {
        ++m_edge->stray_answers;
        return Want(m_datagram.bytes == exchange.reply, "differs from the first answer");
    }
    exchange.reply = m_datagram.bytes;
    Want(m_message.body == (IsHeartbeat(request) ? request.body : ReplyBody(request)),
         "its content is not as planned");
    if (!IsHeartbeat(request)) m_way == kWireDown ? FinishStep(request) : Acknowledged(request);
}

void Conversation::Acknowledged(const WireMessage& command) {
    uint32_t about = At32(command.body, 0);
    if (command.sub == kAddRouter) m_edge->known[At32(command.body, 4)] = false;
    if (command.sub == kAddDevice) m_edge->known[about] = true;
    if (command.sub == kDelRouter) m_edge->known.erase(about);
}

void Conversation::FinishStep(const WireMessage& request) {
    Edge& edge = *m_edge;
    if (edge.steps.empty() || edge.steps.front().sub != request.sub) return;
    edge.steps.pop_front();
    edge.open.reset();
    if (request.sub == kLogin) edge.identifier = At32(m_message.body, 4);
    if (request.sub == kGetRouter) {
        WireFaults faults;
        auto routers = DecodeWire<WireRouterList>(m_message.body, faults).routers;
        for (auto router = routers.rbegin(); router != routers.rend(); ++router)
            edge.steps.push_front({kGetDevice, router->identifier});
    }
    if (request.sub == kGetDevice) edge.known[At32(request.body, 0)] = true;
    if (!edge.steps.empty()) return;
    edge.phase = edge.phase == Phase::kJoining ? Phase::kJoined : Phase::kGone;
    edge.joined_at = m_datagram.at;
}

void Conversation::Finish() {
    for (const auto& [key, exchange] : m_exchanges) {
        if (exchange.answered == 0 && !exchange.request.Is(3, kPeerHeartbeat))
            deviations.push_back(exchange.where + "is never answered");
    }
    for (const auto& [at, edge] : m_edges) {
        if (edge.phase != Phase::kGone) deviations.push_back(at.Text() + " has not left");
    }
    if (!m_seconds.empty()) deviations.push_back("second parts without a first one");
    if (m_next_packet == 0) deviations.push_back("never seen: an answer of the gateway");
    for (const WireKind& kind : WireKinds()) {
        for (WireWay way : {kWireUp, kWireDown, kWireAcross}) {
            // The central router tells that a device is gone only if it gets to that before the
            // edge itself is gone.
            if (!(kind.ways & way) || (way == kWireDown && kind.sub == kDelDevice)) continue;
            for (std::string form : {"", " reply", ", first part", ", second part"}) {
                if (!form.empty() && (form == " reply") != (kind.check_reply != nullptr)) continue;
                std::string name = NameOf(kind, form, form == " reply" ? Back(way) : way);
                if (counts.count(name) == 0) deviations.push_back("never seen: " + name);
            }
        }
    }
}

Conversation::Edge* Conversation::EdgeAt(const Endpoint& endpoint) {
    auto found = m_edges.find(endpoint);
    return found == m_edges.end() ? nullptr : &found->second;
}

uint32_t Conversation::IdentifierAt(const Endpoint& endpoint) {
    const Edge* edge = EdgeAt(endpoint);
    return edge ? edge->identifier : kWireCentral;
}

const Conversation::Edge* Conversation::EdgeWith(uint32_t identifier) const {
    for (const auto& [at, edge] : m_edges) {
        if (edge.identifier == identifier && edge.phase != Phase::kGone &&
            identifier != kWireCentral)
            return &edge;
    }
    return nullptr;
}

std::map<uint32_t, const Conversation::Edge*> Conversation::Others() const {
    std::map<uint32_t, const Edge*> others;
    for (const auto& [at, other] : m_edges) {
        if (&other != m_edge && other.phase == Phase::kJoined) others[other.identifier] = &other;
    }
    return others;
}

void Conversation::Number(uint16_t& next, bool again) {
    uint16_t number = again ? static_cast<uint16_t>(next - 1) : next++;
    Want(m_message.seq == number, "is not number " + std::to_string(number));
}

// Of the time in which an edge that has joined is left in peace.
bool Conversation::IsQuietOver() const {
    bool is_joined = m_edge->phase == Phase::kJoined || m_edge->phase == Phase::kLeaving;
    return is_joined && m_datagram.at - m_edge->joined_at >= kQuietMs - kRoundingMs;
}

std::string Conversation::Where() const {
    return "frame " + std::to_string(m_datagram.frame) + ", " + m_datagram.from.Text() + " to " +
           m_datagram.to.Text() + ", " + m_name + ": ";
}

void Conversation::Want(bool fulfilled, const std::string& otherwise) {
    if (!fulfilled) deviations.push_back(Where() + otherwise);
}
