#include "cfg/sys_cfg.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

#include "base/pvu_event.h"
#include "base/pvu_fileop.h"
#include "base/pvu_string.h"
#include "cfg/cfg_check.h"
#include "cfg/cfg_keys.h"

namespace {

constexpr char kFileName[] = "config.json";

// What a fresh file holds in place of the defaults; established.
constexpr char kFreshLabel[] = "tap-2";
constexpr char kFreshAddress[] = "00.00.00.00";

std::string DefaultPath() {
    char dir[PATH_MAX];
    if (CTFileOp::GetExecFilePath(dir, sizeof dir) != 0) return kFileName;
    return std::string(dir) + kFileName;
}

// Hands the section over to the tree.
void AddSection(CTJsonObject& config, const char* key, cJSON* section) {
    if (!config.AddItem(key, section)) cJSON_Delete(section);
}

cJSON* FreshLocalRouter() {
    CTLocalRouterCfg router;
    router.SetLabel(kFreshLabel);
    return router.GenerateJson();
}

cJSON* FreshLan() {
    CTLocalHostCfg host;
    host.m_mac.SetRandom();
    CTJsonObject json;
    json = host.GenerateJson();
    json.SetItemValue(cfg_key::kIp, kFreshAddress);
    json.SetItemValue(cfg_key::kGateway, kFreshAddress);
    return json.GetHandle();
}

cJSON* FreshSstp() {
    CTSstpCfg sstp;
    CTJsonObject json;
    json.Create();
    json.AddInt(cfg_key::kRecvTimeout, sstp.m_recv_timeout);
    json.AddBool(cfg_key::kFreshP2pEnable, sstp.m_p2p_enable);
    json.AddInt(cfg_key::kHeartBeatInterval, sstp.m_heartbeat_interval);
    json.AddInt(cfg_key::kFreshMtu, sstp.m_mtu);
    return json.GetHandle();
}

int WriteTree(const char* path, cJSON* tree) {
    int result = CTJsonObject::WriteFile(path, tree);
    if (result != 0) return result;
    const char* reason = strerror(errno);
    printf("config file not written: %s: %s\n", path, reason);
    CTEvent(CTEventLevel::kError, "configuration not written")
        .Add("file", path)
        .Add("reason", reason)
        .Log();
    return result;
}

cJSON* CreateDefaultFile(const char* path) {
    cJSON* tree = CTSysCfg::GenDefaultJsonConfig();
    WriteTree(path, tree);
    return tree;
}

}  // namespace

CTSysCfg::CTSysCfg() {
    m_lan.m_mac.SetRandom();
    m_lan.m_ip.Set(192, 168, 15, 10);
    m_lan.m_gateway.Set(192, 168, 15, 5);
}

int CTSysCfg::ReadFromJsonFile(const char* path) {
    if (!path) return 1;
    CTJsonObject config;
    config = CTFileOp::FileExist(path) ? CTJsonObject::ReadFile(path) : CreateDefaultFile(path);
    if (config.IsEmpty()) return 1;
    CTCfgCheck(path).Check(config.GetHandle());
    Parse(config);
    config.Free();
    return 0;
}

int CTSysCfg::WriteToJsonFile(const char* path) const {
    if (!path) return 0;
    CTJsonObject config;
    config = GenJson();
    int result = WriteTree(path, config.GetHandle());
    config.Free();
    return result;
}

int CTSysCfg::ReadFromJsonFile() {
    std::string path = DefaultPath();
    printf("read config json: %s\n", path.c_str());
    return ReadFromJsonFile(path.c_str());
}

int CTSysCfg::WriteToJsonFile() const {
    std::string path = DefaultPath();
    printf("write config json: %s\n", path.c_str());
    return WriteToJsonFile(path.c_str());
}

int CTSysCfg::Parse(CTJsonObject& config) {
    CTJsonObject section;
    section = config.GetItem(cfg_key::kSubnet);
    ParseSubnet(section);
    section = config.GetItem(cfg_key::kLocalRouter);
    ParseLocalRouter(section);
    section = config.GetItem(cfg_key::kLan);
    ParseLan(section);
    section = config.GetItem(cfg_key::kCentralRouter);
    ParseCentralRoute(section);
    section = config.GetItem(cfg_key::kSstp);
    ParseSstp(section);
    return 0;
}

cJSON* CTSysCfg::GenJson() const {
    CTJsonObject config;
    config.Create();
    AddSection(config, cfg_key::kSubnet, GenJsonSubnet());
    AddSection(config, cfg_key::kLocalRouter, GenJsonLocalRouter());
    AddSection(config, cfg_key::kLan, GenJsonLan());
    AddSection(config, cfg_key::kCentralRouter, GenJsonCentralRouter());
    AddSection(config, cfg_key::kSstp, GenJsonSstp());
    return config.GetHandle();
}

cJSON* CTSysCfg::GenDefaultJsonConfig() {
    CTJsonObject config;
    config.Create();
    AddSection(config, cfg_key::kSubnet, CTSubnetCfg().GenerateJson());
    AddSection(config, cfg_key::kLocalRouter, FreshLocalRouter());
    AddSection(config, cfg_key::kLan, FreshLan());
    AddSection(config, cfg_key::kCentralRouter, CTCentralRouterCfg().GenerateJson());
    AddSection(config, cfg_key::kSstp, FreshSstp());
    const char* text = config.Print();
    if (text) printf("default config: %s\n", text);
    return config.GetHandle();
}

void CTSysCfg::Print() const {
    CTString text;
    text.Append("------------------- System config -------------------\n");
    text.Append("Subnet: %s\n", m_subnet.m_net_name);
    text.Append("User name: %s\n", m_subnet.m_user_name);
    text.Append("User password: %s\n", m_subnet.m_user_pwd);
    text.Append("Serial number: 0x%08x\n", m_local_router.m_serial_number);
    text.Append("TCR IP: %s\n", cfg_address_text(m_central_router.m_ip).c_str());
    text.Append("TCR Port: %d\n", m_central_router.m_port);
    text.Append("Local MAC: %s\n", cfg_address_text(m_lan.m_mac).c_str());
    text.Append("Local IP: %s\n", cfg_address_text(m_lan.m_ip).c_str());
    text.Append("Subnet Gateway: %s\n", cfg_address_text(m_lan.m_gateway).c_str());
    text.Append("Local Network mask: %s\n", cfg_address_text(m_lan.m_netmask).c_str());
    text.Append("Label: %s\n", m_local_router.m_label);
    text.Append("SSTP recv timeout: %dms\n", m_sstp.m_recv_timeout);
    text.Append("SSTP HeartBeat interval: %ds\n", m_sstp.m_heartbeat_interval);
    text.Append(m_sstp.m_p2p_enable ? "SSTP p2p: Enable\n" : "SSTP p2p: Disable\n");
    text.Append("SSTP MTU: %d\n", m_sstp.m_mtu);
    text.Append("-----------------------------------------------------\n");
    printf("%s", text.c_str());
}

int CTSysCfg::GetSstpRecvTimeout() const {
    int timeout = m_sstp.m_recv_timeout;
    return timeout < 1 ? CTSstpCfg::kDefaultRecvTimeout : timeout;
}
