#pragma once

#include <array>
#include <string>

#include "ops/control_server.h"
#include "ops/traffic.h"
#include "sys/edge_snapshot.h"

class CTsdwSys;

// What an edge answers operators: "status", "metrics" and "fingerprint" (docs/control.md); and the
// memory that rates need. Owned by the system object; everything is on the control server's thread.
class CTEdgeControl : public CTControlHandler {
  public:
    explicit CTEdgeControl(CTsdwSys& sys) : m_sys(sys) {}

    std::string Reply(const CTControlRequest& request) override;
    void EverySecond() override;

  private:
    struct Windows {
        CTTrafficWindow sent;
        CTTrafficWindow received;
    };

    void AddRates(CTEdgeSnapshot& snapshot) const;

    CTsdwSys& m_sys;
    std::array<Windows, CTPeerTraffic::kSlots + 1> m_windows;
};
