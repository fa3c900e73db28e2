#pragma once

#include <cstdint>

#include "base/pvu_string.h"

// IPv4 and IPv6 addresses. Operations that can fail on an argument return 0 for success and 1 for
// a null pointer or a zero buffer size.

// An IPv4 address in host byte order, first octet in the most significant byte, as everywhere in
// memory; it becomes network order only where a wire format needs it.
class CIPv4Addr {
  public:
    CIPv4Addr() = default;
    explicit CIPv4Addr(unsigned int ip) : m_ip(ip) {}
    CIPv4Addr(uint8_t o1, uint8_t o2, uint8_t o3, uint8_t o4) { Set(o1, o2, o3, o4); }
    CIPv4Addr& operator=(unsigned int ip) {
        m_ip = ip;
        return *this;
    }

    int Set(unsigned int ip);
    int Set(uint8_t o1, uint8_t o2, uint8_t o3, uint8_t o4);
    // Dotted text; 1, with the address unchanged, for text that VerifyIPString rejects and for a
    // part of four or more digits.
    int Set(const char* text);
    unsigned int GetIP() const { return m_ip; }

    // The four octets, most significant first; 1 if a pointer is null.
    int Split(uint8_t* o1, uint8_t* o2, uint8_t* o3, uint8_t* o4) const {
        return Split(m_ip, o1, o2, o3, o4);
    }
    static int Split(unsigned int ip, uint8_t* o1, uint8_t* o2, uint8_t* o3, uint8_t* o4);

    // "%u.%u.%u.%u", cut to the buffer.
    int Format(char* buf, int size) const { return Format(m_ip, buf, size); }
    static int Format(unsigned int ip, char* buf, int size);
    static int Print(unsigned int ip, char* buf, int size) { return Format(ip, buf, size); }
    // Appends the same text.
    int Print(CTString& text) const;
    // The same text to standard output.
    int Print() const;

    bool operator==(const CIPv4Addr& other) const = default;
    static bool IsBroadcast(unsigned int ip) { return ip == 0xFFFFFFFF; }
    static bool IsZero(unsigned int ip) { return ip == 0; }

    // Whether the text is made of digits and exactly three dots; nothing else is tested.
    static bool VerifyIPString(const char* text);
    // The parts between dots, each shifted in by 8 bits; an empty part counts as 0, a part above
    // 255 spills into the octet above it. Precondition: VerifyIPString accepted the text.
    static unsigned int StrIpToInt(const char* text);

  private:
    uint32_t m_ip = 0;
};

constexpr int kIPv6AddrSize = 16;

// Sixteen bytes in wire order.
struct __attribute__((packed)) tsdw_ipv6_addr {
    uint8_t bytes[kIPv6AddrSize];
};
static_assert(sizeof(tsdw_ipv6_addr) == kIPv6AddrSize);

class CIPv6Addr {
  public:
    // All zero.
    CIPv6Addr() = default;
    explicit CIPv6Addr(const tsdw_ipv6_addr* addr) { Set(addr); }

    int Set(const tsdw_ipv6_addr* addr);
    const tsdw_ipv6_addr* GetAddr() const { return &m_addr; }

    // Appends eight groups of four lower-case digits, zero groups not shortened.
    int Print(CTString& text) const { return Print(&m_addr, text); }
    static int Print(const tsdw_ipv6_addr* addr, CTString& text);
    int Print() const;

  private:
    tsdw_ipv6_addr m_addr = {};
};
