#pragma once

#include "cfg/cfg_value.h"

// The section "subnet": the overlay to join, and as whom. The setters cut a text to 32 bytes and
// ignore null.
class CTSubnetCfg {
  public:
    CTSubnetCfg();

    void SetSubnetName(const char* name) { pvu_text_field_set(m_net_name, name); }
    void SetUserName(const char* name) { pvu_text_field_set(m_user_name, name); }
    void SetUserPwd(const char* pwd) { pvu_text_field_set(m_user_pwd, pwd); }

    // Takes what the section's object holds; 0 in every case.
    int ParseJson(cJSON* section);
    // A new object, for the caller to free or to hand to a tree; null without memory.
    cJSON* GenerateJson() const;
    // Appends the print-out, password included.
    void Print(CTString& text) const;
    void Print() const { cfg_print(*this); }

    CTTextField m_net_name = {};
    CTTextField m_user_name = {};
    CTTextField m_user_pwd = {};
};
