#pragma once

#include "tests/support/wire_fields.h"

// The bodies of all messages, and the records in them. Defaults are what an edge of this system
// has: a router of type TUN and layer 3, online; an IPv4 device that is on.

struct WireNothing {
    void Walk(auto&) {}
};

struct WireTick {
    uint32_t tick = 0;
    void Walk(auto& fields) { fields.Number(tick); }
};

struct WireLogin {
    std::string subnet, user, password;
    uint32_t serial = 0, version = 0;
    void Walk(auto& fields) {
        fields.Text(subnet);
        fields.Text(user);
        fields.Text(password);
        fields.Number(serial);
        fields.Number(version);
    }
};

struct WireLoginReply {
    uint32_t error = 0, identifier = 0;
    void Walk(auto& fields) {
        fields.Number(error, {0, 1001, 1002, 1003});
        fields.Identifier(identifier);
    }
};

struct WireDhcp {
    uint32_t ip = 0;
    WireMac mac = {};
    void Walk(auto& fields) {
        fields.Number(ip);
        fields.Mac(mac);
        fields.Reserved(2);
    }
};

struct WireDhcpReply {
    uint32_t error = 0, gateway = 0, mask = 0, ip = 0;
    void Walk(auto& fields) {
        fields.Number(error, {0, 1});
        fields.Number(gateway);
        fields.Number(mask);
        fields.Number(ip);
    }
};

struct WireSubnet {
    std::string name;
    void Walk(auto& fields) { fields.Text(name); }
};

struct WireSubnetReply {
    std::string name;
    uint32_t gateway = 0, mask = 0;
    void Walk(auto& fields) {
        fields.Text(name);
        fields.Number(gateway);
        fields.Number(mask);
    }
};

struct WireRouter {
    uint32_t identifier = 0, serial = 0, ip = 0;
    uint16_t port = 0, stat = 1, type = 2;
    uint8_t layer = 3;
    bool operator==(const WireRouter&) const = default;
    void Walk(auto& fields) {
        fields.Number(stat, {0, 1});
        fields.Number(type, {1, 2});
        fields.Number(layer, {2, 3});
        fields.Reserved(1);
        fields.Number(port);
        fields.Number(ip);
        fields.Identifier(identifier);
        fields.Number(serial);
    }
};

struct WireDevice {
    uint32_t ip = 0;
    WireMac mac = {};
    uint16_t stat = 1, type = 1;
    bool operator==(const WireDevice&) const = default;
    void Walk(auto& fields) {
        fields.Number(stat, {0, 1, 2});
        fields.Number(type, {1, 2, 3});
        fields.Number(ip);
        fields.Mac(mac);
    }
};

struct WireAddress {
    uint32_t ip = 0;
    void Walk(auto& fields) { fields.Number(ip); }
};

struct WireRouterList {
    std::vector<WireRouter> routers;
    void Walk(auto& fields) { fields.List(routers, 32); }
};

struct WireDeviceList {
    std::vector<WireDevice> devices;
    void Walk(auto& fields) { fields.List(devices, 32); }
};

struct WireRouterAdd {
    uint32_t identifier = 0, serial = 0;
    std::string label;
    uint32_t ip = 0;
    uint16_t port = 0, type = 2;
    uint8_t layer = 3;
    void Walk(auto& fields) {
        fields.Number(type, {1, 2});
        fields.Number(layer, {2, 3});
        fields.Reserved(1);
        fields.Identifier(identifier);
        fields.Number(serial);
        fields.Reserved(2);
        fields.Number(port);
        fields.Number(ip);
        fields.Text(label);
    }
};

struct WireRouterAddReply {
    uint32_t error = 0;
    void Walk(auto& fields) { fields.Number(error, {0, 1}); }
};

// Of router del and device get.
struct WireIdentifier {
    uint32_t identifier = 0;
    void Walk(auto& fields) { fields.Identifier(identifier); }
};

struct WireDeviceAdd {
    uint32_t identifier = 0;
    std::vector<WireDevice> devices;
    void Walk(auto& fields) {
        fields.Identifier(identifier);
        fields.List(devices, 64);
    }
};

struct WireDeviceDel {
    uint32_t identifier = 0;
    std::vector<WireAddress> addresses;
    void Walk(auto& fields) {
        fields.Identifier(identifier);
        fields.List(addresses, 32);
    }
};
