#include "cfg/cfg_value_fault.h"

#include <sys/un.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>

#include "base/pvu_text_field.h"
#include "cfg/cfg_keys.h"
#include "cfg/sstp_cfg.h"

namespace {

constexpr int kMinHeartBeatSeconds = 2;

bool IsWhole(const cJSON* value, double lowest, double highest) {
    double number = cJSON_GetNumberValue(value);
    return number >= lowest && number <= highest && number == std::floor(number);
}

size_t LengthOf(const cJSON* value) {
    const char* text = cJSON_GetStringValue(value);
    return text ? strlen(text) : 0;
}

bool IsOneOf(const cJSON* value, std::initializer_list<std::string_view> names) {
    const char* text = cJSON_GetStringValue(value);
    for (std::string_view name : names) {
        if (text && name == text) return true;
    }
    return false;
}

const char* FieldFault(const cJSON* value) {
    return LengthOf(value) > kTextFieldSize ? "is longer than 32 bytes and would be cut" : nullptr;
}

const char* NameFault(const cJSON* value) {
    return LengthOf(value) == 0 ? "is empty" : FieldFault(value);
}

const char* SerialFault(const cJSON* value) {
    constexpr double kLowest = std::numeric_limits<int32_t>::min();
    constexpr double kHighest = std::numeric_limits<uint32_t>::max();
    return IsWhole(value, kLowest, kHighest) ? nullptr : "is not a whole number of 32 bits";
}

// Their values are the interface's in the end; a name that does not exist is a slip all the same.
const char* TypeFault(const cJSON* value) {
    return IsOneOf(value, {"HW", "TAP", "TUN", "BRIDGE", "ECHO"})
               ? nullptr
               : "is none of HW, TAP, TUN, BRIDGE and ECHO";
}

const char* LayerFault(const cJSON* value) {
    return IsOneOf(value, {"L0", "L1", "L2", "L3", "L4"}) ? nullptr : "is none of L0 to L4";
}

// The reader takes parts of up to three digits, and of each the low eight bits.
const char* AddressFault(const cJSON* value) {
    const char* text = cJSON_GetStringValue(value);
    unsigned parts[4] = {};
    if (!text || sscanf(text, "%3u.%3u.%3u.%3u", &parts[0], &parts[1], &parts[2], &parts[3]) != 4) {
        return "is not an IPv4 address";
    }
    bool fits = std::ranges::all_of(parts, [](unsigned part) { return part <= UINT8_MAX; });
    return fits ? nullptr : "is not an IPv4 address, a part of it is above 255";
}

const char* PortFault(const cJSON* value) {
    return IsWhole(value, 1, UINT16_MAX) ? nullptr : "is not a port from 1 to 65535";
}

const char* RecvTimeoutFault(const cJSON* value) {
    return IsWhole(value, 1, INT32_MAX) ? nullptr
                                        : "is not a whole number of milliseconds, 1 at least";
}

const char* HeartBeatFault(const cJSON* value) {
    return IsWhole(value, kMinHeartBeatSeconds, INT32_MAX)
               ? nullptr
               : "is not a whole number of seconds, 2 at least";
}

const char* RejoinFault(const cJSON* value) {
    double seconds = cJSON_GetNumberValue(value);
    return seconds >= 0 && seconds <= CTSstpCfg::kMaxRejoinAfter
               ? nullptr
               : "is not a number of seconds from 0 to 86400";
}

const char* ControlFault(const cJSON* value) {
    constexpr size_t kMax = sizeof(sockaddr_un::sun_path) - 1;
    return LengthOf(value) > kMax ? "is too long for the name of a socket" : nullptr;
}

struct Rule {
    const char* key;
    const char* (*fault)(const cJSON*);
};
constexpr Rule kRules[] = {{cfg_key::kNetName, NameFault},
                           {cfg_key::kUserName, FieldFault},
                           {cfg_key::kUserPwd, FieldFault},
                           {cfg_key::kLabel, FieldFault},
                           {cfg_key::kSerialNumber, SerialFault},
                           {cfg_key::kType, TypeFault},
                           {cfg_key::kLayer, LayerFault},
                           {cfg_key::kIp, AddressFault},
                           {cfg_key::kGateway, AddressFault},
                           {cfg_key::kNetMask, AddressFault},
                           {cfg_key::kPort, PortFault},
                           {cfg_key::kRecvTimeout, RecvTimeoutFault},
                           {cfg_key::kHeartBeatInterval, HeartBeatFault},
                           {cfg_key::kRejoinAfter, RejoinFault},
                           {cfg_key::kControl, ControlFault}};

}  // namespace

const char* cfg_value_fault(const char* key, const cJSON* value) {
    for (const Rule& rule : kRules) {
        if (strcmp(rule.key, key) == 0) return rule.fault(value);
    }
    return nullptr;
}
