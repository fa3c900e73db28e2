#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "base/pvu_sockaddr.h"
#include "base/pvu_string.h"
#include "sstp/p2p_connect.h"

// The direct connections, in a table indexed by the low 8 bits of the router's identifier. Owns
// them. Filled at start by the main thread; then the ingress thread changes it under the model's
// write lock and the outgress thread reads it under the read lock.
class CTP2pConnectList {
  public:
    static constexpr int kMaxCapacity = 16;
    static constexpr int kInitialCapacity = 4;
    static constexpr int kDefaultCapacity = 8;

    CTP2pConnectList() { Create(kInitialCapacity); }
    CTP2pConnectList(const CTP2pConnectList&) = delete;
    CTP2pConnectList& operator=(const CTP2pConnectList&) = delete;

    // An empty table of n slots (8 for n below 1), at most 16; 1.
    int Create(int n);
    // More slots, at most 16 in all; 1, or 0 when there are 16 already.
    int Resize(int add);
    // Destroys the connections and the table.
    void Destroy();
    // Exchanges the connections with another list.
    void Swap(CTP2pConnectList& other);

    bool IsValidIndex(int i) const { return i >= 0 && i < m_count; }
    bool IsFull() const { return m_count >= m_capacity; }
    // One more than the highest used slot; 0 when empty.
    int Count() const { return m_count; }
    int Capacity() const { return m_capacity; }
    // The slot's connection; null when it is empty or the index not valid.
    CTP2PConnect* At(int i) const;
    // The lowest empty slot below Count, or -1.
    int FindIdle() const;
    CTP2PConnect* GetConnect(uint32_t identifier) const;

    // The connection in the identifier's slot, new or with its address updated; null for an index
    // of 16 or more. The table grows as far as the index needs.
    CTP2PConnect* Insert(uint32_t identifier, const CTSockAddr& addr);
    // Destroys the connection in the slot (an index, not an identifier).
    void Remove(uint32_t index);

    // One line for each slot below Count; the string's length.
    int Print(CTString& text) const;
    // The same under a heading, to standard output.
    int Print() const;

  private:
    int m_count = 0;
    int m_capacity = 0;  // slots in use as the table; 0: there is none
    std::array<std::unique_ptr<CTP2PConnect>, kMaxCapacity> m_slots;
};
