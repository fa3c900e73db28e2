#pragma once

#include <cstdint>
#include <vector>

#include "sdwan/sdwan_router.h"
#include "tcr/tcr_device.h"

// The four commands to an edge, as datagrams: dst is the edge's identifier, src the central
// router's. Empty without memory.

std::vector<uint8_t> tcr_add_router_message(uint32_t dst, uint16_t seq,
                                            const CTSdwanRouter& router);
std::vector<uint8_t> tcr_del_router_message(uint32_t dst, uint16_t seq, uint32_t router);
// Devices that are on and of type IPv4; at most kSstpAddDeviceMaxRecords.
std::vector<uint8_t> tcr_add_device_message(uint32_t dst, uint16_t seq, uint32_t router,
                                            const TcrDevices& devices);
// At most kSstpDelDeviceMaxAddrs.
std::vector<uint8_t> tcr_del_device_message(uint32_t dst, uint16_t seq, uint32_t router,
                                            const TcrDevices& devices);
