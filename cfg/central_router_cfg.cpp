#include "cfg/central_router_cfg.h"

#include "cfg/cfg_keys.h"

namespace {

bool ReadKeys(const cJSON* value, std::vector<CTSealFingerprint>& keys) {
    keys.clear();
    const cJSON* first = cJSON_IsArray(value) ? value->child : value;
    for (const cJSON* item = first; item; item = first == value ? nullptr : item->next) {
        const char* text = cJSON_GetStringValue(item);
        CTSealFingerprint key;
        if (!text || !key.Parse(text)) return false;
        keys.push_back(key);
    }
    return !keys.empty();
}

}  // namespace

bool CTCentralRouterCfg::IsKey(const cJSON* value) {
    std::vector<CTSealFingerprint> keys;
    return ReadKeys(value, keys);
}

int CTCentralRouterCfg::ParseJson(cJSON* section) {
    CTJsonObject json;
    json = section;
    m_ip.Set(cfg_get_text(json, cfg_key::kIp));
    cfg_read_number(json, cfg_key::kPort, m_port);
    m_refused_key = nullptr;
    const cJSON* key = json.GetItem(cfg_key::kKey);
    if (key && !ReadKeys(key, m_keys)) m_refused_key = cfg_key::kKey;
    m_kept_key.Read(json, cfg_key::kKey);
    return 0;
}

cJSON* CTCentralRouterCfg::GenerateJson() const {
    CTJsonObject json;
    json.Create();
    json.AddString(cfg_key::kIp, cfg_address_text(m_ip).c_str());
    json.AddInt(cfg_key::kPort, m_port);
    m_kept_key.Write(json, cfg_key::kKey);
    return json.GetHandle();
}

void CTCentralRouterCfg::Print(CTString& text) const {
    text.Append("TCR: \n");
    text.Append("\tIP: %s\n", cfg_address_text(m_ip).c_str());
    text.Append("\tPort: %d\n", m_port);
}
