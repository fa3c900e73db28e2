#include "lab/wire/wire_kinds.h"

#include "lab/wire/wire_bodies.h"

namespace {

constexpr int kBoth = kWireUp | kWireDown;

template <typename Body>
void Check(const WireBytes& body, WireFaults& faults) {
    DecodeWire<Body>(body, faults);
}

// What is inside is the hosts' business.
void CheckPacket(const WireBytes& body, WireFaults& faults) {
    if (body.empty()) faults.push_back("an empty packet");
}

}  // namespace

const std::vector<WireKind>& WireKinds() {
    using namespace wire_sub;
    static const std::vector<WireKind> kKinds = {
        {1, kHeartbeat, "heartbeat", kWireUp, Check<WireTick>, Check<WireTick>},
        {3, kEcho, "echo", kWireUp, Check<WireNothing>, Check<WireNothing>},
        {3, kLogin, "login", kWireUp, Check<WireLogin>, Check<WireLoginReply>},
        {3, kLogout, "logout", kWireUp, Check<WireNothing>, Check<WireNothing>},
        {3, kDhcp, "dhcp", kWireUp, Check<WireDhcp>, Check<WireDhcpReply>},
        {3, kSubnet, "subnet", kWireUp, Check<WireSubnet>, Check<WireSubnetReply>},
        {3, kPeerHeartbeat, "peer heartbeat", kWireAcross, Check<WireTick>, Check<WireTick>},
        {3, kAddRouter, "router add", kBoth, Check<WireRouterAdd>, Check<WireRouterAddReply>},
        {3, kDelRouter, "router del", kWireDown, Check<WireIdentifier>, Check<WireNothing>},
        {3, kGetRouter, "router get", kWireUp, Check<WireNothing>, Check<WireRouterList>},
        {3, kAddDevice, "device add", kBoth, Check<WireDeviceAdd>, Check<WireNothing>},
        {3, kDelDevice, "device del", kBoth, Check<WireDeviceDel>, Check<WireNothing>},
        {3, kGetDevice, "device get", kWireUp, Check<WireIdentifier>, Check<WireDeviceList>},
        {5, 0, "network packet", kBoth, CheckPacket, nullptr},
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
