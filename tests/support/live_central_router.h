#pragma once

#include <cstdio>
#include <mutex>
#include <optional>
#include <thread>

#include "base/pvu_tick.h"
#include "tcr/central_router.h"
#include "tests/support/udp_peer.h"

// The real central router on a port of 127.0.0.1, in a thread of this process, serving what it
// serves without a configuration.
class LiveCentralRouter : public TcrLink {
  public:
    uint16_t Port() const { return m_peer.Port(); }

    bool Send(const TcrPath& to, const void* data, int length) override {
        const uint8_t* bytes = static_cast<const uint8_t*>(data);
        m_peer.SendBytes(WireBytes(bytes, bytes + length), to.remote.GetPort());
        return true;
    }
    void Tell(const char* line) override { printf("%s\n", line); }
    // As one that was started anew without what it knew.
    void ForgetEverybody() {
        std::lock_guard lock(m_mutex);
        m_router.emplace(TcrConfig(), *this);
    }

  private:
    static constexpr int kTickMs = 20;

    void Run(std::stop_token stop) {
        while (!stop.stop_requested()) {
            std::optional<WireBytes> bytes = m_peer.ReceiveBytes(kTickMs);
            TcrTime now = static_cast<TcrTime>(pvu_get_current_tick());
            TcrPath from{CTSockAddr("127.0.0.1", m_peer.LastPort())};
            std::lock_guard lock(m_mutex);
            if (bytes) m_router->Receive(from, bytes->data(), static_cast<int>(bytes->size()), now);
            m_router->Tick(now);
        }
    }

    UdpPeer m_peer;
    std::mutex m_mutex;
    std::optional<CTCentralRouter> m_router{std::in_place, TcrConfig(), *this};
    std::jthread m_thread{[this](std::stop_token stop) { Run(stop); }};
};
