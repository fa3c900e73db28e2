#pragma once

#include "base/pvu_string.h"
#include "sdwan/sdwan_device.h"
#include "sdwan/slot_table.h"

// The devices of one router, at most 8, all owned by the list. The constructor allocates all 8
// slots, so the list never grows in practice. No lock, see CTSdwanSubnet.
//
// MAC arguments point to 6 bytes in wire order; IPv4 addresses are in host order.
class CTSdwanDeviceList : public CTSlotTable<CTSdwanDevice> {
  public:
    static constexpr int kMaxDevices = 8;

    CTSdwanDeviceList();

    // min(n, 8) empty slots; devices present so far go. The count stays as it is, as far as the
    // slots cover it. 1, or 0 with nothing changed when that fails.
    int Create(int n);
    // Destroys the devices and the slots.
    void Destroy() { Free(); }
    // Destroys the devices and keeps the slots.
    void Reset() { Clear(); }
    // Makes room for one more; 1 also when there is room, 0 at the maximum or without memory.
    int Resize();

    // The lowest slot with that address, or -1; -1 for a null mac.
    int Find(unsigned int ip) const;
    int Find(const unsigned char* mac) const;

    // A new device with these addresses (a random MAC for null), on and of type IPv4, in the
    // lowest free slot. A device that has the address already is returned as it is. Null when 8
    // are there or without memory.
    CTSdwanDevice* Append(unsigned int ip, const unsigned char* mac);
    // Destroys the device in slot i, if there is one. 0 in every case, as for Delete.
    int Remove(int i);
    int Delete(unsigned int ip) { return Remove(Find(ip)); }
    int Delete(const unsigned char* mac) { return Remove(Find(mac)); }

    // Appends a line for each slot below the count, numbered from 1; the text's new length.
    int Print(CTString& text) const;
};
