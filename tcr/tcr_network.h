#pragma once

#include <cstdint>

// What makes a subnet's addresses usable. All in host byte order.

// Why no hosts can live under the mask; null when they can.
const char* tcr_mask_fault(uint32_t mask);
// Why the address is no gateway under a mask that has no fault; null when it can be one.
const char* tcr_gateway_fault(uint32_t gateway, uint32_t mask);
// Whether an edge may have the address: inside the subnet, and neither the network's, the
// broadcast nor the gateway's.
bool tcr_is_host_addr(uint32_t ip, uint32_t gateway, uint32_t mask);
