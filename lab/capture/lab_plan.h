#pragma once

#include "lab/capture/capture_file.h"
#include "lab/wire/wire_bodies.h"
#include "lab/wire/wire_message.h"

// What the lab gives its edges, and thus what has to stand in the messages: the truth that comes
// from neither codec.
struct LabPlan {
    struct Edge {
        uint32_t serial;
        std::string label;
        WireDevice device;
    };

    Endpoint central{Ip(10, 77, 0, 254), 1922};
    uint32_t gateway = Ip(192, 168, 15, 5);
    uint32_t mask = Ip(255, 255, 255, 0);
    std::string subnet = "qwop";
    std::string user = "qwop";
    std::string password = "qwop";
    uint32_t version = 0x00000105;

    // Edges are numbered by the last byte of their host's address, from 1.
    static bool HasEdgeAt(uint32_t ip) { return ip - Ip(10, 77, 0, 1) < 15; }
    static Edge EdgeAt(uint32_t ip) {
        uint8_t number = static_cast<uint8_t>(ip);
        return {.serial = 1000U + number,
                .label = std::string("edge-") + static_cast<char>('a' + number - 1),
                .device = {.ip = Ip(192, 168, 15, 10) + number, .mac = {2, 0, 0, 0, 0, number}}};
    }
};
