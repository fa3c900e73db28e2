#include "tests/support/packet_end.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/udp_peer.h"

PacketEnd::PacketEnd() {
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, m_fds), 0);
}

PacketEnd::~PacketEnd() {
    for (int fd : m_fds)
        close(fd);
}

void PacketEnd::Write(const WireBytes& packet) {
    EXPECT_EQ(write(m_fds[0], packet.data(), packet.size()), static_cast<ssize_t>(packet.size()));
}

std::optional<WireBytes> PacketEnd::Read(int wait_ms) {
    std::optional<WireBytes> packet = ReceiveWithin(m_fds[0], wait_ms);
    return packet && packet->empty() ? std::nullopt : packet;
}

namespace {

// Puts the checksum of the bytes from there on into the field at that place.
void PutChecksum(WireBytes& packet, size_t from, size_t field) {
    uint16_t sum = ChecksumOf(packet, from, packet.size());
    packet[field] = static_cast<uint8_t>(sum >> 8);
    packet[field + 1] = static_cast<uint8_t>(sum);
}

WireBytes IPv4Header(uint32_t src, uint32_t dst, uint8_t protocol, size_t payload) {
    WireBytes packet = Hex("4500");
    Put16(packet, static_cast<uint32_t>(20 + payload));
    packet.insert(packet.end(), {0x12, 0x34, 0x40, 0x00, 64, protocol, 0, 0});
    Put32(packet, src);
    Put32(packet, dst);
    PutChecksum(packet, 0, 10);
    return packet;
}

}  // namespace

WireBytes IPv4Packet(uint32_t src, uint32_t dst, size_t payload, uint8_t fill) {
    WireBytes packet = IPv4Header(src, dst, 17, payload);
    for (size_t i = 0; i < payload; ++i)
        Put8(packet, static_cast<uint32_t>(i + fill));
    return packet;
}

WireBytes PingPacket(uint32_t src, uint32_t dst, size_t data) {
    WireBytes packet = IPv4Header(src, dst, 1, 8 + data);
    packet.insert(packet.end(), {8, 0, 0, 0, 0xAB, 0xCD, 0, 1});
    for (size_t i = 0; i < data; ++i)
        Put8(packet, static_cast<uint32_t>(i * 3));
    PutChecksum(packet, 20, 22);
    return packet;
}
