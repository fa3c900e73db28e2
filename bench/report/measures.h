#pragma once

#include <array>

// What scripts/bench measures, in the order of its table.
struct BenchMeasure {
    const char* name;   // in the samples
    const char* title;  // in the table
    const char* unit;
    int decimals;
    bool in_chart;
};

constexpr std::array<BenchMeasure, 20> kBenchMeasures = {{
    {"tcp1", "TCP, one stream", "Mbit/s", 0, true},
    {"tcp4", "TCP, four streams", "Mbit/s", 0, true},
    {"both", "TCP, both directions", "Mbit/s", 0, true},
    {"tcp1.cpu", "processor, TCP", "s/GB", 2, true},
    {"udp64.lossfree", "UDP 64, loss-free", "kpps", 1, true},
    {"udp64.flood", "UDP 64, overload", "kpps", 1, true},
    {"udp64.cpu", "processor, UDP 64", "us/packet", 2, true},
    {"udp1372.lossfree", "UDP 1372, loss-free", "kpps", 1, true},
    {"udp1372.flood", "UDP 1372, overload", "kpps", 1, true},
    {"udp1372.cpu", "processor, UDP 1372", "us/packet", 2, true},
    {"rtt.idle", "round trip, idle", "us", 0, true},
    {"rtt.idle99", "  its 99th", "us", 0, false},
    {"rtt.load", "round trip, TCP load", "us", 0, true},
    {"rtt.load99", "  its 99th", "us", 0, false},
    {"memory", "resident memory", "MB", 1, false},
    {"calls.udp64", "system calls, UDP 64", "1/packet", 2, false},
    {"calls.tcp1", "system calls, TCP", "1/1448 B", 2, false},
    {"alloc.paced", "allocations, paced", "1/packet", 4, false},
    {"alloc.flood", "allocations, overload", "1/packet", 4, false},
    {"routers", "added by 16 routers", "per cent", 2, false},
}};

// What the sealed mode is held against beside the open one: tunnels that encrypt.
inline constexpr std::array kBenchEncryptingPeers = {"openvpn-gcm", "wireguard-go", "tinc-aes",
                                                     "fastd-salsa"};
