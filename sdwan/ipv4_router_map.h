#pragma once

#include <cstdint>
#include <memory>

#include "base/pvu_string.h"

// Tells behind which router of a subnet an IPv4 address lives: addresses in host order, compared
// as unsigned numbers, and the router's slot in the subnet's router list. The outgress thread
// looks up the destination of every packet here, hence one sorted array and a binary search.
//
// Starts with 64 entries and grows by 64, without a limit of its own. Owned by its subnet; no
// lock, see CTSdwanSubnet.
class CTIPv4RouterMap {
  public:
    static constexpr int kGrowth = 64;

    CTIPv4RouterMap() { Create(kGrowth); }
    CTIPv4RouterMap(const CTIPv4RouterMap&) = delete;
    CTIPv4RouterMap& operator=(const CTIPv4RouterMap&) = delete;

    // An empty map with room for n entries, for 64 when n is below 1. 1, or 0 with nothing changed
    // without memory.
    int Create(int n);
    // Frees the entries; the next Map allocates again.
    void Destroy();
    // Room for 64 entries more. 1, or 0 with nothing changed without memory.
    int Resize();

    // Exchanges the entries with another map.
    void Swap(CTIPv4RouterMap& other);

    bool IsFull() const { return m_count >= m_capacity; }
    bool IsValidIndex(int i) const { return i >= 0 && i < m_count; }
    int Count() const { return m_count; }
    int Capacity() const { return m_capacity; }

    // Maps the address and returns the entry's position, or -1 without memory. An address that is
    // mapped already stays with its router: UnMap it first to move it.
    int Map(unsigned int ip, unsigned short router);
    // Removes one address, or all addresses of one router, as the argument's type says. 0, also
    // when there was none.
    int UnMap(unsigned int ip);
    int UnMap(unsigned short router);
    // The slot of the address's router, or -1.
    int GetRouterIndex(unsigned int ip) const;

    // Appends a line for each entry, numbered from 0; returns the text's new length.
    int Print(CTString& text) const;
    // The same to standard output, with a newline added (alone for an empty map); returns the
    // number of characters written, unlike the model's other print-outs.
    int Print() const;

  private:
    struct Entry {
        uint32_t ip;
        uint16_t router;
    };

    static std::unique_ptr<Entry[]> NewEntries(int n);
    Entry* Begin() const { return m_entries.get(); }
    Entry* End() const { return m_entries.get() + m_count; }
    // The address's entry, or the place where it would stand.
    Entry* LowerBound(uint32_t ip) const;
    bool Holds(const Entry* entry, uint32_t ip) const { return entry != End() && entry->ip == ip; }

    int m_capacity = 0;
    int m_count = 0;
    std::unique_ptr<Entry[]> m_entries;  // ascending by address, each address once
};
