#pragma once

#include <cstdint>
#include <vector>

#include "cfg/cfg_value.h"
#include "cfg/kept_value.h"
#include "inet/tnet_ip.h"
#include "seal/seal_fingerprint.h"

// The section "central router": where the overlay's central router is reached by UDP.
class CTCentralRouterCfg {
  public:
    // Whether the key "key" may have that value: a fingerprint, or a list of one or more.
    static bool IsKey(const cJSON* value);

    // Takes what the section's object holds; 0 in every case. A text that is no address leaves
    // the field.
    int ParseJson(cJSON* section);
    // A new object, for the caller to free or to hand to a tree; null without memory.
    cJSON* GenerateJson() const;
    // Appends the print-out.
    void Print(CTString& text) const;
    void Print() const { cfg_print(*this); }

    // The loopback address: a fresh default never sends credentials off the machine, and finds a
    // central router that runs beside it.
    CIPv4Addr m_ip{127, 0, 0, 1};
    uint16_t m_port = 1922;
    // The keys that the central router may have; with any, sealed channels alone are spoken.
    std::vector<CTSealFingerprint> m_keys;

    // The key whose value no edge may start with, or null.
    const char* GetRefusedKey() const { return m_refused_key; }

  private:
    const char* m_refused_key = nullptr;
    CTKeptValue m_kept_key;
};
