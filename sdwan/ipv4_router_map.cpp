#include "sdwan/ipv4_router_map.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <new>
#include <utility>

#include "inet/tnet_ip.h"

namespace {

constexpr int kPrintCapacity = 1024;

}  // namespace

std::unique_ptr<CTIPv4RouterMap::Entry[]> CTIPv4RouterMap::NewEntries(int n) {
    return std::unique_ptr<Entry[]>(new (std::nothrow) Entry[static_cast<size_t>(n)]());
}

int CTIPv4RouterMap::Create(int n) {
    if (n < 1) n = kGrowth;
    std::unique_ptr<Entry[]> entries = NewEntries(n);
    if (!entries) return 0;
    m_entries = std::move(entries);
    m_count = 0;
    m_capacity = n;
    return 1;
}

void CTIPv4RouterMap::Destroy() {
    m_entries = nullptr;
    m_capacity = 0;
    m_count = 0;
}

int CTIPv4RouterMap::Resize() {
    std::unique_ptr<Entry[]> entries = NewEntries(m_capacity + kGrowth);
    if (!entries) return 0;
    std::copy(Begin(), End(), entries.get());
    m_entries = std::move(entries);
    m_capacity += kGrowth;
    return 1;
}

void CTIPv4RouterMap::Swap(CTIPv4RouterMap& other) {
    std::swap(m_capacity, other.m_capacity);
    std::swap(m_count, other.m_count);
    std::swap(m_entries, other.m_entries);
}

CTIPv4RouterMap::Entry* CTIPv4RouterMap::LowerBound(uint32_t ip) const {
    return std::lower_bound(Begin(), End(), ip,
                            [](const Entry& entry, uint32_t key) { return entry.ip < key; });
}

int CTIPv4RouterMap::Map(unsigned int ip, unsigned short router) {
    Entry* entry = LowerBound(ip);
    int position = static_cast<int>(entry - Begin());
    if (Holds(entry, ip)) return position;
    if (IsFull() && Resize() == 0) return -1;
    entry = Begin() + position;
    std::move_backward(entry, End(), End() + 1);
    *entry = {ip, router};
    ++m_count;
    return position;
}

int CTIPv4RouterMap::UnMap(unsigned int ip) {
    Entry* entry = LowerBound(ip);
    if (!Holds(entry, ip)) return 0;
    std::move(entry + 1, End(), entry);
    --m_count;
    return 0;
}

int CTIPv4RouterMap::UnMap(unsigned short router) {
    Entry* end = std::remove_if(Begin(), End(),
                                [router](const Entry& entry) { return entry.router == router; });
    m_count = static_cast<int>(end - Begin());
    return 0;
}

int CTIPv4RouterMap::GetRouterIndex(unsigned int ip) const {
    const Entry* entry = LowerBound(ip);
    return Holds(entry, ip) ? entry->router : -1;
}

int CTIPv4RouterMap::Print(CTString& text) const {
    for (int i = 0; i < m_count; ++i) {
        const Entry& entry = m_entries[static_cast<size_t>(i)];
        CTString ip;
        CIPv4Addr(entry.ip).Print(ip);
        text.Append("    %d. ip=%s, router=%d\n", i, ip.c_str(), entry.router);
    }
    return text.GetLength();
}

int CTIPv4RouterMap::Print() const {
    CTString text(kPrintCapacity);
    Print(text);
    return printf("%s\n", text.c_str());
}
