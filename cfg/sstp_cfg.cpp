#include "cfg/sstp_cfg.h"

#include "cfg/cfg_keys.h"

int CTSstpCfg::ParseJson(cJSON* section) {
    CTJsonObject json;
    json = section;
    cfg_read_number(json, cfg_key::kRecvTimeout, m_recv_timeout);
    json.GetItemValue(cfg_key::kP2pEnable, m_p2p_enable);
    cfg_read_number(json, cfg_key::kHeartBeatInterval, m_heartbeat_interval);
    cfg_read_number(json, cfg_key::kMtu, m_mtu);
    return 0;
}

cJSON* CTSstpCfg::GenerateJson() const {
    CTJsonObject json;
    json.Create();
    json.AddInt(cfg_key::kRecvTimeout, m_recv_timeout);
    json.AddBool(cfg_key::kP2pEnable, m_p2p_enable);
    json.AddInt(cfg_key::kHeartBeatInterval, m_heartbeat_interval);
    json.AddInt(cfg_key::kMtu, m_mtu);
    return json.GetHandle();
}

void CTSstpCfg::Print(CTString& text) const {
    text.Append("SSTP: \n");
    text.Append("\trecv timeout: %dms\n", m_recv_timeout);
    text.Append("\tHeartBeat interval: %ds\n", m_heartbeat_interval);
    text.Append(m_p2p_enable ? "\tp2p: Enable\n" : "\tp2p: Disable\n");
    text.Append("\tMTU: %d\n", m_mtu);
}
