#pragma once

#include <cstdint>

#include "base/pvu_string.h"
#include "inet/tnet_ether.h"

//   0       1       2       3
// +-------+-------+-------+-------+
// |  IPv4 address (network order) |  0
// +-------+-------+-------+-------+
// |  MAC address                  |  4
// +               +-------+-------+
// |               |  closing      |  8
// +-------+-------+-------+-------+
//
// The two closing bytes complete the record and take part in comparisons.
struct __attribute__((packed)) tnet_ethipv4_addr {
    uint32_t ip;
    tnet_ether_addr mac;
    uint8_t closing[2];
};
static_assert(sizeof(tnet_ethipv4_addr) == 12);

// A view over an IPv4-and-MAC record. A new one owns a zeroed record; Attach points it at a
// caller's, which must outlive the view.
class CEthIPv4Addr {
  public:
    CEthIPv4Addr() : m_own(), m_ptr(&m_own) {}
    CEthIPv4Addr(const CEthIPv4Addr&) = delete;
    CEthIPv4Addr& operator=(const CEthIPv4Addr&) = delete;

    // 1, or 0 for null, which leaves the view unchanged.
    int Attach(tnet_ethipv4_addr* record);

    // Host byte order; 0 when the view points nowhere.
    uint32_t GetIPv4Addr() const;
    void SetIPv4Addr(uint32_t ip);
    // The MAC bytes in the record; null when the view points nowhere.
    tnet_ether_addr* GetEtherAddr() const { return m_ptr ? &m_ptr->mac : nullptr; }
    void SetEtherAddr(const tnet_ether_addr* addr);
    void SetEtherAddr(const unsigned char* bytes);
    // All 12 bytes.
    void Zero();
    // Copies 12 bytes into the viewed record; null does nothing.
    void Copy(const tnet_ethipv4_addr* record);

    // Equal when the address words are and the eight bytes behind them.
    bool operator==(const CEthIPv4Addr& other) const { return IsSame(m_ptr, other.m_ptr); }
    bool operator==(const tnet_ethipv4_addr& record) const { return IsSame(m_ptr, &record); }
    // The same rule; false if either is null.
    static bool IsSame(const tnet_ethipv4_addr* a, const tnet_ethipv4_addr* b);
    // Not the rule above, on purpose: 1 only when the address words differ while the eight bytes
    // behind them are equal; 0 for null.
    int IsSame(const tnet_ethipv4_addr* record) const;
    // 1 for the same object, otherwise the rule of IsSame(record).
    int IsSame(const CEthIPv4Addr& other) const { return IsSame(&other); }
    int IsSame(const CEthIPv4Addr* other) const;

    // Appends "ip=ADDRESS,mac=ADDRESS"; the length appended, 0 when the view points nowhere.
    int Print(CTString& text) const;
    // The same to standard output.
    int Print() const;

  private:
    tnet_ethipv4_addr m_own;
    tnet_ethipv4_addr* m_ptr;
};
