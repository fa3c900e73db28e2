#include "tests/support/notify_socket.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>

NotifySocket::NotifySocket(int watchdog_ms) : m_fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un addr = {};
    addr.sun_family = AF_UNIX;
    std::string path = m_dir.File("notify");
    path.copy(addr.sun_path, sizeof addr.sun_path - 1);
    EXPECT_EQ(bind(m_fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    if (watchdog_ms > 0) setenv("WATCHDOG_USEC", std::to_string(watchdog_ms * 1000).c_str(), 1);
}

NotifySocket::~NotifySocket() {
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
    close(m_fd);
}

std::string NotifySocket::Next(int wait_ms) {
    pollfd wait = {m_fd, POLLIN, 0};
    if (poll(&wait, 1, wait_ms) != 1) return "";
    char buf[1024];
    ssize_t size = recv(m_fd, buf, sizeof buf, 0);
    return size > 0 ? std::string(buf, static_cast<size_t>(size)) : "";
}

bool NotifySocket::Tells(const std::string& message) {
    for (std::string next = Next(); !next.empty(); next = Next()) {
        if (next == message) return true;
    }
    return false;
}
