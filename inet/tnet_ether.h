#pragma once

#include <cstdint>

#include "base/pvu_string.h"

// Ethernet (MAC) addresses. Operations that can fail on an argument return 0 for success and 1
// for a null pointer or a zero buffer size.

constexpr int kEtherAddrSize = 6;

// Six bytes in wire order: the form of a MAC address in every record and message.
struct __attribute__((packed)) tnet_ether_addr {
    uint8_t bytes[kEtherAddrSize];
};
static_assert(sizeof(tnet_ether_addr) == kEtherAddrSize);

// Precondition of the functions: no argument is null.
int tnet_is_zero_ether_addr(const tnet_ether_addr* addr);
int tnet_is_same_ether_addr(const tnet_ether_addr* a, const tnet_ether_addr* b);
int tnet_is_broadcast_ether_addr(const tnet_ether_addr* addr);
// Source first.
void tnet_ether_addr_copy(const tnet_ether_addr* src, tnet_ether_addr* dst);
// Parses "8E:10:45:38:32:28" or "8e10:4538:3228": 0, or -1 for any other text, when the bytes at
// addr may already be partly written.
int tnet_ether_unformat_addr(const char* text, tnet_ether_addr* addr);

class CEtherAddr {
  public:
    // The bytes are not cleared: call SetZero where that matters.
    CEtherAddr() {}
    explicit CEtherAddr(const tnet_ether_addr* addr) { Set(addr); }
    explicit CEtherAddr(const char* text) { UnFormat(text); }

    int Set(uint8_t b0, uint8_t b1, uint8_t b2, uint8_t b3, uint8_t b4, uint8_t b5);
    int Set(const tnet_ether_addr* addr);
    int Set(const unsigned char* bytes);
    int Set(const char* text) { return UnFormat(text); }
    // A random unicast, locally administered address; 0.
    int SetRandom();
    void SetZero() { SetZero(&m_addr); }
    // The static forms do nothing for null.
    static void SetZero(tnet_ether_addr* addr);
    static void SetBroadcast(tnet_ether_addr* addr);

    // "%02X:%02X:%02X:%02X:%02X:%02X", cut to the buffer.
    int Format(char* buf, int size) const { return Format(&m_addr, buf, size); }
    static int Format(const tnet_ether_addr* addr, char* buf, int size);
    int Print(char* buf, int size) const { return Format(buf, size); }
    static int Print(const tnet_ether_addr* addr, char* buf, int size) {
        return Format(addr, buf, size);
    }
    // Appends the same text.
    int Print(CTString& text) const { return Print(&m_addr, text); }
    static int Print(const tnet_ether_addr* addr, CTString& text);
    // The same text to standard output.
    int Print() const;

    // 1 for null, otherwise the result of tnet_ether_unformat_addr.
    int UnFormat(const char* text) { return UnFormat(&m_addr, text); }
    static int UnFormat(tnet_ether_addr* addr, const char* text);

    // Null is unequal.
    bool operator==(const CEtherAddr& other) const { return *this == &other.m_addr; }
    bool operator==(const tnet_ether_addr* addr) const;
    static bool IsSame(const tnet_ether_addr* a, const tnet_ether_addr* b);
    bool IsZero() const { return IsZero(&m_addr); }
    static bool IsZero(const tnet_ether_addr* addr);
    bool IsBroadcast() const { return IsBroadcast(&m_addr); }
    static bool IsBroadcast(const tnet_ether_addr* addr);
    // Does nothing if either is null.
    static void Copy(tnet_ether_addr* dst, const tnet_ether_addr* src);

    tnet_ether_addr* GetAddr() { return &m_addr; }
    const tnet_ether_addr* GetAddr() const { return &m_addr; }
    const uint8_t* GetBytes() const { return m_addr.bytes; }

  private:
    tnet_ether_addr m_addr;
};
