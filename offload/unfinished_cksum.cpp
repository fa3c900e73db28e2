#include "offload/unfinished_cksum.h"

#include <cstring>

#include "inet/tnet_cksum.h"

namespace {

constexpr int kUdpCksumOffset = 6;
constexpr uint16_t kAllOnes = 0xFFFF;

}  // namespace

bool tnet_finish_cksum(const tnet_virtio_hdr& hdr, uint8_t* packet, int length) {
    if ((hdr.flags & kVirtioNeedsCsum) == 0) return true;
    int field = hdr.csum_start + hdr.csum_offset;
    if (field + static_cast<int>(sizeof(uint16_t)) > length) return false;
    size_t covered = static_cast<size_t>(length - hdr.csum_start);
    uint16_t cksum = static_cast<uint16_t>(~tsdw_raw_cksum(packet + hdr.csum_start, covered));
    if (cksum == 0 && hdr.csum_offset == kUdpCksumOffset) cksum = kAllOnes;
    memcpy(packet + field, &cksum, sizeof cksum);
    return true;
}
