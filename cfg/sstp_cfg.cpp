#include "cfg/sstp_cfg.h"

#include <algorithm>
#include <cmath>

#include "cfg/cfg_keys.h"

namespace {

// Rounded up: a fraction of a second is not to become the 0 that means never.
void ReadRejoinAfter(const CTJsonObject& section, int& seconds) {
    double value = 0;
    if (!section.GetItemValue(cfg_key::kRejoinAfter, value) || std::isnan(value)) return;
    value = std::clamp(std::ceil(value), 0.0, static_cast<double>(CTSstpCfg::kMaxRejoinAfter));
    seconds = static_cast<int>(value);
}

}  // namespace

int CTSstpCfg::ParseJson(cJSON* section) {
    CTJsonObject json;
    json = section;
    cfg_read_number(json, cfg_key::kRecvTimeout, m_recv_timeout);
    json.GetItemValue(cfg_key::kP2pEnable, m_p2p_enable);
    cfg_read_number(json, cfg_key::kHeartBeatInterval, m_heartbeat_interval);
    cfg_read_number(json, cfg_key::kMtu, m_mtu);
    ReadRejoinAfter(json, m_rejoin_after);
    m_kept_rejoin_after.Read(json, cfg_key::kRejoinAfter);
    json.GetItemValue(cfg_key::kStrictSource, m_strict_source);
    m_kept_strict_source.Read(json, cfg_key::kStrictSource);
    return 0;
}

cJSON* CTSstpCfg::GenerateJson() const {
    CTJsonObject json;
    json.Create();
    json.AddInt(cfg_key::kRecvTimeout, m_recv_timeout);
    json.AddBool(cfg_key::kP2pEnable, m_p2p_enable);
    json.AddInt(cfg_key::kHeartBeatInterval, m_heartbeat_interval);
    json.AddInt(cfg_key::kMtu, m_mtu);
    m_kept_rejoin_after.Write(json, cfg_key::kRejoinAfter);
    m_kept_strict_source.Write(json, cfg_key::kStrictSource);
    return json.GetHandle();
}

void CTSstpCfg::Print(CTString& text) const {
    text.Append("SSTP: \n");
    text.Append("\trecv timeout: %dms\n", m_recv_timeout);
    text.Append("\tHeartBeat interval: %ds\n", m_heartbeat_interval);
    text.Append(m_p2p_enable ? "\tp2p: Enable\n" : "\tp2p: Disable\n");
    text.Append("\tMTU: %d\n", m_mtu);
}
