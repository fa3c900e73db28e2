#pragma once

#include <cstdint>

#include "cfg/cfg_value.h"

// The section "local router": what this edge calls its own router.
class CTLocalRouterCfg {
  public:
    // With a random serial number.
    CTLocalRouterCfg();

    // Cut to 32 bytes; null is ignored.
    void SetLabel(const char* label) { pvu_text_field_set(m_label, label); }

    // Takes what the section's object holds; 0 in every case. An unknown type is 0. The layer is
    // 4 for "L4" and 3 for every other text, "L0" to "L2" included: a lower layer that was
    // written is not read back.
    int ParseJson(cJSON* section);
    // A new object, for the caller to free or to hand to a tree; null without memory. The serial
    // number is written as a signed number, a type or layer without a name as "TUN" and "L3".
    cJSON* GenerateJson() const;
    // Appends the print-out.
    void Print(CTString& text) const;
    void Print() const { cfg_print(*this); }

    uint32_t m_serial_number;
    CTTextField m_label = {};
    uint16_t m_type;
    uint8_t m_layer;
};
