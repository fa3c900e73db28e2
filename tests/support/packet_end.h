#pragma once

#include <optional>
#include <utility>

#include "lab/wire/wire_message.h"

// The host's end of an interface that exists only in the test: one end of a pair of packet
// sockets, the other of which an adapter adopts. One write is one packet is one read.
class PacketEnd {
  public:
    PacketEnd();
    ~PacketEnd();
    PacketEnd(const PacketEnd&) = delete;
    PacketEnd& operator=(const PacketEnd&) = delete;

    // For the adapter, which owns it from then on.
    int TakeOther() { return std::exchange(m_fds[1], -1); }
    void Write(const WireBytes& packet);
    // The next packet; nothing after the wait, or when the interface has gone.
    std::optional<WireBytes> Read(int wait_ms = 10000);

  private:
    int m_fds[2];  // the host's end and the other one
};

// An IPv4 packet with a right header checksum, protocol 17 and that many bytes of payload.
WireBytes IPv4Packet(uint32_t src, uint32_t dst, size_t payload, uint8_t fill = 0);
// An ICMP echo request with right checksums.
WireBytes PingPacket(uint32_t src, uint32_t dst, size_t data);
