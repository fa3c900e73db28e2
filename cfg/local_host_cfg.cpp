#include "cfg/local_host_cfg.h"

#include "cfg/cfg_keys.h"

int CTLocalHostCfg::ParseJson(cJSON* section) {
    CTJsonObject json;
    json = section;
    m_ip.Set(cfg_get_text(json, cfg_key::kIp));
    // A parse that fails may have written some of the bytes.
    CEtherAddr mac;
    if (mac.Set(cfg_get_text(json, cfg_key::kMac)) == 0) m_mac = mac;
    m_gateway.Set(cfg_get_text(json, cfg_key::kGateway));
    m_netmask.Set(cfg_get_text(json, cfg_key::kNetMask));
    return 0;
}

cJSON* CTLocalHostCfg::GenerateJson() const {
    CTJsonObject json;
    json.Create();
    json.AddString(cfg_key::kIp, cfg_address_text(m_ip).c_str());
    json.AddString(cfg_key::kMac, cfg_address_text(m_mac).c_str());
    json.AddString(cfg_key::kGateway, cfg_address_text(m_gateway).c_str());
    json.AddString(cfg_key::kNetMask, cfg_address_text(m_netmask).c_str());
    return json.GetHandle();
}

void CTLocalHostCfg::Print(CTString& text) const {
    text.Append("Lan: \n");
    text.Append("\tMAC: %s\n", cfg_address_text(m_mac).c_str());
    text.Append("\tIP: %s\n", cfg_address_text(m_ip).c_str());
    text.Append("\tNetWork Gateway: %s\n", cfg_address_text(m_gateway).c_str());
    text.Append("\tNetwork mask: %s\n", cfg_address_text(m_netmask).c_str());
}
