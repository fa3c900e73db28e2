#include "tcr/state_check.h"

#include <map>
#include <set>

#include "base/pvu_text_field.h"
#include "sdwan/sdwan_device.h"
#include "sdwan/sdwan_device_list.h"
#include "tcr/tcr_network.h"
#include "tcr/topology.h"

namespace {

constexpr int64_t kLatestHeard =
    int64_t{1} << 40;  // seconds: some 35,000 years; a clock may begin before 1970

bool IsText(const std::string& text) {
    return text.size() <= kTextFieldSize && text.find('\0') == std::string::npos;
}

// What one subnet has given away.
struct Subnet {
    const TcrSubnetRecord* record;
    std::set<int> slots = {};
    std::set<uint32_t> serials = {};
    std::map<uint32_t, int> holders = {};  // slot of the edge that has the address

    bool IsHostAddr(uint32_t ip) const {
        return tcr_is_host_addr(ip, record->gateway, record->mask);
    }
    // False when another edge has it.
    bool Hold(uint32_t ip, int slot) { return holders.emplace(ip, slot).first->second == slot; }
};

class Check {
  public:
    explicit Check(std::string& fault) : m_fault(fault) {}

    bool Add(const TcrSubnetRecord& subnet);
    bool Add(const TcrEdgeRecord& edge);

  private:
    bool Fault(const std::string& where, const char* reason) {
        m_fault = where + ": " + reason;
        return false;
    }
    bool CheckDevices(const TcrEdgeRecord& edge, const std::string& where, Subnet& subnet);

    std::string& m_fault;
    std::map<int, Subnet> m_subnets;
    std::set<std::string> m_names;
};

bool Check::Add(const TcrSubnetRecord& subnet) {
    std::string where = "subnet " + std::to_string(subnet.index);
    if (subnet.index < 0 || subnet.index >= kTcrMaxSubnets) return Fault(where, "no such index");
    if (!m_subnets.emplace(subnet.index, Subnet{&subnet}).second) {
        return Fault(where, "duplicate index");
    }
    if (subnet.name.empty() || !IsText(subnet.name)) return Fault(where, "wrong name");
    if (!m_names.insert(subnet.name).second) return Fault(where, "duplicate name");
    if (const char* fault = tcr_mask_fault(subnet.mask)) return Fault(where + ": mask", fault);
    const char* fault = tcr_gateway_fault(subnet.gateway, subnet.mask);
    return fault ? Fault(where + ": gateway", fault) : true;
}

bool Check::Add(const TcrEdgeRecord& edge) {
    std::string where =
        "subnet " + std::to_string(edge.subnet) + " slot " + std::to_string(edge.slot);
    auto found = m_subnets.find(edge.subnet);
    if (found == m_subnets.end()) return Fault(where, "no such subnet");
    Subnet& subnet = found->second;
    if (edge.slot < 0 || edge.slot >= kTcrSlots) return Fault(where, "no such slot");
    if (!subnet.slots.insert(edge.slot).second) return Fault(where, "duplicate slot");
    if (!subnet.serials.insert(edge.serial).second) return Fault(where, "duplicate serial number");
    if (!IsText(edge.label)) return Fault(where, "wrong label");
    if (edge.presence < TcrPresence::kAbsent || edge.presence > TcrPresence::kSilent) {
        return Fault(where, "wrong presence");
    }
    if (edge.heard < -kLatestHeard || edge.heard > kLatestHeard) return Fault(where, "wrong time");
    if (edge.lease != 0) {
        if (!subnet.IsHostAddr(edge.lease)) return Fault(where, "lease outside the subnet");
        if (!subnet.Hold(edge.lease, edge.slot)) return Fault(where, "duplicate lease");
    }
    return CheckDevices(edge, where, subnet);
}

bool Check::CheckDevices(const TcrEdgeRecord& edge, const std::string& where, Subnet& subnet) {
    if (edge.devices.size() > CTSdwanDeviceList::kMaxDevices) {
        return Fault(where, "too many devices");
    }
    std::set<uint32_t> own;
    for (const TcrDeviceRecord& device : edge.devices) {
        if (!subnet.IsHostAddr(device.ip)) return Fault(where, "device outside the subnet");
        if (!own.insert(device.ip).second || !subnet.Hold(device.ip, edge.slot)) {
            return Fault(where, "duplicate device");
        }
        if (device.status > kDeviceStatusIdle) return Fault(where, "wrong status of a device");
    }
    return true;
}

}  // namespace

bool tcr_state_check(const TcrStateImage& image, std::string& fault) {
    Check check(fault);
    for (const TcrSubnetRecord& subnet : image.subnets) {
        if (!check.Add(subnet)) return false;
    }
    for (const TcrEdgeRecord& edge : image.edges) {
        if (!check.Add(edge)) return false;
    }
    return true;
}
