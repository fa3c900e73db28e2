#pragma once

#include <mutex>
#include <thread>

#include "tcr/central_router.h"
#include "tests/support/udp_peer.h"

// The real central router on a port of 127.0.0.1, in a thread of this process, serving what it
// serves without a configuration.
class LiveCentralRouter : public TcrLink {
  public:
    LiveCentralRouter();
    ~LiveCentralRouter() override;

    uint16_t Port() const { return m_peer.Port(); }

    void Send(const CTSockAddr& to, const void* data, int length) override;
    void Tell(const char* line) override;

  private:
    void Run();

    UdpPeer m_peer;
    int m_wake[2];
    CTCentralRouter m_router;
    std::thread m_thread;
};
