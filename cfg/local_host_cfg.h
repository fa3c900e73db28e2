#pragma once

#include "cfg/cfg_value.h"
#include "inet/tnet_ether.h"
#include "inet/tnet_ip.h"

// The section "lan": the addresses of the virtual interface.
class CTLocalHostCfg {
  public:
    // All zero but the mask, 255.255.255.0.
    CTLocalHostCfg() { m_mac.SetZero(); }

    // Copies 6 bytes; null is ignored.
    void SetEtherAddr(const unsigned char* mac) { m_mac.Set(mac); }

    // Takes what the section's object holds; 0 in every case. A text that is no address leaves
    // its field.
    int ParseJson(cJSON* section);
    // A new object, for the caller to free or to hand to a tree; null without memory.
    cJSON* GenerateJson() const;
    // Appends the print-out.
    void Print(CTString& text) const;
    void Print() const { cfg_print(*this); }

    CEtherAddr m_mac;
    CIPv4Addr m_ip;
    CIPv4Addr m_gateway;
    CIPv4Addr m_netmask{255, 255, 255, 0};
};
