#include "sstp/p2p_connect_list.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <utility>

#include "sdwan/sdwan_router.h"

namespace {

constexpr int kSlotStep = 8;  // tables grow by whole steps
constexpr int kSmallestGrowth = 4;
constexpr int kPrintCapacity = 1024;

int RoundDownToStep(int n) {
    return n & ~(kSlotStep - 1);
}

}  // namespace

int CTP2pConnectList::Create(int n) {
    Destroy();
    m_capacity = std::min(n > 0 ? n : kDefaultCapacity, kMaxCapacity);
    return 1;
}

int CTP2pConnectList::Resize(int add) {
    if (m_capacity >= kMaxCapacity) return 0;
    m_capacity += std::min(add, kMaxCapacity - m_capacity);
    return 1;
}

void CTP2pConnectList::Destroy() {
    for (std::unique_ptr<CTP2PConnect>& slot : m_slots)
        slot.reset();
    m_count = 0;
    m_capacity = 0;
}

void CTP2pConnectList::Swap(CTP2pConnectList& other) {
    std::swap(m_count, other.m_count);
    std::swap(m_capacity, other.m_capacity);
    std::swap(m_slots, other.m_slots);
}

CTP2PConnect* CTP2pConnectList::At(int i) const {
    return IsValidIndex(i) ? m_slots[static_cast<size_t>(i)].get() : nullptr;
}

int CTP2pConnectList::FindIdle() const {
    for (int i = 0; i < m_count; ++i) {
        if (!At(i)) return i;
    }
    return -1;
}

CTP2PConnect* CTP2pConnectList::GetConnect(uint32_t identifier) const {
    return At(CTSdwanRouter::GetIndexFromIdentifier(identifier));
}

CTP2PConnect* CTP2pConnectList::Insert(uint32_t identifier, const CTSockAddr& addr) {
    int index = CTSdwanRouter::GetIndexFromIdentifier(identifier);
    if (index >= kMaxCapacity) return nullptr;
    if (m_capacity == 0) Create(RoundDownToStep(index + kSlotStep - 1));
    while (index >= m_capacity) {
        int add = RoundDownToStep(index - m_capacity + kSlotStep - 1);
        if (Resize(add < 1 ? kSmallestGrowth : add) == 0) return nullptr;
    }
    std::unique_ptr<CTP2PConnect>& slot = m_slots[static_cast<size_t>(index)];
    if (!slot) slot.reset(new (std::nothrow) CTP2PConnect);
    if (!slot) return nullptr;
    slot->SetIdentifier(identifier);
    slot->SetEndpointAddr(addr);
    m_count = std::max(m_count, index + 1);
    return slot.get();
}

void CTP2pConnectList::Remove(uint32_t index) {
    if (index >= static_cast<uint32_t>(m_count) || !m_slots[index]) return;
    m_slots[index].reset();
    while (m_count > 0 && !m_slots[static_cast<size_t>(m_count) - 1])
        --m_count;
}

int CTP2pConnectList::Print(CTString& text) const {
    for (int i = 0; i < m_count; ++i) {
        if (CTP2PConnect* connect = At(i)) {
            text.Append("    %d. ", i + 1);
            connect->Print(text);
        } else {
            text.Append("    %d. NULL\n", i + 1);
        }
    }
    return text.GetLength();
}

int CTP2pConnectList::Print() const {
    CTString text(kPrintCapacity);
    int length = Print(text);
    printf("P2P connects:\n%s", text.c_str());
    return length;
}
