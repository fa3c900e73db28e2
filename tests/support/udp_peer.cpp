#include "tests/support/udp_peer.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/expect_wire.h"

namespace {

sockaddr_in Loopback(uint16_t port) {
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(port);
    return addr;
}

}  // namespace

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
    pollfd wait = {m_fd, POLLIN, 0};
    if (poll(&wait, 1, wait_ms) != 1) return std::nullopt;
    WireBytes bytes(65536);
    sockaddr_in from = {};
    socklen_t size = sizeof from;
    ssize_t n =
        recvfrom(m_fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&from), &size);
    if (n < 0) return std::nullopt;
    bytes.resize(static_cast<size_t>(n));
    m_last_port = ntohs(from.sin_port);
    return bytes;
}

WireMessage UdpPeer::Receive() {
    std::optional<WireBytes> bytes = ReceiveBytes();
    if (bytes) return ExpectMessage(*bytes, false);
    ADD_FAILURE() << "no message came";
    return {};
}

bool UdpPeer::HasWaiting() {
    pollfd wait = {m_fd, POLLIN, 0};
    return poll(&wait, 1, 0) == 1;
}

void UdpPeer::SendBytes(const WireBytes& bytes, uint16_t port) {
    sockaddr_in to = Loopback(port);
    EXPECT_EQ(
        sendto(m_fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to),
        static_cast<ssize_t>(bytes.size()));
}

void UdpPeer::Reply(const WireMessage& message) {
    SendBytes(message.Encode(), m_last_port);
}
