#pragma once

#include "base/pvu_string.h"
#include "sdwan/sdwan_router.h"
#include "sdwan/slot_table.h"

// The routers of one subnet, at most 16, all owned by the list. Starts with 4 slots. No lock, see
// CTSdwanSubnet.
class CTSdwanRouterList : public CTSlotTable<CTSdwanRouter> {
  public:
    static constexpr int kMaxRouters = 16;

    CTSdwanRouterList();

    // n empty slots, 8 for an n below 1, at most 16, and count 0; routers present so far go. 1, or
    // 0 with nothing changed without memory.
    int Create(int n);
    // Destroys the routers and the slots.
    void Destroy() { Free(); }
    // Room for grow slots more, cut to the maximum, needed or not. 1; 0 at the maximum already,
    // when fewer slots than are in use would be left, or without memory.
    int Resize(int grow);

    // The lowest slot with that router, or -1.
    int Find(unsigned int serial) const;
    // The router in the slot that the low byte names, or null; the subnet's bits are not looked at.
    CTSdwanRouter* GetRouter(unsigned int identifier) const {
        return At(CTSdwanRouter::GetIndexFromIdentifier(identifier));
    }

    // A new router with that serial number in the lowest free slot, its index set; the caller
    // gives it its identifier. A router that has the serial number already is returned as it is.
    // Null when 16 are there or without memory.
    CTSdwanRouter* Append(unsigned int serial);
    // The router in the slot that the identifier's low byte names: the present one as it is, or a
    // new one with its index set, to which the caller gives identifier and serial number. Null
    // when the slot still lies past the table after one growth step, or without memory. The step
    // is the distance from the capacity rounded up to 8, but 4 for a distance of 0: a slot that
    // lies exactly 8 past the capacity is refused, and the next such call succeeds.
    CTSdwanRouter* Insert(unsigned int identifier);
    // Destroys the router in the slot, with its devices; nothing when there is none.
    void Remove(unsigned int index);

    // Appends each slot below the count, numbered from 1; the text's new length.
    int Print(CTString& text) const;

  private:
    CTSdwanRouter* PutNew(int slot, unsigned int serial);
    bool CoverIndex(int index);
};
