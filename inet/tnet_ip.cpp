#include "inet/tnet_ip.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr int kParts = 4;
constexpr size_t kPartDigitsMax = 3;
constexpr int kIPv4TextSize = 16;
constexpr int kPrintCapacity = 64;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Whether no part between dots has four or more digits.
bool PartsAreShort(const char* text) {
    for (;;) {
        size_t digits = strcspn(text, ".");
        if (digits > kPartDigitsMax) return false;
        text += digits;
        if (*text == '\0') return true;
        ++text;
    }
}

}  // namespace

int CIPv4Addr::Set(unsigned int ip) {
    m_ip = ip;
    return 0;
}

int CIPv4Addr::Set(uint8_t o1, uint8_t o2, uint8_t o3, uint8_t o4) {
    m_ip = static_cast<uint32_t>(o1) << 24 | static_cast<uint32_t>(o2) << 16 |
           static_cast<uint32_t>(o3) << 8 | o4;
    return 0;
}

int CIPv4Addr::Set(const char* text) {
    if (!VerifyIPString(text) || !PartsAreShort(text)) return 1;
    m_ip = StrIpToInt(text);
    return 0;
}

int CIPv4Addr::Split(unsigned int ip, uint8_t* o1, uint8_t* o2, uint8_t* o3, uint8_t* o4) {
    if (!o1 || !o2 || !o3 || !o4) return 1;
    *o1 = static_cast<uint8_t>(ip >> 24);
    *o2 = static_cast<uint8_t>(ip >> 16);
    *o3 = static_cast<uint8_t>(ip >> 8);
    *o4 = static_cast<uint8_t>(ip);
    return 0;
}

int CIPv4Addr::Format(unsigned int ip, char* buf, int size) {
    if (!buf || size < 1) return 1;
    snprintf(buf, static_cast<size_t>(size), "%u.%u.%u.%u", ip >> 24, ip >> 16 & 0xFF,
             ip >> 8 & 0xFF, ip & 0xFF);
    return 0;
}

int CIPv4Addr::Print(CTString& text) const {
    char buf[kIPv4TextSize];
    Format(buf, sizeof buf);
    text.Append(buf);
    return 0;
}

int CIPv4Addr::Print() const {
    char buf[kIPv4TextSize];
    Format(buf, sizeof buf);
    printf("%s", buf);
    return 0;
}

bool CIPv4Addr::VerifyIPString(const char* text) {
    if (!text) return false;
    int dots = 0;
    for (; *text; ++text) {
        if (*text == '.') {
            ++dots;
        } else if (!IsDigit(*text)) {
            return false;
        }
    }
    return dots == kParts - 1;
}

unsigned int CIPv4Addr::StrIpToInt(const char* text) {
    uint32_t value = 0;
    for (int i = 0; i < kParts; ++i) {
        uint32_t part = 0;
        for (; IsDigit(*text); ++text)
            part = part * 10 + static_cast<uint32_t>(*text - '0');
        if (*text == '.') ++text;
        value = value << 8 | part;
    }
    return value;
}

int CIPv6Addr::Set(const tsdw_ipv6_addr* addr) {
    if (!addr) return 1;
    m_addr = *addr;
    return 0;
}

int CIPv6Addr::Print(const tsdw_ipv6_addr* addr, CTString& text) {
    if (!addr) return 1;
    const uint8_t* b = addr->bytes;
    text.Append("%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x", b[0],
                b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13],
                b[14], b[15]);
    return 0;
}

int CIPv6Addr::Print() const {
    CTString text(kPrintCapacity);
    Print(text);
    printf("%s", text.c_str());
    return 0;
}
