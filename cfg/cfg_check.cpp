#include "cfg/cfg_check.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>

#include "base/pvu_event.h"
#include "base/pvu_json_lines.h"
#include "cfg/central_router_cfg.h"
#include "cfg/cfg_keys.h"
#include "cfg/cfg_value_fault.h"
#include "cfg/json_object.h"
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
    {cfg_key::kInterface, Kind::kInterface}, {cfg_key::kMtu, Kind::kInterfaceMtu},
    {cfg_key::kControl, Kind::kText}};
constexpr Key kCentralRouterKeys[] = {{cfg_key::kIp, Kind::kIPv4Address},
                                      {cfg_key::kPort, Kind::kNumber},
                                      {cfg_key::kKey, Kind::kFingerprints}};
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
        case Kind::kFingerprints:
            return CTCentralRouterCfg::IsKey(item);
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
                                      "\"sha256:\" and 64 hexadecimal digits, or a list",
                                      "anything"};
    return kNames[static_cast<size_t>(kind)];
}

bool EndsStart(Kind kind) {
    return kind == Kind::kInterface || kind == Kind::kInterfaceMtu || kind == Kind::kFingerprints;
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

// The file's content; a reason when there is none to be parsed.
const char* LoadText(const std::string& path, std::string& text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return "cannot be opened";
    constexpr size_t kMax = CTJsonObject::kMaxFileSize;
    for (char c; text.size() <= kMax && in.get(c);)
        text += c;
    if (in.bad()) return "cannot be read";
    if (text.size() > kMax) return "is larger than 1 MiB";
    // The reader drops the rest of a line behind one.
    return text.find('\0') == std::string::npos ? nullptr : "has a zero byte";
}

}  // namespace

int CTCfgCheck::Check(const cJSON* root) {
    int faults = 0;
    int printed = 0;
    for (const Finding& finding : Find(root, false)) {
        if (faults++ >= kMaxLines && !finding.ends_start) continue;
        ++printed;
        CTEvent(finding.ends_start ? CTEventLevel::kError : CTEventLevel::kWarning,
                "configuration fault")
            .Add("file", m_path)
            .Add("reason", finding.text)
            .Log();
        printf("config file: %s: %s\n", finding.text.c_str(), m_path);
    }
    if (faults > printed) printf("config file: %d more faults: %s\n", faults - printed, m_path);
    return faults;
}

std::vector<CTCfgCheck::Finding> CTCfgCheck::Find(const cJSON* root, bool with_values) {
    if (!cJSON_IsObject(root)) {
        return {{root, "of the wrong kind, expected an object of sections", false}};
    }
    std::vector<Finding> found;
    FindInObject(root, kSections, "", with_values, found);
    for (size_t i = 0; i < std::size(kSections); ++i) {
        // Of sections of one name the first is read.
        const cJSON* section = cJSON_GetObjectItem(root, kSections[i].name);
        if (!cJSON_IsObject(section)) continue;
        FindInObject(section, kKeysOfSections[i], " in section " + Quoted(kSections[i].name),
                     with_values, found);
    }
    return found;
}

// One look at each member, so that a file with very many costs no more than reading it.
void CTCfgCheck::FindInObject(const cJSON* object, std::span<const Key> keys,
                              const std::string& place, bool with_values,
                              std::vector<Finding>& found) {
    std::vector<bool> seen(keys.size());
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, object) {
        const char* name = item->string ? item->string : "";
        size_t i = 0;
        while (i < keys.size() && strcasecmp(keys[i].name, name) != 0)
            ++i;
        std::string key = "key " + Quoted(name) + place;
        if (i == keys.size()) {
            found.push_back({item, "unknown " + key, false});
        } else if (seen[i]) {
            found.push_back({item, "duplicate " + key + ", the first one counts", false});
        } else if (!IsOfKind(item, keys[i].kind)) {
            found.push_back({item, key + " of the wrong kind, expected " + KindName(keys[i].kind),
                             EndsStart(keys[i].kind)});
        } else if (const char* fault =
                       with_values ? cfg_value_fault(keys[i].name, item) : nullptr) {
            found.push_back({item, key + " " + fault, false});
        }
        if (i < keys.size()) seen[i] = true;
    }
}

CTConfigFaults CTCfgCheck::CheckFile(const std::string& path) {
    std::string text;
    if (const char* fault = LoadText(path, text)) return {{0, fault}};
    const char* end = nullptr;
    std::unique_ptr<cJSON, decltype(&cJSON_Delete)> root(
        cJSON_ParseWithLengthOpts(text.c_str(), text.size() + 1, &end, 0), cJSON_Delete);
    if (!root) return {{pvu_line_of(text, end ? end : text.c_str()), "is not valid JSON", true}};
    CTConfigFaults faults;
    CTJsonLines lines(root.get(), text);
    for (const Finding& finding : Find(root.get(), true))
        faults.push_back({lines.Of(finding.item), finding.text});
    // The reader is content with what comes first.
    size_t behind = text.find_first_not_of(" \t\r\n", static_cast<size_t>(end - text.c_str()));
    if (behind != std::string::npos) {
        faults.push_back({pvu_line_of(text, text.c_str() + behind), "more behind its end"});
    }
    std::stable_sort(faults.begin(), faults.end(),
                     [](const auto& a, const auto& b) { return a.line < b.line; });
    return faults;
}
