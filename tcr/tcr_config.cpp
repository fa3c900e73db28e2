#include "tcr/tcr_config.h"

#include <arpa/inet.h>
#include <cjson/cJSON.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <set>

#include "base/pvu_text_field.h"
#include "inet/tnet_ip.h"
#include "tcr/state_record.h"
#include "tcr/tcr_network.h"

namespace {

constexpr char kKeyLowestVersion[] = "lowest version";
constexpr char kKeySilentAfter[] = "silent after";
constexpr char kKeySubnets[] = "subnets";
constexpr char kKeyName[] = "name";
constexpr char kKeyPassword[] = "password";
constexpr char kKeyGateway[] = "gateway";
constexpr char kKeyNetmask[] = "netmask";
constexpr char kKeyEdges[] = "edges";
constexpr char kKeySerial[] = "serial";
constexpr char kKeyState[] = "state";
constexpr char kKeyBind[] = "bind";
constexpr char kKeyPort[] = "port";

constexpr int kDefaultSilentSeconds = 60;
constexpr int kMaxSilentSeconds = 86400;
constexpr size_t kMaxFileSize = 1 << 20;
constexpr size_t kMaxPathSize = 4096;
constexpr size_t kMaxHexDigits = 8;

struct TreeDeleter {
    void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
using Tree = std::unique_ptr<cJSON, TreeDeleter>;

// Reads one file and remembers the first fault.
class Reader {
  public:
    Reader(const std::string& path, std::string& fault) : m_path(path), m_fault(fault) {}

    bool Read(TcrConfig& config);

  private:
    bool Fault(const std::string& key, const std::string& reason);
    bool Load(Tree& tree);
    bool CheckKeys(const cJSON* object, const std::string& where,
                   std::initializer_list<const char*> known);
    bool ReadVersion(const cJSON* item, CTVersion& version);
    bool ReadSilence(const cJSON* item, int& seconds);
    bool ReadSubnets(const cJSON* list, std::vector<TcrSubnetConfig>& subnets);
    bool ReadSubnet(const cJSON* item, const std::string& where, TcrSubnetConfig& subnet);
    bool ReadText(const cJSON* item, const std::string& where, const char* key, std::string& out);
    bool ReadAddr(const cJSON* item, const std::string& where, const char* key, uint32_t& out);
    bool ReadState(const cJSON* item, std::string& state);
    bool ReadBind(const cJSON* item, std::string& bind);
    bool ReadPort(const cJSON* item, uint16_t& port);
    bool ReadEdges(const cJSON* item, const std::string& where, TcrSubnetConfig& subnet);
    bool ReadSerial(const cJSON* item, const std::string& where, uint32_t& serial);
    bool CheckNetwork(const std::string& where, const TcrSubnetConfig& subnet);

    const std::string& m_path;
    std::string& m_fault;
};

bool Reader::Fault(const std::string& key, const std::string& reason) {
    m_fault = m_path + ": " + (key.empty() ? "" : "\"" + key + "\": ") + reason;
    return false;
}

bool Reader::Load(Tree& tree) {
    std::ifstream in(m_path, std::ios::binary);
    if (!in) return Fault("", "cannot be opened");
    std::string text;
    for (char c; text.size() <= kMaxFileSize && in.get(c);)
        text += c;
    if (in.bad()) return Fault("", "cannot be read");
    if (text.size() > kMaxFileSize) return Fault("", "is larger than 1 MiB");
    const char* end = nullptr;
    tree.reset(cJSON_ParseWithLengthOpts(text.c_str(), text.size() + 1, &end, 1));
    if (tree) return true;
    const char* stop = end ? std::min(end, text.c_str() + text.size()) : text.c_str();
    auto line = 1 + std::count(text.c_str(), stop, '\n');
    return Fault("", "is not valid JSON (line " + std::to_string(line) + ")");
}

bool Reader::Read(TcrConfig& config) {
    Tree tree;
    if (!Load(tree)) return false;
    if (!cJSON_IsObject(tree.get())) return Fault("", "is not a JSON object");
    if (!CheckKeys(
            tree.get(), "",
            {kKeyLowestVersion, kKeySilentAfter, kKeyState, kKeyBind, kKeyPort, kKeySubnets})) {
        return false;
    }
    const cJSON* version = cJSON_GetObjectItemCaseSensitive(tree.get(), kKeyLowestVersion);
    if (version && !ReadVersion(version, config.lowest_version)) return false;
    const cJSON* silence = cJSON_GetObjectItemCaseSensitive(tree.get(), kKeySilentAfter);
    if (silence && !ReadSilence(silence, config.silent_seconds)) return false;
    const cJSON* state = cJSON_GetObjectItemCaseSensitive(tree.get(), kKeyState);
    if (state && !ReadState(state, config.state)) return false;
    const cJSON* bind = cJSON_GetObjectItemCaseSensitive(tree.get(), kKeyBind);
    if (bind && !ReadBind(bind, config.bind)) return false;
    const cJSON* port = cJSON_GetObjectItemCaseSensitive(tree.get(), kKeyPort);
    if (port && !ReadPort(port, config.port)) return false;
    const cJSON* subnets = cJSON_GetObjectItemCaseSensitive(tree.get(), kKeySubnets);
    return ReadSubnets(subnets, config.subnets);
}

bool Reader::CheckKeys(const cJSON* object, const std::string& where,
                       std::initializer_list<const char*> known) {
    std::vector<std::string> seen;
    for (const cJSON* item = object->child; item; item = item->next) {
        std::string key = item->string ? item->string : "";
        if (std::none_of(known.begin(), known.end(), [&](const char* k) { return key == k; })) {
            return Fault(where + key, "unknown key");
        }
        if (std::count(seen.begin(), seen.end(), key) > 0) {
            return Fault(where + key, "duplicate key");
        }
        seen.push_back(key);
    }
    return true;
}

bool Reader::ReadVersion(const cJSON* item, CTVersion& version) {
    const char* text = cJSON_GetStringValue(item);
    unsigned major = 0;
    unsigned minor = 0;
    unsigned patch = 0;
    char rest = '\0';
    bool parsed = text && sscanf(text, "%5u.%3u.%3u%c", &major, &minor, &patch, &rest) == 3;
    if (!parsed || major > 0xFFFF || minor > 0xFF || patch > 0xFF) {
        return Fault(kKeyLowestVersion, "is not a version like \"0.1.5\"");
    }
    version.Set(static_cast<unsigned short>(major), static_cast<unsigned char>(minor),
                static_cast<unsigned char>(patch));
    return true;
}

bool Reader::ReadSilence(const cJSON* item, int& seconds) {
    double value = cJSON_GetNumberValue(item);
    if (!(value >= 1 && value <= kMaxSilentSeconds) || value != std::floor(value)) {
        return Fault(kKeySilentAfter, "is not a whole number of seconds from 1 to " +
                                          std::to_string(kMaxSilentSeconds));
    }
    seconds = static_cast<int>(value);
    return true;
}

bool Reader::ReadSubnets(const cJSON* list, std::vector<TcrSubnetConfig>& subnets) {
    if (!list) return Fault(kKeySubnets, "is missing");
    if (!cJSON_IsArray(list)) return Fault(kKeySubnets, "is not a list");
    int count = cJSON_GetArraySize(list);
    if (count < 1) return Fault(kKeySubnets, "is empty");
    if (count > kTcrMaxSubnets) {
        return Fault(kKeySubnets, "has more than " + std::to_string(kTcrMaxSubnets) + " entries");
    };
    subnets.clear();
    for (const cJSON* item = list->child; item; item = item->next) {
        std::string where = std::string(kKeySubnets) + "[" + std::to_string(subnets.size()) + "].";
        TcrSubnetConfig subnet;
        if (!ReadSubnet(item, where, subnet)) return false;
        for (const TcrSubnetConfig& other : subnets) {
            if (other.name == subnet.name) return Fault(where + kKeyName, "duplicate name");
        }
        subnets.push_back(subnet);
    }
    return true;
}

bool Reader::ReadSubnet(const cJSON* item, const std::string& where, TcrSubnetConfig& subnet) {
    if (!cJSON_IsObject(item)) return Fault(where, "is not an object");
    return CheckKeys(item, where, {kKeyName, kKeyPassword, kKeyGateway, kKeyNetmask, kKeyEdges}) &&
           ReadText(item, where, kKeyName, subnet.name) &&
           ReadText(item, where, kKeyPassword, subnet.password) &&
           ReadAddr(item, where, kKeyGateway, subnet.gateway) &&
           ReadAddr(item, where, kKeyNetmask, subnet.mask) && CheckNetwork(where, subnet) &&
           ReadEdges(item, where, subnet);
}

bool Reader::ReadText(const cJSON* item, const std::string& where, const char* key,
                      std::string& out) {
    const cJSON* value = cJSON_GetObjectItemCaseSensitive(item, key);
    if (!value) return Fault(where + key, "is missing");
    const char* text = cJSON_GetStringValue(value);
    if (!text || *text == '\0') return Fault(where + key, "is not a text");
    if (strlen(text) > kTextFieldSize) return Fault(where + key, "is longer than 32 bytes");
    out = text;
    return true;
}

bool Reader::ReadAddr(const cJSON* item, const std::string& where, const char* key, uint32_t& out) {
    std::string text;
    if (!ReadText(item, where, key, text)) return false;
    in_addr addr;
    if (inet_pton(AF_INET, text.c_str(), &addr) != 1) {
        return Fault(where + key, "is not an IPv4 address");
    }
    out = ntohl(addr.s_addr);
    return true;
}

bool Reader::CheckNetwork(const std::string& where, const TcrSubnetConfig& subnet) {
    if (const char* fault = tcr_mask_fault(subnet.mask)) return Fault(where + kKeyNetmask, fault);
    const char* fault = tcr_gateway_fault(subnet.gateway, subnet.mask);
    return fault ? Fault(where + kKeyGateway, fault) : true;
}

bool Reader::ReadState(const cJSON* item, std::string& state) {
    const char* text = cJSON_GetStringValue(item);
    if (!text || *text == '\0') return Fault(kKeyState, "is not the name of a file");
    if (strlen(text) > kMaxPathSize) return Fault(kKeyState, "is too long for a file's name");
    state = text;
    return true;
}

bool Reader::ReadBind(const cJSON* item, std::string& bind) {
    const char* text = cJSON_GetStringValue(item);
    in_addr addr;
    if (!text || inet_pton(AF_INET, text, &addr) != 1) {
        return Fault(kKeyBind, "is not an IPv4 address");
    }
    bind = text;
    return true;
}

bool Reader::ReadPort(const cJSON* item, uint16_t& port) {
    double value = cJSON_GetNumberValue(item);
    if (!(value >= 1 && value <= UINT16_MAX) || value != std::floor(value)) {
        return Fault(kKeyPort, "is not a port from 1 to 65535");
    }
    port = static_cast<uint16_t>(value);
    return true;
}

bool Reader::ReadEdges(const cJSON* item, const std::string& where, TcrSubnetConfig& subnet) {
    const cJSON* list = cJSON_GetObjectItemCaseSensitive(item, kKeyEdges);
    if (!list) return true;
    if (!cJSON_IsArray(list)) return Fault(where + kKeyEdges, "is not a list");
    std::set<uint32_t> serials;
    int number = 0;
    for (const cJSON* edge = list->child; edge; edge = edge->next, ++number) {
        std::string place = where + kKeyEdges + "[" + std::to_string(number) + "]";
        const cJSON* value = edge;
        if (cJSON_IsObject(edge)) {
            if (!CheckKeys(edge, place + ".", {kKeySerial})) return false;
            place += std::string(".") + kKeySerial;
            value = cJSON_GetObjectItemCaseSensitive(edge, kKeySerial);
            if (!value) return Fault(place, "is missing");
        }
        uint32_t serial = 0;
        if (!ReadSerial(value, place, serial)) return false;
        serials.insert(serial);
    }
    subnet.edges.emplace(serials.begin(), serials.end());
    return true;
}

// Serial numbers are 32 bits; some print them with a sign, some without.
bool Reader::ReadSerial(const cJSON* item, const std::string& where, uint32_t& serial) {
    constexpr double kLowest = std::numeric_limits<int32_t>::min();
    constexpr double kHighest = std::numeric_limits<uint32_t>::max();
    double value = cJSON_GetNumberValue(item);
    if (value >= kLowest && value <= kHighest && value == std::floor(value)) {
        serial = static_cast<uint32_t>(static_cast<int64_t>(value));
        return true;
    }
    const char* text = cJSON_GetStringValue(item);
    std::string digits = text && strncmp(text, "0x", 2) == 0 ? text + 2 : "";
    bool hex = !digits.empty() && digits.size() <= kMaxHexDigits &&
               digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    if (!hex) return Fault(where, "is not a serial number like 1001, -5 or \"0x3E9\"");
    serial = static_cast<uint32_t>(strtoul(digits.c_str(), nullptr, 16));
    return true;
}

}  // namespace

TcrConfig::TcrConfig()
    : silent_seconds(kDefaultSilentSeconds),
      subnets{{"qwop", "qwop", CIPv4Addr(192, 168, 15, 5).GetIP(),
               CIPv4Addr(255, 255, 255, 0).GetIP()}} {}

bool TcrConfig::ReadFile(const std::string& path, std::string& fault) {
    return Reader(path, fault).Read(*this);
}
