#pragma once

#include <cstdint>

#include "cfg/central_router_cfg.h"
#include "cfg/json_object.h"
#include "cfg/local_host_cfg.h"
#include "cfg/local_router_cfg.h"
#include "cfg/sstp_cfg.h"
#include "cfg/subnet_cfg.h"

// Every setting of the edge, kept in a JSON file of five sections: "subnet", "local router",
// "lan", "central router", "sstp". Read once at start-up, completed with what joining the overlay
// brings (addresses, router type and layer), printed when joined and written back in full at an
// orderly stop. Owned by the system object; main thread only.
//
// The file is input like any other: whatever it holds, the worst that follows is that fields keep
// their values. Section and key names are found whatever their letter case. How each section is
// read and written stands with its record.
class CTSysCfg {
  public:
    // The defaults of the sections' records, with a random MAC address, the address 192.168.15.10
    // and the gateway 192.168.15.5.
    CTSysCfg();

    // ---- The file and its content ----

    // 0 when a configuration was parsed, 1 otherwise, with every field as it was. A file that is
    // missing is first created with the default content; that it could not be written is not
    // an error. What the file says in vain gets its lines (see CTCfgCheck).
    int ReadFromJsonFile(const char* path);
    // The length of the text written, 0 on failure. The file holds a password in clear: it is
    // replaced as a whole and becomes its owner's alone.
    int WriteToJsonFile(const char* path) const;
    // The same on config.json in the directory of the executable, or in the working directory
    // when that one is unknown, after printing which file it is.
    int ReadFromJsonFile();
    int WriteToJsonFile() const;

    // To standard output, password included.
    void Print() const;

    // ---- The steps of reading and writing, by section ----

    // Take what the tree, or a section's object, holds; 0 in every case.
    int Parse(CTJsonObject& config);
    int ParseSubnet(CTJsonObject& section) { return m_subnet.ParseJson(section.GetHandle()); }
    int ParseLocalRouter(CTJsonObject& section) {
        return m_local_router.ParseJson(section.GetHandle());
    }
    int ParseLan(CTJsonObject& section) { return m_lan.ParseJson(section.GetHandle()); }
    int ParseCentralRoute(CTJsonObject& section) {
        return m_central_router.ParseJson(section.GetHandle());
    }
    int ParseSstp(CTJsonObject& section) { return m_sstp.ParseJson(section.GetHandle()); }

    // New trees, for the caller to free; null without memory.
    cJSON* GenJson() const;
    cJSON* GenJsonSubnet() const { return m_subnet.GenerateJson(); }
    cJSON* GenJsonLocalRouter() const { return m_local_router.GenerateJson(); }
    cJSON* GenJsonLan() const { return m_lan.GenerateJson(); }
    cJSON* GenJsonCentralRouter() const { return m_central_router.GenerateJson(); }
    cJSON* GenJsonSstp() const { return m_sstp.GenerateJson(); }
    // The content of a fresh file, with a serial number and a MAC address of its own. Its spelling
    // of two keys is not the one that is read, so the p2p flag and the MTU keep their values at a
    // first start; the first orderly stop rewrites the file. Prints the text to standard output.
    static cJSON* GenDefaultJsonConfig();

    // ---- What is configured ----

    // Texts, at most 32 bytes and always terminated.
    const char* GetSubnetName() const { return m_subnet.m_net_name; }
    const char* GetUserName() const { return m_subnet.m_user_name; }
    const char* GetUserPwd() const { return m_subnet.m_user_pwd; }
    unsigned int GetSerialNumber() const { return m_local_router.m_serial_number; }
    // Addresses in host byte order.
    unsigned int GetCentralRouterIPAddr() const { return m_central_router.m_ip.GetIP(); }
    unsigned short GetCentralRouterPort() const { return m_central_router.m_port; }
    // Milliseconds, at least 1: a value below that would be no wait or an endless one, so the
    // default is given instead. The file and the print-out keep what was configured.
    int GetSstpRecvTimeout() const;
    // Seconds, as configured.
    int GetSstpHeartBeatInterval() const { return m_sstp.m_heartbeat_interval; }
    // Seconds without an answered heartbeat after which the edge joins again, 0 for never; 60
    // where the file has no such key, at most a day.
    int GetSstpRejoinAfter() const { return m_sstp.m_rejoin_after; }
    // Whether commands and packets count from the central router's address only; false where the
    // file has no such key.
    bool GetSstpStrictSource() const { return m_sstp.m_strict_source; }
    // Six bytes, owned by this object.
    const unsigned char* GetLocalEtherAddr() const { return m_lan.m_mac.GetBytes(); }
    unsigned int GetLocalIPAddr() const { return m_lan.m_ip.GetIP(); }
    unsigned int GetLocalNetMask() const { return m_lan.m_netmask.GetIP(); }
    unsigned int GetSubnetGateway() const { return m_lan.m_gateway.GetIP(); }
    // Name and MTU of the interface: "Tamvo" and 1500 where the file has no such key.
    const char* GetInterface() const { return m_lan.m_interface.c_str(); }
    int GetInterfaceMtu() const { return m_lan.m_mtu; }
    // The control socket's file, empty for none; nothing where the file does not say.
    const std::optional<std::string>& GetControl() const { return m_lan.m_control; }
    // The keys that the central router may have; none: it is spoken to in the open.
    const std::vector<CTSealFingerprint>& GetCentralRouterKeys() const {
        return m_central_router.m_keys;
    }
    // A key of the section "central router" whose value no edge may start with, or null; likewise
    // of the section "lan".
    const char* GetRefusedCentralRouterKey() const { return m_central_router.GetRefusedKey(); }
    const char* GetRefusedKey() const { return m_lan.GetRefusedKey(); }
    const char* GetLocalRouterLabel() const { return m_local_router.m_label; }
    unsigned short GetLocalRouterType() const { return m_local_router.m_type; }
    unsigned char GetLocalRouterLayer() const { return m_local_router.m_layer; }

    // ---- What joining brings, and what tests configure ----

    // A longer text is cut to 32 bytes; null changes nothing.
    void SetSubnetName(const char* name) { m_subnet.SetSubnetName(name); }
    void SetUserName(const char* name) { m_subnet.SetUserName(name); }
    void SetUserPwd(const char* pwd) { m_subnet.SetUserPwd(pwd); }
    void SetSerialNumber(unsigned int serial) { m_local_router.m_serial_number = serial; }
    void SetCentralRouterIPAddr(unsigned int ip) { m_central_router.m_ip = ip; }
    void SetCentralRouterPort(unsigned short port) { m_central_router.m_port = port; }
    void SetLocalEtherAddr(const unsigned char* mac) { m_lan.SetEtherAddr(mac); }
    void SetLocalRouterLabel(const char* label) { m_local_router.SetLabel(label); }
    void SetLocalIPAddr(unsigned int ip) { m_lan.m_ip = ip; }
    void SetLocalNetMask(unsigned int mask) { m_lan.m_netmask = mask; }
    void SetSubnetGateway(unsigned int ip) { m_lan.m_gateway = ip; }
    void SetLocalRouterType(unsigned short type) { m_local_router.m_type = type; }
    void SetLocalRouterLayer(unsigned char layer) { m_local_router.m_layer = layer; }

  private:
    CTSubnetCfg m_subnet;
    CTLocalRouterCfg m_local_router;
    CTCentralRouterCfg m_central_router;
    CTLocalHostCfg m_lan;
    CTSstpCfg m_sstp;
};
