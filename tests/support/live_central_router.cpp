#include "tests/support/live_central_router.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>

#include "base/pvu_tick.h"

namespace {

constexpr int kTickMs = 20;

}  // namespace

LiveCentralRouter::LiveCentralRouter() : m_router(TcrConfig(), *this) {
    EXPECT_EQ(pipe(m_wake), 0);
    m_thread = std::thread([this] { Run(); });
}

LiveCentralRouter::~LiveCentralRouter() {
    close(m_wake[1]);
    m_thread.join();
    close(m_wake[0]);
}

void LiveCentralRouter::Run() {
    for (;;) {
        pollfd wait[] = {{m_peer.Fd(), POLLIN, 0}, {m_wake[0], POLLIN, 0}};
        poll(wait, 2, kTickMs);
        if (wait[1].revents != 0) return;
        uint32_t now = static_cast<uint32_t>(pvu_get_current_tick());
        if (wait[0].revents != 0) {
            std::optional<WireBytes> bytes = m_peer.ReceiveBytes();
            if (bytes) {
                m_router.Receive(CTSockAddr("127.0.0.1", m_peer.LastPort()), bytes->data(),
                                 static_cast<int>(bytes->size()), now);
            }
        }
        m_router.Tick(now);
    }
}

void LiveCentralRouter::Send(const CTSockAddr& to, const void* data, int length) {
    const uint8_t* bytes = static_cast<const uint8_t*>(data);
    m_peer.SendBytes(WireBytes(bytes, bytes + length), to.GetPort());
}

void LiveCentralRouter::Tell(const char* line) {
    printf("%s\n", line);
}
