#include "cfg/kept_value.h"

void CTKeptValue::Read(const CTJsonObject& section, const char* key) {
    cJSON* item = section.GetItem(key);
    char* json = item ? cJSON_PrintUnformatted(item) : nullptr;
    if (!json) return;
    m_json = json;
    CTJsonObject::Free(json);
}

void CTKeptValue::Write(CTJsonObject& section, const char* key) const {
    if (!m_json.empty()) section.AddRaw(key, m_json.c_str());
}
