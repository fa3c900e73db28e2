#pragma once

#include <sys/uio.h>

#include <array>
#include <cstdint>

#include "offload/tcp_packet.h"
#include "offload/virtio_hdr.h"

// Collects consecutive packets of one TCP flow into one write to the interface, as the kernel's own
// receive offload does: the first packet, and behind it the payload of those that follow it in
// order with the same headers. Where there is any doubt a packet begins anew. A packet that stays
// alone is written as it came.
//
// The packets' bytes stay the caller's and must live until the write; the headers of the first one
// are changed by Finish. One thread at a time.
class CTTcpJoiner {
  public:
    static constexpr int kMaxPackets = 64;

    // Takes the packet as the next of the burst; false when it is no continuation of what was
    // taken, or nothing may be added any more: write what there is first, then offer it again. To
    // an empty joiner every packet is a beginning.
    bool Add(uint8_t* packet, int length);
    bool IsEmpty() const { return m_count == 0; }
    int Count() const { return m_count; }

    // What is to be written with one writev: the interface's header, then the packet or the joined
    // burst. Valid until Clear.
    const iovec* Finish(int& pieces);
    void Clear() { m_count = 0; }

  private:
    void Begin(uint8_t* packet, int length);
    bool IsWhole(const CTTcpPacket& packet) const;
    bool MayGrow() const;
    bool Continues(const CTTcpPacket& next) const;
    bool HasSameHeaders(const CTTcpPacket& next) const;
    void MakeBurst();

    int m_count = 0;         // packets taken
    bool m_is_open = false;  // whether another packet may follow
    CTTcpPacket m_first;
    int m_size = 0;            // payload of the first packet, which no later one exceeds
    int m_total = 0;           // bytes so far, headers included
    uint32_t m_next_seq = 0;   // sequence number that continues the burst
    uint16_t m_next_id = 0;    // and its identification
    uint8_t m_last_flags = 0;  // FIN and PSH of the packet that ends it
    tnet_virtio_hdr m_hdr = {};
    std::array<iovec, kMaxPackets + 1> m_pieces;  // the header, then one piece for each packet
};
