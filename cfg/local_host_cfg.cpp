#include "cfg/local_host_cfg.h"

#include <algorithm>
#include <cmath>

#include "cfg/cfg_keys.h"

namespace {

// ASCII alone, whatever the locale.
bool IsNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
}

}  // namespace

bool CTLocalHostCfg::IsInterface(const cJSON* value) {
    const char* text = cJSON_GetStringValue(value);
    if (!text) return false;
    std::string name = text;
    return name.size() >= kMinInterface && name.size() <= kMaxInterface &&
           std::all_of(name.begin(), name.end(), IsNameCharacter);
}

bool CTLocalHostCfg::IsMtu(const cJSON* value) {
    double mtu = cJSON_GetNumberValue(value);  // not-a-number where it is none
    return mtu >= kMinMtu && mtu <= kMaxMtu && mtu == std::floor(mtu);
}

int CTLocalHostCfg::ParseJson(cJSON* section) {
    CTJsonObject json;
    json = section;
    m_ip.Set(cfg_get_text(json, cfg_key::kIp));
    // A parse that fails may have written some of the bytes.
    CEtherAddr mac;
    if (mac.Set(cfg_get_text(json, cfg_key::kMac)) == 0) m_mac = mac;
    m_gateway.Set(cfg_get_text(json, cfg_key::kGateway));
    m_netmask.Set(cfg_get_text(json, cfg_key::kNetMask));
    m_refused_key = nullptr;
    if (const cJSON* mtu = json.GetItem(cfg_key::kMtu)) {
        if (IsMtu(mtu)) {
            m_mtu = static_cast<int>(cJSON_GetNumberValue(mtu));
        } else {
            m_refused_key = cfg_key::kMtu;
        }
    }
    if (const cJSON* interface = json.GetItem(cfg_key::kInterface)) {
        if (IsInterface(interface)) {
            m_interface = cJSON_GetStringValue(interface);
        } else {
            m_refused_key = cfg_key::kInterface;
        }
    }
    m_kept_interface.Read(json, cfg_key::kInterface);
    m_kept_mtu.Read(json, cfg_key::kMtu);
    if (const char* control = cfg_get_text(json, cfg_key::kControl)) m_control = control;
    m_kept_control.Read(json, cfg_key::kControl);
    return 0;
}

cJSON* CTLocalHostCfg::GenerateJson() const {
    CTJsonObject json;
    json.Create();
    json.AddString(cfg_key::kIp, cfg_address_text(m_ip).c_str());
    json.AddString(cfg_key::kMac, cfg_address_text(m_mac).c_str());
    json.AddString(cfg_key::kGateway, cfg_address_text(m_gateway).c_str());
    json.AddString(cfg_key::kNetMask, cfg_address_text(m_netmask).c_str());
    m_kept_interface.Write(json, cfg_key::kInterface);
    m_kept_mtu.Write(json, cfg_key::kMtu);
    m_kept_control.Write(json, cfg_key::kControl);
    return json.GetHandle();
}

void CTLocalHostCfg::Print(CTString& text) const {
    text.Append("Lan: \n");
    text.Append("\tMAC: %s\n", cfg_address_text(m_mac).c_str());
    text.Append("\tIP: %s\n", cfg_address_text(m_ip).c_str());
    text.Append("\tNetWork Gateway: %s\n", cfg_address_text(m_gateway).c_str());
    text.Append("\tNetwork mask: %s\n", cfg_address_text(m_netmask).c_str());
}
