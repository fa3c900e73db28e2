#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/pvu_config_fault.h"
#include "base/pvu_version.h"
#include "seal/seal_fingerprint.h"

// Whether edges of a subnet speak to the central router in the open or through sealed channels.
enum class TcrSeal { kOff, kOffered, kRequired };

// One subnet to serve. Addresses in host byte order.
struct TcrSubnetConfig {
    std::string name;
    std::string password;
    uint32_t gateway = 0;
    uint32_t mask = 0;
    // Serial numbers of the edges that it lets in, ascending; nothing: all are.
    std::optional<std::vector<uint32_t>> edges = std::nullopt;
    TcrSeal seal = TcrSeal::kOff;
    // Keys of edges among them that get in with theirs alone, by serial number.
    std::map<uint32_t, CTSealFingerprint> keys = {};
};

// What the central router serves: read from a JSON file, or the defaults, with which a default
// edge joins.
//
//     {
//         "lowest version": "0.1.0",
//         "silent after": 60,
//         "state": "/var/lib/tamvo/tcr.db",
//         "control": "/run/tamvo-tcr/control",
//         "bind": "203.0.113.5",
//         "port": 1922,
//         "http": "127.0.0.1:8080",
//         "seal": "offered",
//         "subnets": [
//             { "name": "qwop", "password": "qwop",
//               "gateway": "192.168.15.5", "netmask": "255.255.255.0",
//               "seal": "required",
//               "edges": [ 1001, -5, "0x80000001", { "serial": 1002, "key": "sha256:..." } ] }
//         ]
//     }
//
// "subnets" must be there; a key that is not listed here is a fault, so that a misspelt one is
// found at the start.
struct TcrConfig {
    // The one subnet that a default edge asks for.
    TcrConfig();

    // Takes the file's content in place of the defaults. False with one line in fault, which names
    // file, key and reason; the record is then not to be used.
    bool ReadFile(const std::string& path, std::string& fault);

    // Every fault of the file by the same rules, in the order of its lines, and what is wrong with
    // it without keeping the central router from its start; none when it is good.
    static CTConfigFaults Check(const std::string& path);

    CTVersion lowest_version;
    int silent_seconds;  // an edge not heard of for so long counts as gone
    std::string state;   // file that keeps its state; empty: not named
    // The control socket's file; empty: there is to be none. Nothing: not named.
    std::optional<std::string> control;
    std::string bind;   // address to listen on, in dotted decimal; empty: not named
    uint16_t port = 0;  // to listen on; 0: not named
    // Where the page of the overlay is served; port 0: nowhere.
    std::string http_bind;
    uint16_t http_port = 0;
    std::vector<TcrSubnetConfig> subnets;

    // Whether any subnet has sealed channels.
    bool IsSealOffered() const;
};
