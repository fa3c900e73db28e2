#pragma once

#include <string>

#include "base/pvu_udp.h"
#include "tcr/central_router.h"
#include "tcr/tcr_link.h"
#include "tcr/tcr_option.h"

// The process around the central router: its socket, its clock, its signals and its log on
// standard output. One thread.
class TcrServer : public TcrLink {
  public:
    TcrServer() = default;
    ~TcrServer() override;

    // Binds the socket and takes the signals over; false with one line in fault.
    bool Open(const TcrOption& option, std::string& fault);
    // Serves until SIGINT or SIGTERM.
    void Run(const TcrConfig& config);

    bool Send(const TcrPath& to, const void* data, int length) override;
    void Tell(const char* line) override;

  private:
    void Receive(CTCentralRouter& router);
    bool HandleSignal(CTCentralRouter& router);

    CTUdp m_udp;
    int m_signals = -1;
};
