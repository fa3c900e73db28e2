#include "sdwan/sdwan_subnet.h"

#include <cstdio>
#include <cstring>
#include <utility>

#include "base/pvu_random.h"
#include "inet/tnet_ip.h"

namespace {

constexpr uint32_t kUnassignedIdentifier = 0xFFFF;
constexpr uint32_t kDefaultGateway = 0xC0A80F05;  // 192.168.15.5
constexpr uint32_t kDefaultMask = 0xFFFFFF00;     // 255.255.255.0
constexpr uint32_t kReservedHosts = 10;           // at either end of a subnet
constexpr uint32_t kMaxTries = 4096;
constexpr int kPrintCapacity = 1024;

// Network and broadcast address leave room.
bool HasHosts(uint32_t mask) {
    return ~mask > 1;
}

}  // namespace

int CTSdwanSubnet::Init() {
    m_index = 0;
    m_identifier = kUnassignedIdentifier;
    SetSubnetName("");
    SetSubnetPassword("");
    m_gateway = kDefaultGateway;
    m_mask = kDefaultMask;
    return 0;
}

void CTSdwanSubnet::Swap(CTSdwanSubnet& other) {
    std::swap(m_index, other.m_index);
    std::swap(m_identifier, other.m_identifier);
    std::swap(m_name, other.m_name);
    std::swap(m_password, other.m_password);
    std::swap(m_gateway, other.m_gateway);
    std::swap(m_mask, other.m_mask);
    m_routers.Swap(other.m_routers);
    m_map.Swap(other.m_map);
}

bool CTSdwanSubnet::IsSame(const char* name) const {
    return name && strcmp(name, m_name) == 0;
}

CTSdwanRouter* CTSdwanSubnet::AddRouter(unsigned int serial) {
    CTSdwanRouter* router = m_routers.Append(serial);
    if (!router) return nullptr;
    unsigned int slot = static_cast<unsigned int>(router->GetIndex()) & CTSdwanRouter::kIndexMask;
    router->SetIdentifier(static_cast<unsigned int>(m_index) << kIndexShift | slot);
    return router;
}

CTSdwanRouter* CTSdwanSubnet::AddRouter(unsigned int serial, const char* label) {
    CTSdwanRouter* router = AddRouter(serial);
    if (router) router->SetLabel(label);
    return router;
}

void CTSdwanSubnet::DelRouter(unsigned int identifier) {
    if (CTSdwanRouter* router = m_routers.GetRouter(identifier)) UnMap(*router);
    m_routers.Remove(static_cast<unsigned int>(RouterIDToIndex(identifier)));
}

CTSdwanRouter* CTSdwanSubnet::ReplaceRouter(unsigned int identifier) {
    DelRouter(identifier);
    return m_routers.Insert(identifier);
}

CTSdwanDevice* CTSdwanSubnet::AddDevice(CTSdwanRouter* router, unsigned short slot, unsigned int ip,
                                        const unsigned char* mac) {
    if (!router) return nullptr;
    CTSdwanDevice* device = router->AppendDevice(ip, mac);
    if (device) m_map.Map(ip, slot);
    return device;
}

CTSdwanDevice* CTSdwanSubnet::AddDevice(unsigned int identifier, unsigned int ip,
                                        const unsigned char* mac) {
    int slot = RouterIDToIndex(identifier);
    return AddDevice(m_routers.At(slot), static_cast<unsigned short>(slot), ip, mac);
}

CTSdwanDevice* CTSdwanSubnet::AddDevice(CTSdwanRouter* router, unsigned int ip,
                                        const unsigned char* mac) {
    if (!router) return nullptr;
    return AddDevice(router, static_cast<unsigned short>(router->GetIndex()), ip, mac);
}

CTSdwanDevice* CTSdwanSubnet::AddDevice(unsigned int identifier, unsigned int ip,
                                        const tnet_ether_addr* mac) {
    return mac ? AddDevice(identifier, ip, mac->bytes) : nullptr;
}

CTSdwanDevice* CTSdwanSubnet::AddDevice(CTSdwanRouter* router, unsigned int ip,
                                        const tnet_ether_addr* mac) {
    return mac ? AddDevice(router, ip, mac->bytes) : nullptr;
}

void CTSdwanSubnet::DelDevice(unsigned int identifier, unsigned int ip) {
    DelDevice(m_routers.GetRouter(identifier), ip);
}

void CTSdwanSubnet::DelDevice(CTSdwanRouter* router, unsigned int ip) {
    if (!router) return;
    m_map.UnMap(ip);
    router->DeleteDevice(ip);
}

void CTSdwanSubnet::DelDevice(unsigned int ip) {
    DelDevice(GetRouterByIPv4Addr(ip), ip);
}

int CTSdwanSubnet::UnMap(CTSdwanRouter& router) {
    const CTSdwanDeviceList& devices = router.GetDeviceList();
    for (int i = 0; i < devices.Count(); ++i) {
        if (const CTSdwanDevice* device = devices.At(i)) m_map.UnMap(device->GetIPv4Addr().GetIP());
    }
    return 0;
}

CTSdwanRouter* CTSdwanSubnet::GetRouter(unsigned int identifier) const {
    return GetIndexFromIdentifier(identifier) == m_index ? m_routers.GetRouter(identifier)
                                                         : nullptr;
}

CTSdwanRouter* CTSdwanSubnet::GetRouterByIPv4Addr(unsigned int ip) const {
    return m_routers.At(m_map.GetRouterIndex(ip));
}

CTSdwanDevice* CTSdwanSubnet::GetDevice(unsigned int ip) const {
    const CTSdwanRouter* router = GetRouterByIPv4Addr(ip);
    return router ? router->FindDevice(ip) : nullptr;
}

unsigned int CTSdwanSubnet::DynamicAllocationIPAddr(unsigned int requested,
                                                    const unsigned char* mac) const {
    if (CanHave(requested, mac)) return requested;
    unsigned int ip = DrawFreeAddress();
    CTString text;
    CIPv4Addr(ip).Print(text);
    printf("Dynamic Allocation IP: %s\n", text.c_str());
    return ip;
}

bool CTSdwanSubnet::CanHave(unsigned int ip, const unsigned char* mac) const {
    if (ip == 0 || (ip & m_mask) != (m_gateway & m_mask) || !HasHosts(m_mask)) return false;
    const CTSdwanDevice* holder = FindHolder(ip);
    if (!holder) return true;
    return mac && memcmp(holder->GetEtherAddr().GetBytes(), mac, kEtherAddrSize) == 0;
}

// A device with the address. Asks the routers and not the map, which no longer knows an address
// that two routers held once one of the two devices has gone.
const CTSdwanDevice* CTSdwanSubnet::FindHolder(unsigned int ip) const {
    for (int i = 0; i < m_routers.Count(); ++i) {
        const CTSdwanRouter* router = m_routers.At(i);
        const CTSdwanDevice* device = router ? router->FindDevice(ip) : nullptr;
        if (device) return device;
    }
    return nullptr;
}

unsigned int CTSdwanSubnet::DrawFreeAddress() const {
    uint32_t network = m_gateway & m_mask;
    uint32_t host = ~m_mask;
    uint32_t first = kReservedHosts;
    uint32_t end = host - kReservedHosts;
    if (host <= 2 * kReservedHosts) {
        // Too small for the reserve: everything but the network and the broadcast address, which
        // leaves nothing where there are no others.
        first = 1;
        end = host;
    }
    uint32_t part = pvu_rand32() & host;
    if (part < first || part >= end) part = first;
    // Ends soon in the largest subnet too: each step passes the address of a device, and the
    // routers hold no more than 16 x 8 of them. Only under a mask with holes do many parts give one
    // address.
    for (uint32_t tries = 0; part < end && tries < kMaxTries; ++part, ++tries) {
        uint32_t candidate = network | part;
        if (candidate != network && !FindHolder(candidate)) return candidate;
    }
    return 0;
}

int CTSdwanSubnet::Print(CTString& text) const {
    CTString gateway;
    CTString mask;
    CIPv4Addr(m_gateway).Print(gateway);
    CIPv4Addr(m_mask).Print(mask);
    text.Append("%s net: index=%d, gw=%s, mask=%s, router count=%d\n", m_name, m_index,
                gateway.c_str(), mask.c_str(), m_routers.Count());
    return m_routers.Print(text);
}

int CTSdwanSubnet::Print() const {
    CTString text(kPrintCapacity);
    Print(text);
    printf("%s\n", text.c_str());
    return text.GetLength();
}
