#include "cfg/cfg_check.h"

#include <strings.h>

#include <cstdio>
#include <vector>

#include "cfg/cfg_keys.h"
#include "cfg/local_host_cfg.h"
#include "inet/tnet_ether.h"
#include "inet/tnet_ip.h"

namespace {

using Key = CTCfgCheck::Key;
using Kind = CTCfgCheck::Kind;

constexpr size_t kMaxPrinted = 64;  // characters of a key's name
constexpr unsigned char kFirstPrintable = 0x20;
constexpr unsigned char kLastPrintable = 0x7e;

constexpr Key kSubnetKeys[] = {{cfg_key::kNetName, Kind::kText},
                               {cfg_key::kUserName, Kind::kText},
                               {cfg_key::kUserPwd, Kind::kText}};
constexpr Key kLocalRouterKeys[] = {{cfg_key::kLabel, Kind::kText},
                                    {cfg_key::kSerialNumber, Kind::kNumber},
                                    {cfg_key::kType, Kind::kText},
                                    {cfg_key::kLayer, Kind::kText}};
constexpr Key kLanKeys[] = {
    {cfg_key::kIp, Kind::kIPv4Address},      {cfg_key::kMac, Kind::kEtherAddress},
    {cfg_key::kGateway, Kind::kIPv4Address}, {cfg_key::kNetMask, Kind::kIPv4Address},
    {cfg_key::kInterface, Kind::kInterface}, {cfg_key::kMtu, Kind::kInterfaceMtu}};
constexpr Key kCentralRouterKeys[] = {{cfg_key::kIp, Kind::kIPv4Address},
                                      {cfg_key::kPort, Kind::kNumber}};
constexpr Key kSstpKeys[] = {{cfg_key::kRecvTimeout, Kind::kNumber},
                             {cfg_key::kP2pEnable, Kind::kFlag},
                             {cfg_key::kHeartBeatInterval, Kind::kNumber},
                             {cfg_key::kMtu, Kind::kNumber},
                             {cfg_key::kRejoinAfter, Kind::kNumber},
                             {cfg_key::kStrictSource, Kind::kFlag},
                             // Our own default file has them.
                             {cfg_key::kFreshP2pEnable, Kind::kUnread},
                             {cfg_key::kFreshMtu, Kind::kUnread}};

constexpr Key kSections[] = {{cfg_key::kSubnet, Kind::kObject},
                             {cfg_key::kLocalRouter, Kind::kObject},
                             {cfg_key::kLan, Kind::kObject},
                             {cfg_key::kCentralRouter, Kind::kObject},
                             {cfg_key::kSstp, Kind::kObject}};
// In the order of the sections.
constexpr std::span<const Key> kKeysOfSections[] = {kSubnetKeys, kLocalRouterKeys, kLanKeys,
                                                    kCentralRouterKeys, kSstpKeys};

bool IsOfKind(const cJSON* item, Kind kind) {
    const char* text = cJSON_GetStringValue(item);
    switch (kind) {
        case Kind::kObject:
            return cJSON_IsObject(item) != 0;
        case Kind::kText:
            return text != nullptr;
        case Kind::kNumber:
            return cJSON_IsNumber(item) != 0;
        case Kind::kFlag:
            return cJSON_IsBool(item) != 0;
        case Kind::kIPv4Address:
            return text && CIPv4Addr().Set(text) == 0;
        case Kind::kEtherAddress:
            return text && CEtherAddr().Set(text) == 0;
        case Kind::kInterface:
            return CTLocalHostCfg::IsInterface(item);
        case Kind::kInterfaceMtu:
            return CTLocalHostCfg::IsMtu(item);
        case Kind::kUnread:
            return true;
    }
    return false;
}

const char* KindName(Kind kind) {
    constexpr const char* kNames[] = {"an object",
                                      "a text",
                                      "a number",
                                      "true or false",
                                      "an IPv4 address",
                                      "a MAC address",
                                      "4 to 15 letters, digits, \"-\" or \"_\"",
                                      "a whole number from 576 to 1500",
                                      "anything"};
    return kNames[static_cast<size_t>(kind)];
}

bool EndsStart(Kind kind) {
    return kind == Kind::kInterface || kind == Kind::kInterfaceMtu;
}

// A name out of a file as it may stand on a terminal, in quotes.
std::string Quoted(const char* name) {
    std::string text = "\"";
    for (const char* p = name; *p; ++p) {
        if (text.size() > kMaxPrinted) return text + "...\"";
        auto c = static_cast<unsigned char>(*p);
        bool plain = c >= kFirstPrintable && c <= kLastPrintable && c != '"' && c != '\\';
        char code[sizeof "\\xff"];
        snprintf(code, sizeof code, plain ? "%c" : "\\x%02x", c);
        text += code;
    }
    return text + "\"";
}

}  // namespace

int CTCfgCheck::Check(const cJSON* root) {
    m_faults = 0;
    m_printed = 0;
    if (!cJSON_IsObject(root)) {
        PrintFault("of the wrong kind, expected an object of sections");
        return m_faults;
    }
    CheckObject(root, kSections, "");
    for (size_t i = 0; i < std::size(kSections); ++i) {
        // Of sections of one name the first is read.
        const cJSON* section = cJSON_GetObjectItem(root, kSections[i].name);
        if (!cJSON_IsObject(section)) continue;
        CheckObject(section, kKeysOfSections[i], " in section " + Quoted(kSections[i].name));
    }
    if (m_faults > m_printed) {
        printf("config file: %d more faults: %s\n", m_faults - m_printed, m_path);
    }
    return m_faults;
}

// One look at each member, so that a file with very many costs no more than reading it.
void CTCfgCheck::CheckObject(const cJSON* object, std::span<const Key> keys,
                             const std::string& place) {
    std::vector<bool> seen(keys.size());
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, object) {
        const char* name = item->string ? item->string : "";
        size_t i = 0;
        while (i < keys.size() && strcasecmp(keys[i].name, name) != 0)
            ++i;
        if (i == keys.size()) {
            PrintFault("unknown key " + Quoted(name) + place);
        } else if (seen[i]) {
            PrintFault("duplicate key " + Quoted(name) + place + ", the first one counts");
        } else if (!IsOfKind(item, keys[i].kind)) {
            PrintFault("key " + Quoted(name) + place + " of the wrong kind, expected " +
                           KindName(keys[i].kind),
                       EndsStart(keys[i].kind));
        }
        if (i < keys.size()) seen[i] = true;
    }
}

void CTCfgCheck::PrintFault(const std::string& fault, bool always) {
    if (m_faults++ >= kMaxLines && !always) return;
    ++m_printed;
    printf("config file: %s: %s\n", fault.c_str(), m_path);
}
