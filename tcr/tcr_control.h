#pragma once

#include <string>

#include "ops/control_server.h"
#include "tcr/tcr_desk.h"

// What a central router answers operators: "status", "subnet list", "fingerprint", and "edge
// remove" with "serial". docs/control.md describes the replies. On the control server's thread.
class TcrControl : public CTControlHandler {
  public:
    // The desk outlives it.
    explicit TcrControl(TcrDesk& desk) : m_desk(desk) {}

    std::string Reply(const CTControlRequest& request) override;

  private:
    std::string Fingerprint() const;
    std::string RemoveEdge(const CTControlRequest& request);

    TcrDesk& m_desk;
    TcrSnapshot m_snapshot;  // its memory is used again
};
