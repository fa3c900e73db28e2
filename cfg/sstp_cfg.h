#pragma once

#include "cfg/cfg_value.h"

// The section "sstp": the tunnel's timing and size.
class CTSstpCfg {
  public:
    static constexpr int kDefaultRecvTimeout = 200;
    static constexpr int kDefaultHeartBeatInterval = 20;
    static constexpr int kDefaultMtu = 1400;

    // Takes what the section's object holds; 0 in every case. A p2p flag that is present is false
    // unless it is the literal true.
    int ParseJson(cJSON* section);
    // A new object, for the caller to free or to hand to a tree; null without memory.
    cJSON* GenerateJson() const;
    // Appends the print-out.
    void Print(CTString& text) const;
    void Print() const { cfg_print(*this); }

    int m_recv_timeout = kDefaultRecvTimeout;  // milliseconds
    bool m_p2p_enable = false;
    int m_heartbeat_interval = kDefaultHeartBeatInterval;  // seconds
    int m_mtu = kDefaultMtu;                               // bytes
};
