#include "sdwan/sdwan_router_list.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace {

constexpr int kInitialSlots = 4;
constexpr int kDefaultSlots = 8;
constexpr int kAppendGrowth = 8;
constexpr int kSmallestInsertGrowth = 4;

int RoundUpTo8(int n) {
    return (n + 7) & ~7;
}

}  // namespace

CTSdwanRouterList::CTSdwanRouterList() {
    Create(kInitialSlots);
}

int CTSdwanRouterList::Create(int n) {
    if (n <= 0) n = kDefaultSlots;
    return Allocate(std::min(n, kMaxRouters), 0) ? 1 : 0;
}

int CTSdwanRouterList::Resize(int grow) {
    if (Capacity() >= kMaxRouters) return 0;
    return Reallocate(Capacity() + std::min(grow, kMaxRouters - Capacity())) ? 1 : 0;
}

int CTSdwanRouterList::Find(unsigned int serial) const {
    return FindIf([serial](const CTSdwanRouter& router) { return router.IsSame(serial); });
}

CTSdwanRouter* CTSdwanRouterList::Append(unsigned int serial) {
    if (CTSdwanRouter* present = At(Find(serial))) return present;

    int slot = FindIdle();
    if (slot < 0) {
        // A list without slots is full too and gets its first 8 here.
        if (IsFull() && Resize(kAppendGrowth) == 0) return nullptr;
        slot = Count();
    }
    return PutNew(slot, serial);
}

CTSdwanRouter* CTSdwanRouterList::Insert(unsigned int identifier) {
    int index = CTSdwanRouter::GetIndexFromIdentifier(identifier);
    if (!CoverIndex(index)) return nullptr;
    if (CTSdwanRouter* present = At(index)) return present;
    return PutNew(index, 0);
}

// Makes sure of the slots, with one growth step where the index lies beyond them; false when it
// still does.
bool CTSdwanRouterList::CoverIndex(int index) {
    if (!HasSlots() && Create(RoundUpTo8(index)) == 0) return false;
    if (index < Capacity()) return true;
    int grow = RoundUpTo8(index - Capacity());
    if (grow < 1) grow = kSmallestInsertGrowth;
    return Resize(grow) != 0 && index < Capacity();
}

CTSdwanRouter* CTSdwanRouterList::PutNew(int slot, unsigned int serial) {
    std::unique_ptr<CTSdwanRouter> router(new (std::nothrow) CTSdwanRouter);
    if (!router) return nullptr;
    router->SetIndex(slot);
    router->SetSerialNumber(serial);
    return Put(slot, std::move(router));
}

void CTSdwanRouterList::Remove(unsigned int index) {
    if (index < kMaxRouters) Erase(static_cast<int>(index));
}

int CTSdwanRouterList::Print(CTString& text) const {
    for (int i = 0; i < Count(); ++i) {
        const CTSdwanRouter* router = At(i);
        if (!router) {
            text.Append("    %d. NULL\n", i + 1);
            continue;
        }
        text.Append("    %d. ", i + 1);
        router->Print(text);
    }
    return text.GetLength();
}
