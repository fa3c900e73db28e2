#include "tcr/tcr_config.h"

#include <arpa/inet.h>
#include <cjson/cJSON.h>
#include <sys/un.h>

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

#include "base/pvu_json_lines.h"
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
constexpr char kKeyControl[] = "control";
constexpr char kKeyBind[] = "bind";
constexpr char kKeyPort[] = "port";
constexpr char kKeyHttp[] = "http";
constexpr char kKeySeal[] = "seal";
constexpr char kKeyKey[] = "key";

constexpr int kDefaultSilentSeconds = 60;
constexpr int kMaxSilentSeconds = 86400;
constexpr size_t kMaxFileSize = 1 << 20;
constexpr size_t kMaxPathSize = 4096;
constexpr size_t kMaxSocketPath = sizeof(sockaddr_un::sun_path) - 1;
constexpr size_t kMaxHexDigits = 8;
constexpr size_t kMaxPortDigits = 5;

struct TreeDeleter {
    void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
using Tree = std::unique_ptr<cJSON, TreeDeleter>;

// Reads one file and notes every fault, in the order in which they are found.
class Reader {
  public:
    // Strict: also of what a start goes on without.
    Reader(const std::string& path, CTConfigFaults& faults, bool strict)
        : m_path(path), m_faults(faults), m_strict(strict) {}

    // Whether there is none.
    bool Read(TcrConfig& config);

  private:
    // Of the file as a whole, and of a key, which stands at that node or ought to stand in it.
    // False.
    bool Fault(const std::string& reason);
    bool Fault(const cJSON* at, const std::string& key, const std::string& reason);
    bool Load(Tree& tree);
    // Reads the member of that key, if there is one.
    template <typename Value>
    void ReadOptional(const cJSON* object, const char* key,
                      bool (Reader::*read)(const cJSON*, Value&), Value& value);
    bool CheckKeys(const cJSON* object, const std::string& where,
                   std::initializer_list<const char*> known);
    bool ReadVersion(const cJSON* item, CTVersion& version);
    bool ReadSilence(const cJSON* item, int& seconds);
    bool ReadSubnets(const cJSON* list, std::vector<TcrSubnetConfig>& subnets);
    void ReadSubnet(const cJSON* item, const std::string& where, TcrSubnetConfig& subnet);
    bool ReadText(const cJSON* item, const std::string& where, const char* key, std::string& out);
    bool ReadAddr(const cJSON* item, const std::string& where, const char* key, uint32_t& out);
    bool ReadState(const cJSON* item, std::string& state);
    bool ReadControl(const cJSON* item, std::optional<std::string>& control);
    bool ReadBind(const cJSON* item, std::string& bind);
    bool ReadPort(const cJSON* item, uint16_t& port);
    bool ReadHttp(const cJSON* item, TcrConfig& config);
    bool ReadSeal(const cJSON* object, const std::string& where, TcrSeal& seal);
    bool ReadKey(const cJSON* item, const std::string& where, CTSealFingerprint& key);
    void ReadEdges(const cJSON* item, const std::string& where, TcrSubnetConfig& subnet);
    bool ReadSerial(const cJSON* item, const std::string& where, uint32_t& serial);
    void CheckNetwork(const cJSON* item, const std::string& where, const TcrSubnetConfig& subnet);

    const std::string& m_path;
    CTConfigFaults& m_faults;
    const bool m_strict;
    CTJsonLines m_lines;
    TcrSeal m_seal = TcrSeal::kOff;  // of subnets that do not say
};

bool Reader::Fault(const std::string& reason) {
    m_faults.push_back({0, reason});
    return false;
}

bool Reader::Fault(const cJSON* at, const std::string& key, const std::string& reason) {
    m_faults.push_back({m_lines.Of(at), "\"" + key + "\": " + reason});
    return false;
}

bool Reader::Load(Tree& tree) {
    std::ifstream in(m_path, std::ios::binary);
    if (!in) return Fault("cannot be opened");
    std::string text;
    for (char c; text.size() <= kMaxFileSize && in.get(c);)
        text += c;
    if (in.bad()) return Fault("cannot be read");
    if (text.size() > kMaxFileSize) return Fault("is larger than 1 MiB");
    const char* end = nullptr;
    tree.reset(cJSON_ParseWithLengthOpts(text.c_str(), text.size() + 1, &end, 1));
    if (!tree) {
        int line = pvu_line_of(text, end ? end : text.c_str());
        m_faults.push_back({line, "is not valid JSON", true});
        return false;
    }
    m_lines = CTJsonLines(tree.get(), text);
    return true;
}

bool Reader::Read(TcrConfig& config) {
    Tree tree;
    if (!Load(tree)) return false;
    if (!cJSON_IsObject(tree.get())) return Fault("is not a JSON object");
    CheckKeys(tree.get(), "",
              {kKeyLowestVersion, kKeySilentAfter, kKeyState, kKeyControl, kKeyBind, kKeyPort,
               kKeyHttp, kKeySeal, kKeySubnets});
    ReadOptional(tree.get(), kKeyLowestVersion, &Reader::ReadVersion, config.lowest_version);
    ReadOptional(tree.get(), kKeySilentAfter, &Reader::ReadSilence, config.silent_seconds);
    ReadOptional(tree.get(), kKeyState, &Reader::ReadState, config.state);
    ReadOptional(tree.get(), kKeyControl, &Reader::ReadControl, config.control);
    ReadOptional(tree.get(), kKeyBind, &Reader::ReadBind, config.bind);
    ReadOptional(tree.get(), kKeyPort, &Reader::ReadPort, config.port);
    ReadOptional(tree.get(), kKeyHttp, &Reader::ReadHttp, config);
    ReadSeal(tree.get(), "", m_seal);
    const cJSON* subnets = cJSON_GetObjectItemCaseSensitive(tree.get(), kKeySubnets);
    if (subnets) {
        ReadSubnets(subnets, config.subnets);
    } else {
        Fault(tree.get(), kKeySubnets, "is missing");
    }
    return m_faults.empty();
}

template <typename Value>
void Reader::ReadOptional(const cJSON* object, const char* key,
                          bool (Reader::*read)(const cJSON*, Value&), Value& value) {
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, key);
    if (item) (this->*read)(item, value);
}

bool Reader::CheckKeys(const cJSON* object, const std::string& where,
                       std::initializer_list<const char*> known) {
    std::vector<bool> seen(known.size());
    bool good = true;
    for (const cJSON* item = object->child; item; item = item->next) {
        std::string key = item->string ? item->string : "";
        auto found =
            std::find_if(known.begin(), known.end(), [&](const char* k) { return key == k; });
        if (found == known.end()) {
            good = Fault(item, where + key, "unknown key");
            continue;
        }
        size_t number = static_cast<size_t>(found - known.begin());
        if (seen[number]) good = Fault(item, where + key, "duplicate key");
        seen[number] = true;
    }
    return good;
}

bool Reader::ReadVersion(const cJSON* item, CTVersion& version) {
    const char* text = cJSON_GetStringValue(item);
    unsigned major = 0;
    unsigned minor = 0;
    unsigned patch = 0;
    char rest = '\0';
    bool parsed = text && sscanf(text, "%5u.%3u.%3u%c", &major, &minor, &patch, &rest) == 3;
    if (!parsed || major > 0xFFFF || minor > 0xFF || patch > 0xFF) {
        return Fault(item, kKeyLowestVersion, "is not a version like \"0.1.5\"");
    }
    version.Set(static_cast<unsigned short>(major), static_cast<unsigned char>(minor),
                static_cast<unsigned char>(patch));
    return true;
}

bool Reader::ReadSilence(const cJSON* item, int& seconds) {
    double value = cJSON_GetNumberValue(item);
    if (!(value >= 1 && value <= kMaxSilentSeconds) || value != std::floor(value)) {
        return Fault(
            item, kKeySilentAfter,
            "is not a whole number of seconds from 1 to " + std::to_string(kMaxSilentSeconds));
    }
    seconds = static_cast<int>(value);
    return true;
}

bool Reader::ReadSubnets(const cJSON* list, std::vector<TcrSubnetConfig>& subnets) {
    if (!cJSON_IsArray(list)) return Fault(list, kKeySubnets, "is not a list");
    int count = cJSON_GetArraySize(list);
    if (count < 1) return Fault(list, kKeySubnets, "is empty");
    if (count > kTcrMaxSubnets) {
        return Fault(list, kKeySubnets,
                     "has more than " + std::to_string(kTcrMaxSubnets) + " entries");
    };
    subnets.clear();
    for (const cJSON* item = list->child; item; item = item->next) {
        std::string where = std::string(kKeySubnets) + "[" + std::to_string(subnets.size()) + "].";
        TcrSubnetConfig& subnet = subnets.emplace_back();
        ReadSubnet(item, where, subnet);
        bool doubled = !subnet.name.empty() &&
                       std::any_of(subnets.begin(), subnets.end() - 1,
                                   [&](const auto& other) { return other.name == subnet.name; });
        const cJSON* name = cJSON_GetObjectItemCaseSensitive(item, kKeyName);
        if (doubled) Fault(name, where + kKeyName, "duplicate name");
    }
    return true;
}

void Reader::ReadSubnet(const cJSON* item, const std::string& where, TcrSubnetConfig& subnet) {
    if (!cJSON_IsObject(item)) {
        Fault(item, where, "is not an object");
        return;
    }
    CheckKeys(item, where, {kKeyName, kKeyPassword, kKeyGateway, kKeyNetmask, kKeySeal, kKeyEdges});
    subnet.seal = m_seal;
    ReadSeal(item, where, subnet.seal);
    ReadText(item, where, kKeyName, subnet.name);
    ReadText(item, where, kKeyPassword, subnet.password);
    bool has_gateway = ReadAddr(item, where, kKeyGateway, subnet.gateway);
    bool has_mask = ReadAddr(item, where, kKeyNetmask, subnet.mask);
    if (has_gateway && has_mask) CheckNetwork(item, where, subnet);
    ReadEdges(item, where, subnet);
}

bool Reader::ReadText(const cJSON* item, const std::string& where, const char* key,
                      std::string& out) {
    const cJSON* value = cJSON_GetObjectItemCaseSensitive(item, key);
    if (!value) return Fault(item, where + key, "is missing");
    const char* text = cJSON_GetStringValue(value);
    if (!text || *text == '\0') return Fault(value, where + key, "is not a text");
    if (strlen(text) > kTextFieldSize) return Fault(value, where + key, "is longer than 32 bytes");
    out = text;
    return true;
}

bool Reader::ReadAddr(const cJSON* item, const std::string& where, const char* key, uint32_t& out) {
    std::string text;
    if (!ReadText(item, where, key, text)) return false;
    in_addr addr;
    if (inet_pton(AF_INET, text.c_str(), &addr) != 1) {
        return Fault(cJSON_GetObjectItemCaseSensitive(item, key), where + key,
                     "is not an IPv4 address");
    }
    out = ntohl(addr.s_addr);
    return true;
}

void Reader::CheckNetwork(const cJSON* item, const std::string& where,
                          const TcrSubnetConfig& subnet) {
    if (const char* fault = tcr_mask_fault(subnet.mask)) {
        Fault(cJSON_GetObjectItemCaseSensitive(item, kKeyNetmask), where + kKeyNetmask, fault);
    } else if (const char* other = tcr_gateway_fault(subnet.gateway, subnet.mask)) {
        Fault(cJSON_GetObjectItemCaseSensitive(item, kKeyGateway), where + kKeyGateway, other);
    }
}

bool Reader::ReadState(const cJSON* item, std::string& state) {
    const char* text = cJSON_GetStringValue(item);
    if (!text || *text == '\0') return Fault(item, kKeyState, "is not the name of a file");
    if (strlen(text) > kMaxPathSize) return Fault(item, kKeyState, "is too long for a file's name");
    state = text;
    return true;
}

// An empty name asks for no socket.
bool Reader::ReadControl(const cJSON* item, std::optional<std::string>& control) {
    const char* text = cJSON_GetStringValue(item);
    if (!text) return Fault(item, kKeyControl, "is not the name of a file");
    control = text;
    if (m_strict && strlen(text) > kMaxSocketPath) {
        return Fault(item, kKeyControl, "is too long for the name of a socket");
    }
    return true;
}

bool Reader::ReadBind(const cJSON* item, std::string& bind) {
    const char* text = cJSON_GetStringValue(item);
    in_addr addr;
    if (!text || inet_pton(AF_INET, text, &addr) != 1) {
        return Fault(item, kKeyBind, "is not an IPv4 address");
    }
    bind = text;
    return true;
}

bool Reader::ReadPort(const cJSON* item, uint16_t& port) {
    double value = cJSON_GetNumberValue(item);
    if (!(value >= 1 && value <= UINT16_MAX) || value != std::floor(value)) {
        return Fault(item, kKeyPort, "is not a port from 1 to 65535");
    }
    port = static_cast<uint16_t>(value);
    return true;
}

bool Reader::ReadHttp(const cJSON* item, TcrConfig& config) {
    const char* value = cJSON_GetStringValue(item);
    std::string text = value ? value : "";
    size_t colon = text.find(':');
    std::string address = text.substr(0, colon);
    std::string digits = colon == std::string::npos ? "" : text.substr(colon + 1);
    bool is_number = !digits.empty() && digits.size() <= kMaxPortDigits &&
                     digits.find_first_not_of("0123456789") == std::string::npos;
    unsigned long port = is_number ? strtoul(digits.c_str(), nullptr, 10) : 0;
    in_addr addr;
    if (inet_pton(AF_INET, address.c_str(), &addr) != 1 || port < 1 || port > UINT16_MAX) {
        return Fault(item, kKeyHttp, "is not an IPv4 address and port like \"127.0.0.1:8080\"");
    }
    config.http_bind = address;
    config.http_port = static_cast<uint16_t>(port);
    return true;
}

bool Reader::ReadSeal(const cJSON* object, const std::string& where, TcrSeal& seal) {
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, kKeySeal);
    if (!item) return true;
    const char* value = cJSON_GetStringValue(item);
    std::string text = value ? value : "";
    if (text == "off") {
        seal = TcrSeal::kOff;
    } else if (text == "offered") {
        seal = TcrSeal::kOffered;
    } else if (text == "required") {
        seal = TcrSeal::kRequired;
    } else {
        return Fault(item, where + kKeySeal, "is not \"off\", \"offered\" or \"required\"");
    }
    return true;
}

bool Reader::ReadKey(const cJSON* item, const std::string& where, CTSealFingerprint& key) {
    const char* text = cJSON_GetStringValue(item);
    if (text && key.Parse(text)) return true;
    return Fault(item, where, "is not \"sha256:\" and 64 hexadecimal digits");
}

void Reader::ReadEdges(const cJSON* item, const std::string& where, TcrSubnetConfig& subnet) {
    const cJSON* list = cJSON_GetObjectItemCaseSensitive(item, kKeyEdges);
    if (!list) return;
    if (!cJSON_IsArray(list)) {
        Fault(list, where + kKeyEdges, "is not a list");
        return;
    }
    std::set<uint32_t> serials;
    int number = 0;
    for (const cJSON* edge = list->child; edge; edge = edge->next, ++number) {
        std::string place = where + kKeyEdges + "[" + std::to_string(number) + "]";
        const cJSON* value = edge;
        const cJSON* key = nullptr;
        if (cJSON_IsObject(edge)) {
            CheckKeys(edge, place + ".", {kKeySerial, kKeyKey});
            value = cJSON_GetObjectItemCaseSensitive(edge, kKeySerial);
            key = cJSON_GetObjectItemCaseSensitive(edge, kKeyKey);
            if (!value) Fault(edge, place + "." + kKeySerial, "is missing");
        }
        uint32_t serial = 0;
        CTSealFingerprint fingerprint;
        if (value && ReadSerial(value, value == edge ? place : place + "." + kKeySerial, serial)) {
            serials.insert(serial);
            if (key && ReadKey(key, place + "." + kKeyKey, fingerprint)) {
                subnet.keys[serial] = fingerprint;
            }
        }
    }
    subnet.edges.emplace(serials.begin(), serials.end());
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
    if (!hex) return Fault(item, where, "is not a serial number like 1001, -5 or \"0x3E9\"");
    serial = static_cast<uint32_t>(strtoul(digits.c_str(), nullptr, 16));
    return true;
}

}  // namespace

TcrConfig::TcrConfig()
    : silent_seconds(kDefaultSilentSeconds),
      subnets{{"qwop", "qwop", CIPv4Addr(192, 168, 15, 5).GetIP(),
               CIPv4Addr(255, 255, 255, 0).GetIP()}} {}

bool TcrConfig::ReadFile(const std::string& path, std::string& fault) {
    CTConfigFaults faults;
    if (Reader(path, faults, false).Read(*this)) return true;
    const CTConfigFault& first = faults.front();
    fault = path + ": " + first.text;
    if (first.is_syntax) fault += " (line " + std::to_string(first.line) + ")";
    return false;
}

bool TcrConfig::IsSealOffered() const {
    return std::ranges::any_of(
        subnets, [](const TcrSubnetConfig& one) { return one.seal != TcrSeal::kOff; });
}

CTConfigFaults TcrConfig::Check(const std::string& path) {
    TcrConfig config;
    CTConfigFaults faults;
    Reader(path, faults, true).Read(config);
    std::stable_sort(faults.begin(), faults.end(),
                     [](const auto& a, const auto& b) { return a.line < b.line; });
    return faults;
}
