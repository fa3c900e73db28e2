#include "tcr/subnet_table.h"

TcrSubnet& TcrSubnetTable::Add(const TcrSubnetConfig& served, int index) {
    if (index < 0) index = LowestFree();
    if (index >= Count()) m_subnets.resize(static_cast<size_t>(index) + 1);
    std::unique_ptr<TcrSubnet>& place = m_subnets[static_cast<size_t>(index)];
    place = std::make_unique<TcrSubnet>(served, index);
    return *place;
}

void TcrSubnetTable::Remove(int index) {
    if (At(index)) m_subnets[static_cast<size_t>(index)] = nullptr;
    while (!m_subnets.empty() && !m_subnets.back())
        m_subnets.pop_back();
}

TcrSubnet* TcrSubnetTable::At(int index) const {
    return index >= 0 && index < Count() ? m_subnets[static_cast<size_t>(index)].get() : nullptr;
}

TcrSubnet* TcrSubnetTable::Find(const std::string& name) const {
    for (const std::unique_ptr<TcrSubnet>& subnet : m_subnets) {
        if (subnet && subnet->model.IsSame(name.c_str())) return subnet.get();
    }
    return nullptr;
}

int TcrSubnetTable::LowestFree() const {
    int index = 0;
    while (At(index))
        ++index;
    return index;
}
