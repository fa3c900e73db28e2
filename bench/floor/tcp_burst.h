#pragma once

#include <cstddef>
#include <cstdint>

// One write of or to the interface may carry many TCP segments as one packet of up to 64 KB: how
// the batched floor cuts such a burst, and how it tells what may be joined to one. IPv4 without
// options only; packets are whole, headers in network order.

// What stands in front of each packet of an interface with offload, in host order. The kernel's own
// header of it is no C++.
struct FloorVirtioHeader {
    uint8_t flags;
    uint8_t gso_type;
    uint16_t header_length;
    uint16_t gso_size;
    uint16_t checksum_start;
    uint16_t checksum_offset;
};
static_assert(sizeof(FloorVirtioHeader) == 10);

constexpr uint8_t kFloorNeedsChecksum = 1;
constexpr uint8_t kFloorGsoNone = 0;
constexpr uint8_t kFloorGsoTcp4 = 1;

// Sums up what the host left to its network card; nothing when it points outside the packet.
void FinishFloorChecksum(const FloorVirtioHeader& header, uint8_t* packet, size_t size);

// The segments of a burst, one after the other.
class FloorCut {
  public:
    // The burst must outlive the cut. IsTcp is false for what cannot be cut.
    FloorCut(const uint8_t* burst, size_t size, size_t gso_size);
    bool IsTcp() const { return m_headers > 0; }
    // Writes the next segment, which has room there for any packet of the interface's MTU; its
    // size, or 0 behind the last one.
    size_t Next(uint8_t* segment);

  private:
    const uint8_t* m_burst;
    size_t m_size;
    size_t m_gso_size;
    size_t m_headers = 0;  // bytes of IP and TCP header
    size_t m_at = 0;       // data handed out
    uint16_t m_number = 0;
};

// Where the parts of a segment lie. Its checksums are right and its flags are ACK alone or with
// PSH.
struct FloorSegment {
    size_t headers = 0;  // 0: none that may be joined
    size_t data = 0;
};
FloorSegment ParseFloorSegment(const uint8_t* packet, size_t size);

// Whether a segment continues another one that ended with that many bytes of data: all equal in the
// headers but lengths, numbers, checksums and PSH, which may stand in the later one only.
bool ContinuesFloorSegment(const uint8_t* first, size_t headers, size_t data, uint16_t segments,
                           const uint8_t* next);

// Makes the first packet's headers those of a whole burst; the header to write in front of it.
FloorVirtioHeader HeadFloorBurst(uint8_t* first, size_t headers, size_t segment_data, size_t size,
                                 bool push);
