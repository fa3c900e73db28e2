// From the interface to the wire, on a thread of its own:
//
//   read, then what else is there -> cut a burst, or finish a checksum -> split -> group -> send

#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <memory>
#include <vector>

#include "bench/floor/batched_parts.h"
#include "bench/floor/group_send.h"
#include "bench/floor/tcp_burst.h"

namespace {

constexpr size_t kMostPackets = 64;      // of one send, and segments of one burst
constexpr size_t kSecondsTogether = 16;  // second halves before their first ones
constexpr size_t kBurstMax = 65536;

struct Message {
    uint8_t bytes[kFloorHeaderSize + kFloorPacketMax];
    uint8_t* Packet() { return bytes + kFloorHeaderSize; }
};

class Outward {
  public:
    Outward(int interface, int udp, const sockaddr_in& hub, const FloorRoute& route)
        : m_interface(interface), m_hub(hub), m_route(route), m_send(udp) {}

    void Run() {
        for (;;) {
            for (ssize_t n = Read(0); n > 0; n = Read(RWF_NOWAIT))
                Packet(static_cast<size_t>(n));
            Send(1);
        }
    }

  private:
    // An interface without that flag ends each drain after its first packet.
    ssize_t Read(int flags) {
        iovec parts[] = {{&m_virtio, sizeof m_virtio}, {m_burst.data(), m_burst.size()}};
        ssize_t n = preadv2(m_interface, parts, 2, -1, flags);
        return n - static_cast<ssize_t>(sizeof m_virtio);
    }

    void Packet(size_t size) {
        if (m_virtio.gso_type != kFloorGsoNone) {
            Burst(size);
            return;
        }
        if (size > kFloorPacketMax) return;
        if (m_virtio.flags & kFloorNeedsChecksum)
            FinishFloorChecksum(m_virtio, m_burst.data(), size);
        memcpy(m_messages[m_count].Packet(), m_burst.data(), size);
        m_sizes[m_count++] = size;
        if (m_count == kMostPackets) Send(1);
    }

    void Burst(size_t size) {
        Send(1);
        FloorCut cut(m_burst.data(), size, m_virtio.gso_size);
        if (!cut.IsTcp()) return;
        while ((m_sizes[m_count] = cut.Next(m_messages[m_count].Packet())) > 0) {
            if (++m_count == kMostPackets) Send(kSecondsTogether);
        }
        Send(kSecondsTogether);
    }

    // Sends what is collected, the second halves of so many packets before their first ones.
    void Send(size_t together) {
        for (size_t begin = 0; begin < m_count; begin += together) {
            size_t end = std::min(begin + together, m_count);
            for (size_t i = begin; i < end; ++i)
                AddSecond(i);
            for (size_t i = begin; i < end; ++i)
                AddFirst(i);
        }
        m_seq = static_cast<uint16_t>(m_seq + m_count);
        m_count = 0;
        m_send.Flush();
    }

    uint16_t SeqOf(size_t i) const { return static_cast<uint16_t>(m_seq + i); }

    void AddSecond(size_t i) {
        size_t size = kFloorHeaderSize + m_sizes[i];
        if (size <= kFloorMessageMax) return;
        size_t rest = size - kFloorMessageMax;
        uint8_t* second = m_seconds[i].bytes;
        FillFloorHeader(second, m_route, SeqOf(i), kFloorHeaderSize + rest, kFloorPair,
                        kFloorSecond);
        memcpy(second + kFloorHeaderSize, m_messages[i].bytes + kFloorMessageMax, rest);
        m_send.Add(second, kFloorHeaderSize + rest, m_hub);
    }

    void AddFirst(size_t i) {
        size_t size = kFloorHeaderSize + m_sizes[i];
        bool whole = size <= kFloorMessageMax;
        if (!whole) size = kFloorMessageMax;
        FillFloorHeader(m_messages[i].bytes, m_route, SeqOf(i), size,
                        whole ? kFloorWhole : kFloorPair, kFloorFirst);
        m_send.Add(m_messages[i].bytes, size, m_hub);
    }

    const int m_interface;
    const sockaddr_in m_hub;
    const FloorRoute m_route;
    FloorGroupSend m_send;
    FloorVirtioHeader m_virtio;
    std::array<uint8_t, kBurstMax> m_burst;
    std::array<Message, kMostPackets + 1> m_messages;
    std::array<Message, kMostPackets> m_seconds;
    std::array<size_t, kMostPackets + 1> m_sizes;
    size_t m_count = 0;
    uint16_t m_seq = 0;
};

}  // namespace

void CarryBatchedOut(int interface, int udp, const sockaddr_in& hub, const FloorRoute& route) {
    std::make_unique<Outward>(interface, udp, hub, route)->Run();
}
