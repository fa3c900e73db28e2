#pragma once

#include <cstdint>

#include "base/pvu_string.h"
#include "base/pvu_text_field.h"
#include "inet/tnet_ether.h"
#include "sdwan/ipv4_router_map.h"
#include "sdwan/sdwan_router_list.h"

// One virtual LAN: its name and addresses, its routers with their devices, and the map from the
// devices' addresses to the routers. An edge has one, owned by the system object: the topology
// of the others, fetched while joining and kept true by the central router's commands. A central
// router keeps many, in a CTSdwanSubnetList.
//
// No class of the model takes a lock. In the edge the two forwarders share one read-write lock
// around this object: the outgress thread reads under it, the ingress thread changes the model
// under it; joining runs before either exists. The central router uses its model from one thread.
//
// A device's address is in the map as long as a router holds the device, provided that devices
// come and go through this class. An address that two routers claim stays with the first, and
// leaves the map as soon as it is deleted at either.
//
// Addresses are in host order; MAC arguments point to 6 bytes in wire order. Routers and devices
// handed out stay the subnet's and live until they are removed or replaced.
class CTSdwanSubnet {
  public:
    // Index 0, identifier 0xFFFF, no name, no password, gateway 192.168.15.5, mask 255.255.255.0.
    CTSdwanSubnet() { Init(); }
    CTSdwanSubnet(const CTSdwanSubnet&) = delete;
    CTSdwanSubnet& operator=(const CTSdwanSubnet&) = delete;

    // ---- The subnet as a whole ----

    // Every value as in a new subnet; routers and map stay. Returns 0.
    int Init();
    // Exchanges everything with another subnet, routers and map included. Takes no memory, so a
    // topology that was fetched beside the one in use takes its place whole.
    void Swap(CTSdwanSubnet& other);

    // Appends the subnet's line and its router list; returns the text's new length.
    int Print(CTString& text) const;
    // The same to standard output, with a newline added; returns the text's length.
    int Print() const;

    // The subnet's slot in its list, and the upper half of its routers' identifiers: set it before
    // AddRouter and GetRouter.
    int GetIndex() const { return m_index; }
    void SetIndex(int index) { m_index = index; }
    unsigned int GetGateway() const { return m_gateway; }
    void SetGateway(unsigned int gateway) { m_gateway = gateway; }
    unsigned int GetNetMask() const { return m_mask; }
    void SetNetMask(unsigned int mask) { m_mask = mask; }
    // Fields of 32 bytes: a longer text is cut, null changes nothing. The getters give terminated
    // text also for a full field.
    const char* GetName() const { return m_name; }
    void SetSubnetName(const char* name) { pvu_text_field_set(m_name, name); }
    const char* GetSubnetPassword() const { return m_password; }
    void SetSubnetPassword(const char* password) { pvu_text_field_set(m_password, password); }
    CTSdwanRouterList& GetRouterList() { return m_routers; }
    const CTSdwanRouterList& GetRouterList() const { return m_routers; }
    CTIPv4RouterMap& GetRouterMap() { return m_map; }
    const CTIPv4RouterMap& GetRouterMap() const { return m_map; }

    // By the whole name, case-sensitive (null never), and by the subnet's own identifier, which is
    // not its index.
    bool IsSame(const char* name) const;
    bool IsSame(unsigned int id) const { return id == m_identifier; }

    // ---- Look-up: of a packet's destination (GetRouterByIPv4Addr), and the central router's ----

    // The two halves of a router's identifier: its slot in the router list, the subnet's index.
    static int RouterIDToIndex(unsigned int identifier) {
        return CTSdwanRouter::GetIndexFromIdentifier(identifier);
    }
    static int GetIndexFromIdentifier(unsigned int identifier) {
        return static_cast<int>(identifier >> kIndexShift);
    }
    // Null for an identifier of another subnet and for an empty slot.
    CTSdwanRouter* GetRouter(unsigned int identifier) const;
    // The router, and its device, to which the map leads; null when it leads nowhere.
    CTSdwanRouter* GetRouterByIPv4Addr(unsigned int ip) const;
    CTSdwanDevice* GetDevice(unsigned int ip) const;
    bool HasRouter(unsigned int serial) const { return m_routers.Find(serial) >= 0; }
    bool HasDevice(unsigned int ip) const { return GetRouterByIPv4Addr(ip) != nullptr; }

    // ---- Changes: routers and devices come and go ----

    // The router with that serial number, a new one if need be, with its identifier set, and its
    // label when that is not null. Null when the subnet is full.
    CTSdwanRouter* AddRouter(unsigned int serial);
    CTSdwanRouter* AddRouter(unsigned int serial, const char* label);
    // The router in the slot that the identifier's low byte names goes, with its devices and their
    // addresses in the map, whatever the identifier's upper half.
    void DelRouter(unsigned int identifier);
    // A fresh router in that slot, in place of any present one; the caller gives it identifier,
    // serial number and the rest. Null where the router list's Insert refuses the slot.
    CTSdwanRouter* ReplaceRouter(unsigned int identifier);

    // Add a device to the router in the slot that the identifier's low byte names, or to the given
    // one of this subnet, and map its address. A device that the router has already is returned as
    // it is. Null for no such router or a full one. A null byte pointer gives a random MAC, a null
    // tnet_ether_addr is refused.
    CTSdwanDevice* AddDevice(unsigned int identifier, unsigned int ip, const unsigned char* mac);
    CTSdwanDevice* AddDevice(CTSdwanRouter* router, unsigned int ip, const unsigned char* mac);
    CTSdwanDevice* AddDevice(unsigned int identifier, unsigned int ip, const tnet_ether_addr* mac);
    CTSdwanDevice* AddDevice(CTSdwanRouter* router, unsigned int ip, const tnet_ether_addr* mac);
    // Unmap the address, even one mapped to another router, and remove that router's device;
    // nothing without a router. The last form takes the router from the map.
    void DelDevice(unsigned int identifier, unsigned int ip);
    void DelDevice(CTSdwanRouter* router, unsigned int ip);
    void DelDevice(unsigned int ip);
    // Takes the addresses of all the router's devices off the map; 0.
    int UnMap(CTSdwanRouter& router);

    // ---- The central router's leases ----

    // An address for a new device, or 0 when none is found: the requested one, if it lies in the
    // subnet and is free or belongs to that MAC (null belongs to nobody); otherwise the first free
    // one from a random place upwards, not wrapping round. That search keeps off the first and
    // last ten host parts, in a subnet too small for it off the first and last one; under a mask
    // with holes it counts on through those, which can lead out of the subnet. Always 0 for a mask
    // without room for hosts. The gateway's address is not kept free. The caller adds the device.
    // The result of a search, and 0, are also printed.
    unsigned int DynamicAllocationIPAddr(unsigned int requested, const unsigned char* mac) const;

  private:
    static constexpr unsigned int kIndexShift = 8;

    CTSdwanDevice* AddDevice(CTSdwanRouter* router, unsigned short slot, unsigned int ip,
                             const unsigned char* mac);
    const CTSdwanDevice* FindHolder(unsigned int ip) const;
    bool CanHave(unsigned int ip, const unsigned char* mac) const;
    unsigned int DrawFreeAddress() const;

    int32_t m_index;
    uint32_t m_identifier;
    CTTextField m_name = {};
    CTTextField m_password = {};
    uint32_t m_gateway;
    uint32_t m_mask;
    CTSdwanRouterList m_routers;
    CTIPv4RouterMap m_map;
};
