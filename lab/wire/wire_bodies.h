#pragma once

#include "lab/wire/wire_fields.h"

// The bodies of all messages, and the records in them. Defaults are what an edge of this system
// has: a router of type TUN and layer 3, online; an IPv4 device that is on.

struct WireNothing {
    void Walk(WireWalk&) {}
};

struct WireTick {
    uint32_t tick = 0;
    void Walk(WireWalk& walk) { walk(tick); }
};

struct WireLogin {
    std::string subnet, user, password;
    uint32_t serial = 0, version = 0;
    void Walk(WireWalk& walk) { walk(subnet, user, password, serial, version); }
};

struct WireLoginReply {
    uint32_t error = 0, identifier = 0;
    void Walk(WireWalk& walk) { walk.OneOf(error, {0, 1001, 1002, 1003}).Edge(identifier); }
};

struct WireDhcp {
    uint32_t ip = 0;
    WireMac mac = {};
    void Walk(WireWalk& walk) { walk(ip, mac).Reserved(2); }
};

struct WireDhcpReply {
    uint32_t error = 0, gateway = 0, mask = 0, ip = 0;
    void Walk(WireWalk& walk) { walk.OneOf(error, {0, 1})(gateway, mask, ip); }
};

struct WireSubnet {
    std::string name;
    void Walk(WireWalk& walk) { walk(name); }
};

struct WireSubnetReply {
    std::string name;
    uint32_t gateway = 0, mask = 0;
    void Walk(WireWalk& walk) { walk(name, gateway, mask); }
};

struct WireRouter {
    uint32_t identifier = 0, serial = 0, ip = 0;
    uint16_t port = 0, stat = 1, type = 2;
    uint8_t layer = 3;
    bool operator==(const WireRouter&) const = default;
    void Walk(WireWalk& walk) {
        walk.OneOf(stat, {0, 1}).OneOf(type, {1, 2}).OneOf(layer, {2, 3}).Reserved(1);
        walk(port, ip).Edge(identifier)(serial);
    }
};

struct WireDevice {
    uint32_t ip = 0;
    WireMac mac = {};
    uint16_t stat = 1, type = 1;
    bool operator==(const WireDevice&) const = default;
    void Walk(WireWalk& walk) { walk.OneOf(stat, {0, 1, 2}).OneOf(type, {1, 2, 3})(ip, mac); }
};

struct WireAddress {
    uint32_t ip = 0;
    void Walk(WireWalk& walk) { walk(ip); }
};

struct WireRouterList {
    std::vector<WireRouter> routers;
    void Walk(WireWalk& walk) { walk.List(routers, 32); }
};

struct WireDeviceList {
    std::vector<WireDevice> devices;
    void Walk(WireWalk& walk) { walk.List(devices, 32); }
};

struct WireRouterAdd {
    uint32_t identifier = 0, serial = 0;
    std::string label;
    uint32_t ip = 0;
    uint16_t port = 0, type = 2;
    uint8_t layer = 3;
    void Walk(WireWalk& walk) {
        walk.OneOf(type, {1, 2}).OneOf(layer, {2, 3}).Reserved(1);
        walk.Edge(identifier)(serial).Reserved(2)(port, ip, label);
    }
};

struct WireRouterAddReply {
    uint32_t error = 0;
    void Walk(WireWalk& walk) { walk.OneOf(error, {0, 1}); }
};

// Of router del and device get.
struct WireIdentifier {
    uint32_t identifier = 0;
    void Walk(WireWalk& walk) { walk.Edge(identifier); }
};

struct WireDeviceAdd {
    uint32_t identifier = 0;
    std::vector<WireDevice> devices;
    void Walk(WireWalk& walk) { walk.Edge(identifier).List(devices, 64); }
};

struct WireDeviceDel {
    uint32_t identifier = 0;
    std::vector<WireAddress> addresses;
    void Walk(WireWalk& walk) { walk.Edge(identifier).List(addresses, 32); }
};
