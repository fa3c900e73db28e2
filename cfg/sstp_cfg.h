#pragma once

#include "cfg/cfg_value.h"
#include "cfg/kept_value.h"

// The section "sstp": the tunnel's timing and size.
class CTSstpCfg {
  public:
    static constexpr int kDefaultRecvTimeout = 200;
    static constexpr int kDefaultHeartBeatInterval = 20;
    static constexpr int kDefaultMtu = 1400;
    static constexpr int kDefaultRejoinAfter = 60;
    static constexpr int kMaxRejoinAfter = 24 * 60 * 60;

    // Takes what the section's object holds; 0 in every case. A flag that is present is false
    // unless it is the literal true. The time to a rejoin is rounded up to whole seconds and
    // brought into its range; what is no number leaves it.
    int ParseJson(cJSON* section);
    // A new object, for the caller to free or to hand to a tree; null without memory. "rejoin
    // after" and "strict source" are in it as they were read, and only then.
    cJSON* GenerateJson() const;
    // Appends the print-out.
    void Print(CTString& text) const;
    void Print() const { cfg_print(*this); }

    int m_recv_timeout = kDefaultRecvTimeout;  // milliseconds
    bool m_p2p_enable = false;
    int m_heartbeat_interval = kDefaultHeartBeatInterval;  // seconds
    int m_mtu = kDefaultMtu;                               // bytes
    int m_rejoin_after = kDefaultRejoinAfter;              // seconds, 0: never
    bool m_strict_source = false;

  private:
    CTKeptValue m_kept_rejoin_after;
    CTKeptValue m_kept_strict_source;
};
