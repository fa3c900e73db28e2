#include "tests/support/wire_kinds.h"

#include "tests/support/wire_bodies.h"

namespace {

constexpr int kUp = static_cast<int>(WireWay::kToCentral);
constexpr int kDown = static_cast<int>(WireWay::kToEdge);
constexpr int kAcross = static_cast<int>(WireWay::kToPeer);

template <typename Body>
void Check(const WireBytes& body, WireFaults& faults) {
    DecodeWire<Body>(body, faults);
}

// What is inside is the hosts' business.
void CheckPacket(const WireBytes& body, WireFaults& faults) {
    if (body.empty()) faults.push_back("an empty packet");
}

}  // namespace

const char* WireWayName(WireWay way) {
    if (way == WireWay::kToPeer) return "edge to edge";
    return way == WireWay::kToCentral ? "to the central router" : "to an edge";
}

const std::vector<WireKind>& WireKinds() {
    using namespace wire_sub;
    static const std::vector<WireKind> kKinds = {
        {1, kHeartbeat, "heartbeat", kUp, Check<WireTick>, Check<WireTick>},
        {3, kEcho, "echo", kUp, Check<WireNothing>, Check<WireNothing>},
        {3, kLogin, "login", kUp, Check<WireLogin>, Check<WireLoginReply>},
        {3, kLogout, "logout", kUp, Check<WireNothing>, Check<WireNothing>},
        {3, kDhcp, "dhcp", kUp, Check<WireDhcp>, Check<WireDhcpReply>},
        {3, kSubnet, "subnet", kUp, Check<WireSubnet>, Check<WireSubnetReply>},
        {3, kPeerHeartbeat, "peer heartbeat", kAcross, Check<WireTick>, Check<WireTick>},
        {3, kAddRouter, "router add", kUp | kDown, Check<WireRouterAdd>, Check<WireRouterAddReply>},
        {3, kDelRouter, "router del", kDown, Check<WireIdentifier>, Check<WireNothing>},
        {3, kGetRouter, "router get", kUp, Check<WireNothing>, Check<WireRouterList>},
        {3, kAddDevice, "device add", kUp | kDown, Check<WireDeviceAdd>, Check<WireNothing>},
        {3, kDelDevice, "device del", kUp | kDown, Check<WireDeviceDel>, Check<WireNothing>},
        {3, kGetDevice, "device get", kUp, Check<WireIdentifier>, Check<WireDeviceList>},
        {5, 0, "network packet", kUp | kDown, CheckPacket, nullptr},
    };
    return kKinds;
}

const WireKind* CheckWireKind(const WireMessage& message, WireFaults& faults) {
    int request_type = message.IsReply() ? message.type - 1 : message.type;
    for (const WireKind& kind : WireKinds()) {
        if (kind.type != request_type || kind.sub != message.sub) continue;
        auto check = message.IsReply() ? kind.check_reply : kind.check_request;
        if (!check) break;
        check(message.body, faults);
        return &kind;
    }
    faults.push_back("no such message: type " + std::to_string(message.type) + ", sub type " +
                     std::to_string(message.sub));
    return nullptr;
}
