#pragma once

#include "tests/capture/datagram.h"
#include "tests/support/wire_bodies.h"
#include "tests/support/wire_message.h"

// What the lab gives its edges, and thus what has to stand in the messages: the truth that comes
// from neither codec.
struct LabPlan {
    Endpoint central{Ip(10, 77, 0, 254), 1922};
    uint32_t gateway = Ip(192, 168, 15, 5);
    uint32_t mask = Ip(255, 255, 255, 0);
    std::string subnet = "qwop";
    std::string user = "qwop";
    std::string password = "qwop";
    uint32_t version = 0x00000105;

    // Edges are numbered by the last byte of their host's address, from 1; 0 for another host.
    static uint32_t NumberAt(uint32_t ip) {
        uint32_t number = ip - Ip(10, 77, 0, 0);
        return number < 16 ? number : 0;
    }
    static uint32_t SerialOf(uint32_t number) { return 1000 + number; }
    static std::string LabelOf(uint32_t number) {
        return std::string("edge-") + static_cast<char>('a' + number - 1);
    }
    static WireDevice DeviceOf(uint32_t number) {
        return {.ip = Ip(192, 168, 15, 10 + number),
                .mac = {2, 0, 0, 0, 0, static_cast<uint8_t>(number)}};
    }
};
