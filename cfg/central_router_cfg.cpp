#include "cfg/central_router_cfg.h"

#include "cfg/cfg_keys.h"

int CTCentralRouterCfg::ParseJson(cJSON* section) {
    CTJsonObject json;
    json = section;
    m_ip.Set(cfg_get_text(json, cfg_key::kIp));
    cfg_read_number(json, cfg_key::kPort, m_port);
    return 0;
}

cJSON* CTCentralRouterCfg::GenerateJson() const {
    CTJsonObject json;
    json.Create();
    json.AddString(cfg_key::kIp, cfg_address_text(m_ip).c_str());
    json.AddInt(cfg_key::kPort, m_port);
    return json.GetHandle();
}

void CTCentralRouterCfg::Print(CTString& text) const {
    text.Append("TCR: \n");
    text.Append("\tIP: %s\n", cfg_address_text(m_ip).c_str());
    text.Append("\tPort: %d\n", m_port);
}
