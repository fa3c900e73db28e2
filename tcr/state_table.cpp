#include "tcr/state_table.h"

#include <cstring>
#include <map>

#include "base/pvu_text_field.h"
#include "sdwan/sdwan_device_list.h"
#include "tcr/topology.h"

namespace {

constexpr int kIndexShift = 8;
constexpr int64_t kSlotMask = (1 << kIndexShift) - 1;
constexpr int kTextSize = static_cast<int>(kTextFieldSize);
constexpr size_t kMaxEdges = size_t{kTcrMaxSubnets} * kTcrSlots;

int64_t IdentifierOf(int subnet, int slot) {
    return int64_t{subnet} << kIndexShift | slot;
}

std::string_view BytesOf(const tnet_ether_addr& mac) {
    return {reinterpret_cast<const char*>(mac.bytes), kEtherAddrSize};
}

// Reads one table, row by row.
class Reader {
  public:
    Reader(TcrDatabase& database, TcrStateImage& image, std::string& fault)
        : m_database(database), m_image(image), m_fault(fault) {}

    bool Read(const char* table, const char* sql, bool (Reader::*take)());
    bool TakeSubnet();
    bool TakeEdge();
    bool TakeDevice();

  private:
    TcrDatabase& m_database;
    TcrStateImage& m_image;
    std::string& m_fault;
    TcrStatement m_rows;
    std::map<int64_t, size_t> m_places;  // of the edges in the image, by identifier
};

bool Reader::Read(const char* table, const char* sql, bool (Reader::*take)()) {
    int result = m_rows.Prepare(m_database.Handle(), sql) ? SQLITE_ROW : SQLITE_ERROR;
    for (int64_t row = 1; result == SQLITE_ROW; ++row) {
        result = m_rows.Step();
        if (result != SQLITE_ROW || (this->*take)()) continue;
        m_fault = std::string("table ") + table + ": a value of row " + std::to_string(row) +
                  " is out of range";
        return false;
    }
    if (result == SQLITE_DONE) return true;
    m_fault = std::string("table ") + table + ": " + m_database.Reason();
    return false;
}

bool Reader::TakeSubnet() {
    TcrSubnetRecord subnet;
    bool good = m_image.subnets.size() < kTcrMaxSubnets && m_rows.Get(0, subnet.index) &&
                m_rows.Get(1, subnet.name, kTextSize) && m_rows.Get(2, subnet.gateway) &&
                m_rows.Get(3, subnet.mask);
    if (good) m_image.subnets.push_back(subnet);
    return good;
}

bool Reader::TakeEdge() {
    TcrEdgeRecord edge;
    uint32_t identifier = 0;
    uint32_t address = 0;
    uint16_t port = 0;
    uint8_t presence = 0;
    bool good = m_image.edges.size() < kMaxEdges && m_rows.Get(0, identifier) &&
                m_rows.Get(1, edge.serial) && m_rows.Get(2, edge.label, kTextSize) &&
                m_rows.Get(3, edge.type) && m_rows.Get(4, edge.layer) && m_rows.Get(5, address) &&
                m_rows.Get(6, port) && m_rows.Get(7, edge.local) && m_rows.Get(8, edge.lease) &&
                m_rows.Get(9, presence) && m_rows.Get(10, edge.listed) &&
                m_rows.Get(11, edge.registered) && m_rows.Get(12, edge.settled) &&
                m_rows.Get(13, edge.heard) && m_rows.Get(14, edge.sealed);
    if (!good) return false;
    edge.subnet = static_cast<int>(identifier >> kIndexShift);
    edge.slot = static_cast<int>(identifier & kSlotMask);
    edge.remote = CTSockAddr(address, port);
    edge.presence = static_cast<TcrPresence>(presence);
    m_places[identifier] = m_image.edges.size();
    m_image.edges.push_back(edge);
    return true;
}

bool Reader::TakeDevice() {
    TcrDeviceRecord device;
    uint32_t identifier = 0;
    std::string mac;
    bool good = m_rows.Get(0, identifier) && m_rows.Get(1, device.ip) &&
                m_rows.Get(2, mac, kEtherAddrSize) && m_rows.Get(3, device.status);
    auto place = m_places.find(identifier);
    if (!good || mac.size() != kEtherAddrSize || place == m_places.end()) return false;
    memcpy(device.mac.bytes, mac.data(), kEtherAddrSize);
    std::vector<TcrDeviceRecord>& devices = m_image.edges[place->second].devices;
    if (devices.size() >= CTSdwanDeviceList::kMaxDevices) return false;
    devices.push_back(device);
    return true;
}

}  // namespace

bool tcr_state_load(TcrDatabase& database, TcrStateImage& image, std::string& fault) {
    Reader reader(database, image, fault);
    return reader.Read("subnet", "SELECT number, name, gateway, mask FROM subnet ORDER BY number",
                       &Reader::TakeSubnet) &&
           reader.Read("edge",
                       "SELECT identifier, serial, label, type, layer, remote_address, "
                       "remote_port, local_address, lease, presence, listed, registered, "
                       "settled, heard, sealed FROM edge ORDER BY identifier",
                       &Reader::TakeEdge) &&
           reader.Read("device",
                       "SELECT identifier, address, mac, status FROM device "
                       "ORDER BY identifier, place",
                       &Reader::TakeDevice);
}

bool TcrStateTables::Prepare(TcrDatabase& database) {
    sqlite3* handle = database.Handle();
    return m_remove_subnet.Prepare(handle, "DELETE FROM subnet WHERE number = ?") &&
           m_remove_edges.Prepare(handle, "DELETE FROM edge WHERE identifier BETWEEN ? AND ?") &&
           m_remove_devices.Prepare(handle,
                                    "DELETE FROM device WHERE identifier BETWEEN ? AND ?") &&
           m_put_subnet.Prepare(handle,
                                "REPLACE INTO subnet (number, name, gateway, mask) "
                                "VALUES (?, ?, ?, ?)") &&
           m_put_edge.Prepare(handle,
                              "REPLACE INTO edge (identifier, serial, label, type, layer, "
                              "remote_address, remote_port, local_address, lease, presence, "
                              "listed, registered, settled, heard, sealed) "
                              "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)") &&
           m_put_device.Prepare(handle,
                                "REPLACE INTO device (identifier, place, address, mac, status) "
                                "VALUES (?, ?, ?, ?, ?)");
}

bool TcrStateTables::Apply(const TcrStateBatch& batch) {
    for (int index : batch.removed_subnets) {
        if (!m_remove_subnet.Bind(index).Run()) return false;
        if (!RemoveEdges(IdentifierOf(index, 0), IdentifierOf(index, kSlotMask))) return false;
    }
    for (auto [subnet, slot] : batch.removed_edges) {
        if (!RemoveEdges(IdentifierOf(subnet, slot), IdentifierOf(subnet, slot))) return false;
    }
    for (const TcrSubnetRecord& subnet : batch.subnets) {
        if (!Put(subnet)) return false;
    }
    for (const TcrEdgeRecord& edge : batch.edges) {
        if (!Put(edge)) return false;
    }
    return true;
}

bool TcrStateTables::RemoveEdges(int64_t first, int64_t last) {
    return m_remove_edges.Bind(first).Bind(last).Run() &&
           m_remove_devices.Bind(first).Bind(last).Run();
}

bool TcrStateTables::Put(const TcrSubnetRecord& subnet) {
    return m_put_subnet.Bind(subnet.index)
        .Bind(subnet.name)
        .Bind(subnet.gateway)
        .Bind(subnet.mask)
        .Run();
}

bool TcrStateTables::Put(const TcrEdgeRecord& edge) {
    int64_t identifier = IdentifierOf(edge.subnet, edge.slot);
    bool put = m_put_edge.Bind(identifier)
                   .Bind(edge.serial)
                   .Bind(edge.label)
                   .Bind(edge.type)
                   .Bind(edge.layer)
                   .Bind(edge.remote.GetIPv4())
                   .Bind(edge.remote.GetPort())
                   .Bind(edge.local)
                   .Bind(edge.lease)
                   .Bind(static_cast<int64_t>(edge.presence))
                   .Bind(edge.listed)
                   .Bind(edge.registered)
                   .Bind(edge.settled)
                   .Bind(edge.heard)
                   .Bind(edge.sealed)
                   .Run();
    if (!put || !m_remove_devices.Bind(identifier).Bind(identifier).Run()) return false;
    int64_t place = 0;
    for (const TcrDeviceRecord& device : edge.devices) {
        put = m_put_device.Bind(identifier)
                  .Bind(place++)
                  .Bind(device.ip)
                  .Bind(BytesOf(device.mac))
                  .Bind(device.status)
                  .Run();
        if (!put) return false;
    }
    return true;
}
