#include "cfg/subnet_cfg.h"

#include "cfg/cfg_keys.h"

namespace {

constexpr char kDefaultName[] = "qwop";

}  // namespace

CTSubnetCfg::CTSubnetCfg() {
    SetSubnetName(kDefaultName);
    SetUserName(kDefaultName);
    SetUserPwd(kDefaultName);
}

int CTSubnetCfg::ParseJson(cJSON* section) {
    CTJsonObject json;
    json = section;
    cfg_read_text(json, cfg_key::kNetName, m_net_name);
    cfg_read_text(json, cfg_key::kUserName, m_user_name);
    cfg_read_text(json, cfg_key::kUserPwd, m_user_pwd);
    return 0;
}

cJSON* CTSubnetCfg::GenerateJson() const {
    CTJsonObject json;
    json.Create();
    json.AddString(cfg_key::kNetName, m_net_name);
    json.AddString(cfg_key::kUserName, m_user_name);
    json.AddString(cfg_key::kUserPwd, m_user_pwd);
    return json.GetHandle();
}

void CTSubnetCfg::Print(CTString& text) const {
    text.Append("Subnet:\n");
    text.Append("\tSubnet: %s\n", m_net_name);
    text.Append("\tUser name: %s\n", m_user_name);
    text.Append("\tUser password: %s\n", m_user_pwd);
}
