// From the wire to the interface, on a thread of its own:
//
//   receive groups -> join halves -> join segments -> write, at the latest when all is taken

#include <sys/uio.h>

#include <memory>
#include <vector>

#include "bench/floor/batched_parts.h"
#include "bench/floor/floor_halves.h"
#include "bench/floor/group_receive.h"
#include "bench/floor/tcp_burst.h"

namespace {

constexpr size_t kBurstMax = 65535;
constexpr size_t kPackets = 64;  // as many as fit a burst, and then some

class Inward {
  public:
    Inward(int interface, int udp) : m_interface(interface), m_receive(udp) {}

    void Run() {
        for (;;) {
            int count = m_receive.Wait();
            m_receive.ForEach(count, [this](uint8_t* data, size_t size) { Datagram(data, size); });
            Write();
        }
    }

  private:
    struct Packet {
        uint8_t bytes[kFloorPacketMax];
    };

    void Datagram(const uint8_t* data, size_t size) {
        sstp_msg_hdr header;
        if (!ReadFloorHeader(data, size, header)) return;
        uint16_t seq = ntohs(header.seq);
        data += kFloorHeaderSize;
        size -= kFloorHeaderSize;
        if (header.frame_total == kFloorPair && header.frame_index == kFloorSecond) {
            m_halves.Keep(seq, data, size);
            return;
        }
        const FloorHalves::Half* half =
            header.frame_total == kFloorPair ? m_halves.Find(seq) : &m_no_half;
        if (!half || size + half->size > kFloorPacketMax) return;
        uint8_t* packet = m_packets[m_used].bytes;
        memcpy(packet, data, size);
        memcpy(packet + size, half->data, half->size);
        Deliver(packet, size + half->size);
    }

    // Appends the packet to the burst, or writes what was there and begins with this one.
    void Deliver(uint8_t* packet, size_t size) {
        FloorSegment segment = ParseFloorSegment(packet, size);
        if (m_used > 0 && !Continues(packet, segment)) {
            Write();
            // The packet stands behind the former ones: its place is the first now.
            memcpy(m_packets[0].bytes, packet, size);
            packet = m_packets[0].bytes;
        }
        size_t skip = m_used == 0 ? 0 : segment.headers;
        m_parts[1 + m_used] = {packet + skip, size - skip};
        if (m_used == 0) m_segment = segment;
        m_size += size - skip;
        m_last = segment.data;
        m_pushed = packet[kTcpFlagsAt] & kTcpPush;
        ++m_used;
        if (segment.headers == 0 || m_used == kPackets) Write();
    }

    bool Continues(const uint8_t* packet, const FloorSegment& segment) const {
        const uint8_t* first = m_packets[0].bytes;
        return segment.headers > 0 && segment.headers == m_segment.headers && !m_pushed &&
               m_last == m_segment.data && segment.data <= m_last &&
               m_size + segment.data <= kBurstMax &&
               ContinuesFloorSegment(first, segment.headers, m_size - segment.headers,
                                     static_cast<uint16_t>(m_used), packet);
    }

    void Write() {
        if (m_used == 0) return;
        FloorVirtioHeader header = {};
        if (m_used > 1) {
            header = HeadFloorBurst(m_packets[0].bytes, m_segment.headers, m_segment.data, m_size,
                                    m_pushed);
        }
        m_parts[0] = {&header, sizeof header};
        [[maybe_unused]] ssize_t written =
            writev(m_interface, m_parts, static_cast<int>(m_used + 1));
        m_used = 0;
        m_size = 0;
    }

    static constexpr size_t kTcpFlagsAt = 33;
    static constexpr uint8_t kTcpPush = 0x08;

    const int m_interface;
    FloorGroupReceive m_receive;
    FloorHalves m_halves;
    const FloorHalves::Half m_no_half{};
    Packet m_packets[kPackets + 1];
    iovec m_parts[kPackets + 1];

    // The burst that is being made.
    size_t m_used = 0;       // packets
    size_t m_size = 0;       // bytes
    size_t m_last = 0;       // data of the last packet
    FloorSegment m_segment;  // the first one
    bool m_pushed = false;
};

}  // namespace

void CarryBatchedIn(int interface, int udp) {
    std::make_unique<Inward>(interface, udp)->Run();
}
