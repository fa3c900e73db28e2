#pragma once

#include "base/pvu_string.h"
#include "sdwan/sdwan_subnet.h"
#include "sdwan/slot_table.h"

// Subnets by name, all owned by the list, for a node that manages many. A subnet's slot is its
// index and the upper half of its routers' identifiers. Grows by half, up to 65536 slots. No lock,
// see CTSdwanSubnet.
class CTSdwanSubnetList : public CTSlotTable<CTSdwanSubnet> {
  public:
    static constexpr int kDefaultSlots = 64;
    static constexpr int kMaxSubnets = 65536;

    CTSdwanSubnetList() : CTSdwanSubnetList(kDefaultSlots) {}
    explicit CTSdwanSubnetList(int slots) { Create(slots); }

    // n empty slots and count 0; subnets present so far go. The other way about than the model's
    // other containers: 0 on success, 1, with nothing changed, when that fails.
    int Create(int n);
    // Destroys the subnets and the slots.
    void Destroy() { Free(); }
    // Makes room for more when the list is full, by half the capacity and at least one slot. 1, or
    // 0 when it cannot grow.
    int Resize();

    // The lowest slot with a subnet of that name, or -1; -1 for null.
    int Find(const char* name) const;
    // The subnet of that name, or a new one in the lowest free slot, without a password. Null for
    // a null name and without memory, and when the list is full: that call grows the list, so that
    // the next one succeeds, unless it can no longer grow.
    CTSdwanSubnet* Append(const char* name);
    // Destroys the subnet, if there is one, with all it holds. 0 in every case.
    int Remove(const char* name) { return Remove(Find(name)); }
    int Remove(int index);

    // The subnet, and its router, that the router identifier names; null when there is none.
    CTSdwanSubnet* GetSubNet(unsigned int identifier) const;
    CTSdwanRouter* GetRouter(unsigned int identifier) const;

    // Appends a banner and each slot below the count, numbered from 1; the text's new length.
    int Print(CTString& text) const;
    // The same to standard output, with no newline added; returns the text's length.
    int Print() const;
};
