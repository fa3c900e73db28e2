#include "cfg/local_router_cfg.h"

#include <cstring>
#include <iterator>

#include "base/pvu_random.h"
#include "cfg/cfg_keys.h"

namespace {

// A name's place is its number.
constexpr const char* kTypeNames[] = {"HW", "TAP", "TUN", "BRIDGE", "ECHO"};
constexpr const char* kLayerNames[] = {"L0", "L1", "L2", "L3", "L4"};
constexpr uint16_t kTypeHw = 0;
constexpr uint16_t kTypeTun = 2;
constexpr uint8_t kLayer3 = 3;
constexpr uint8_t kLayer4 = 4;

const char* TypeName(uint16_t type) {
    return kTypeNames[type < std::size(kTypeNames) ? type : kTypeTun];
}

uint16_t TypeNumber(const char* name) {
    for (size_t type = 0; type < std::size(kTypeNames); ++type) {
        if (strcmp(name, kTypeNames[type]) == 0) return static_cast<uint16_t>(type);
    }
    return kTypeHw;
}

const char* LayerName(uint8_t layer) {
    return kLayerNames[layer < std::size(kLayerNames) ? layer : kLayer3];
}

uint8_t LayerNumber(const char* name) {
    return strcmp(name, kLayerNames[kLayer4]) == 0 ? kLayer4 : kLayer3;
}

}  // namespace

CTLocalRouterCfg::CTLocalRouterCfg()
    : m_serial_number(pvu_rand32()), m_type(kTypeTun), m_layer(kLayer3) {
    SetLabel("tap-1");
}

int CTLocalRouterCfg::ParseJson(cJSON* section) {
    CTJsonObject json;
    json = section;
    cfg_read_text(json, cfg_key::kLabel, m_label);
    cfg_read_number(json, cfg_key::kSerialNumber, m_serial_number);
    const char* type = cfg_get_text(json, cfg_key::kType);
    if (type) m_type = TypeNumber(type);
    const char* layer = cfg_get_text(json, cfg_key::kLayer);
    if (layer) m_layer = LayerNumber(layer);
    return 0;
}

cJSON* CTLocalRouterCfg::GenerateJson() const {
    CTJsonObject json;
    json.Create();
    json.AddString(cfg_key::kLabel, m_label);
    json.AddInt(cfg_key::kSerialNumber, static_cast<int>(m_serial_number));
    json.AddString(cfg_key::kType, TypeName(m_type));
    json.AddString(cfg_key::kLayer, LayerName(m_layer));
    return json.GetHandle();
}

void CTLocalRouterCfg::Print(CTString& text) const {
    text.Append("Local Router: \n");
    text.Append("\tLabel: %s\n", m_label);
    text.Append("\tSerial number: 0x%08x\n", m_serial_number);
    text.Append("\ttype: %d\n", m_type);
    text.Append("\tnet layer: %d\n", m_layer);
}
