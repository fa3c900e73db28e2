#include "forward/peer_traffic.h"

namespace {

CTTraffic Since(const CTTraffic& base, const CTTraffic& count) {
    return {count.packets - base.packets, count.bytes - base.bytes};
}

}  // namespace

void CTPeerTraffic::Assign(uint32_t identifier, uint32_t serial) {
    int slot = SlotOf(identifier);
    if (slot == kOther) return;
    CTMutexGuard guard(m_mutex);
    Holder& holder = m_holders[static_cast<size_t>(slot)];
    if (holder.is_known && holder.serial == serial) return;
    holder = {true, serial, {m_sent.Get(slot), m_received.Get(slot)}};
}

CTPeerTraffic::Counts CTPeerTraffic::Get(int slot) const {
    CTMutexGuard guard(m_mutex);
    const Counts& base = m_holders[static_cast<size_t>(slot)].base;
    return {Since(base.sent, m_sent.Get(slot)), Since(base.received, m_received.Get(slot))};
}
