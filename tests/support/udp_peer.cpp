#include "tests/support/udp_peer.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/expect_wire.h"

namespace {

bool Waits(int fd, int wait_ms) {
    pollfd wait = {fd, POLLIN, 0};
    return poll(&wait, 1, wait_ms) == 1;
}

sockaddr_in Loopback(uint16_t port) {
    return {AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
}

}  // namespace

std::optional<WireBytes> ReceiveWithin(int fd, int wait_ms, sockaddr_in* from) {
    if (!Waits(fd, wait_ms)) return std::nullopt;
    WireBytes bytes(65536);
    socklen_t size = from ? sizeof *from : 0;
    ssize_t n = recvfrom(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(from),
                         from ? &size : nullptr);
    if (n < 0) return std::nullopt;
    bytes.resize(static_cast<size_t>(n));
    return bytes;
}

UdpPeer::UdpPeer() : m_fd(socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in addr = Loopback(0);
    socklen_t size = sizeof addr;
    EXPECT_EQ(bind(m_fd, reinterpret_cast<sockaddr*>(&addr), size), 0);
    EXPECT_EQ(getsockname(m_fd, reinterpret_cast<sockaddr*>(&addr), &size), 0);
    m_port = ntohs(addr.sin_port);
}

UdpPeer::~UdpPeer() {
    close(m_fd);
}

std::optional<WireBytes> UdpPeer::ReceiveBytes(int wait_ms) {
    sockaddr_in from;
    std::optional<WireBytes> bytes = ReceiveWithin(m_fd, wait_ms, &from);
    if (bytes) m_last_port = ntohs(from.sin_port);
    return bytes;
}

WireMessage UdpPeer::Receive() {
    std::optional<WireBytes> bytes = ReceiveBytes();
    EXPECT_TRUE(bytes) << "no message came";
    return bytes ? ExpectMessage(*bytes, false) : WireMessage();
}

bool UdpPeer::HasWaiting(int wait_ms) {
    return Waits(m_fd, wait_ms);
}

void UdpPeer::SendBytes(const WireBytes& bytes, uint16_t port) {
    sockaddr_in to = Loopback(port);
    EXPECT_EQ(
        sendto(m_fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to),
        static_cast<ssize_t>(bytes.size()));
}
