#pragma once

#include "lab/wire/wire_message.h"

// Sub types of requests and replies, the one of the heartbeat with types 1 and 2, the others with 3
// and 4.
namespace wire_sub {
constexpr uint8_t kHeartbeat = 2;
constexpr uint8_t kEcho = 2;
constexpr uint8_t kLogin = 3;
constexpr uint8_t kLogout = 4;
constexpr uint8_t kDhcp = 5;
constexpr uint8_t kSubnet = 6;
constexpr uint8_t kPeerHeartbeat = 8;
constexpr uint8_t kAddRouter = 10;
constexpr uint8_t kDelRouter = 12;
constexpr uint8_t kGetRouter = 14;
constexpr uint8_t kAddDevice = 16;
constexpr uint8_t kDelDevice = 17;
constexpr uint8_t kGetDevice = 18;
}  // namespace wire_sub

// Who sends to whom: edge to central router, central router to edge, edge to edge.
enum WireWay { kWireUp = 1, kWireDown = 2, kWireAcross = 4 };

struct WireKind {
    uint8_t type;  // of the request
    uint8_t sub;
    const char* name;
    int ways;  // on which requests go; replies go back
    void (*check_request)(const WireBytes& body, WireFaults& faults);
    void (*check_reply)(const WireBytes& body, WireFaults& faults);
};

const std::vector<WireKind>& WireKinds();

// The kind of a message whose body has been held against it; a message of no kind that is ever sent
// is a fault, and gives nullptr.
const WireKind* CheckWireKind(const WireMessage& message, WireFaults& faults);
