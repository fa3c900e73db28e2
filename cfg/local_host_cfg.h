#pragma once

#include <optional>
#include <string>

#include "cfg/cfg_value.h"
#include "cfg/kept_value.h"
#include "inet/tnet_ether.h"
#include "inet/tnet_ip.h"

// The section "lan": the virtual interface, its addresses, and the file by which operators reach
// the edge.
class CTLocalHostCfg {
  public:
    static constexpr char kDefaultInterface[] = "Tamvo";
    static constexpr size_t kMinInterface = 4;  // the driver is asked for no shorter name
    static constexpr size_t kMaxInterface = 15;
    static constexpr int kDefaultMtu = 1500;
    static constexpr int kMinMtu = 576;  // what every IPv4 host has to take
    static constexpr int kMaxMtu = 1500;

    // Whether the value of "interface" is a name of 4 to 15 letters, digits, "-" and "_", and that
    // of "mtu" a whole number in its range.
    static bool IsInterface(const cJSON* value);
    static bool IsMtu(const cJSON* value);

    // All zero but the mask, 255.255.255.0.
    CTLocalHostCfg() { m_mac.SetZero(); }

    // Copies 6 bytes; null is ignored.
    void SetEtherAddr(const unsigned char* mac) { m_mac.Set(mac); }

    // Takes what the section's object holds; 0 in every case. A text that is no address leaves
    // its field; an interface or MTU that is none leaves it too, and is refused.
    int ParseJson(cJSON* section);
    // The first key whose value no edge may start with: one that asked for an interface of its own
    // is not to take another one's. Null when there is none.
    const char* GetRefusedKey() const { return m_refused_key; }
    // A new object, for the caller to free or to hand to a tree; null without memory. "interface",
    // "mtu" and "control" are in it as they were read, and only then.
    cJSON* GenerateJson() const;
    // Appends the print-out.
    void Print(CTString& text) const;
    void Print() const { cfg_print(*this); }

    CEtherAddr m_mac;
    CIPv4Addr m_ip;
    CIPv4Addr m_gateway;
    CIPv4Addr m_netmask{255, 255, 255, 0};
    std::string m_interface = kDefaultInterface;
    int m_mtu = kDefaultMtu;  // the interface's, bytes
    // The control socket's file; empty: there is to be none. Nothing where no text was read.
    std::optional<std::string> m_control;

  private:
    const char* m_refused_key = nullptr;
    CTKeptValue m_kept_interface;
    CTKeptValue m_kept_mtu;
    CTKeptValue m_kept_control;
};
