#pragma once

#include <cstdint>

#include "offload/virtio_hdr.h"

// The host's stack leaves the checksum of what it sends to the interface: it gives the
// pseudo-header's sum in the field and says where the sum begins. Finishes it in place, as a
// network card would; nothing to do without kVirtioNeedsCsum. False, with the packet unchanged,
// when the field does not lie inside the packet. A UDP sum of 0 becomes 0xFFFF (RFC 768).
bool tnet_finish_cksum(const tnet_virtio_hdr& hdr, uint8_t* packet, int length);
