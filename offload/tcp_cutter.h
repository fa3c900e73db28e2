#pragma once

#include <cstdint>

#include "offload/tcp_packet.h"
#include "offload/virtio_hdr.h"

// Cuts a burst of one TCP flow, which the host's stack hands over as one packet of up to 64 KB,
// into the packets that it would have sent otherwise: the burst's headers before each piece of its
// payload, with their own total length, sequence number and checksums; the identification counts
// up; CWR stays in the first packet, FIN and PSH in the last. No state but the burst, which is the
// caller's and must outlive the cutting.
class CTTcpCutter {
  public:
    // Takes a burst. False when it is no burst of TCP over IPv4 with payload: drop it then, for
    // its packets cannot be known.
    bool Attach(const tnet_virtio_hdr& hdr, uint8_t* packet, int length);

    // How many packets it makes, and how long the longest is.
    int Count() const;
    int MaxLength() const { return m_burst.HeaderLength() + m_size; }

    bool IsEnd() const { return m_offset >= m_burst.PayloadLength(); }
    // Writes the next packet, at most MaxLength() bytes, and gives its length. Not at the end.
    int Next(uint8_t* out);

  private:
    void Complete(uint8_t* out, int length) const;

    CTTcpPacket m_burst;
    int m_size = 0;    // payload of each packet but the last
    int m_index = 0;   // of the next packet
    int m_offset = 0;  // of its payload
};
