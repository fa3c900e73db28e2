#include "tests/support/packet_end.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

PacketEnd::PacketEnd() {
    int fds[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, fds), 0);
    m_fd = fds[0];
    m_other = fds[1];
}

PacketEnd::~PacketEnd() {
    Close();
    if (m_other >= 0) close(m_other);
}

int PacketEnd::TakeOther() {
    return std::exchange(m_other, -1);
}

void PacketEnd::Write(const WireBytes& packet) {
    EXPECT_EQ(write(m_fd, packet.data(), packet.size()), static_cast<ssize_t>(packet.size()));
}

std::optional<WireBytes> PacketEnd::Read(int wait_ms) {
    pollfd wait = {m_fd, POLLIN, 0};
    if (poll(&wait, 1, wait_ms) != 1) return std::nullopt;
    WireBytes packet(65536);
    ssize_t n = read(m_fd, packet.data(), packet.size());
    if (n <= 0) return std::nullopt;
    packet.resize(static_cast<size_t>(n));
    return packet;
}

bool PacketEnd::HasWaiting() {
    pollfd wait = {m_fd, POLLIN, 0};
    return poll(&wait, 1, 0) == 1;
}

void PacketEnd::Close() {
    if (m_fd >= 0) close(std::exchange(m_fd, -1));
}

namespace {

WireBytes IPv4Header(uint32_t src, uint32_t dst, uint8_t protocol, size_t payload) {
    WireBytes packet = Hex("4500");
    Put16(packet, static_cast<uint32_t>(20 + payload));
    packet.insert(packet.end(), {0x12, 0x34, 0x40, 0x00, 64, protocol, 0, 0});
    Put32(packet, src);
    Put32(packet, dst);
    uint16_t sum = ChecksumOf(packet, 0, 20);
    packet[10] = static_cast<uint8_t>(sum >> 8);
    packet[11] = static_cast<uint8_t>(sum);
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
    uint16_t sum = ChecksumOf(packet, 20, packet.size());
    packet[22] = static_cast<uint8_t>(sum >> 8);
    packet[23] = static_cast<uint8_t>(sum);
    return packet;
}
