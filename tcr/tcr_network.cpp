#include "tcr/tcr_network.h"

namespace {

constexpr uint32_t kSmallestHostMask = 3;  // two hosts, network and broadcast address

}  // namespace

const char* tcr_mask_fault(uint32_t mask) {
    uint32_t host = ~mask;
    if ((host & (host + 1)) != 0) return "has holes";
    return host < kSmallestHostMask ? "leaves no room for hosts" : nullptr;
}

const char* tcr_gateway_fault(uint32_t gateway, uint32_t mask) {
    uint32_t host = gateway & ~mask;
    return host == 0 || host == ~mask ? "is the network's or the broadcast address" : nullptr;
}

bool tcr_is_host_addr(uint32_t ip, uint32_t gateway, uint32_t mask) {
    uint32_t host = ip & ~mask;
    return (ip & mask) == (gateway & mask) && ip != gateway && host != 0 && host != ~mask;
}
