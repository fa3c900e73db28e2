#include "tcr/peer_view.h"

void TcrPeerView::Forget() {
    *this = TcrPeerView();
    may_know = true;
    unknown = true;
    confirm_at = kTcrTimeUnset;
}

void TcrPeerView::StartAnew() {
    TcrPeerView fresh;
    fresh.announced_devices = announced_devices;
    fresh.commanded_version = commanded_version;
    bool under_way = commanded_version != 0 || !announced_devices.empty() || confirm_at != 0;
    fresh.confirm_at = under_way ? kTcrTimeUnset : 0;
    *this = fresh;
}

void TcrPeerView::MayKnow(const TcrDevices& devices) {
    tcr_unite(may_devices, devices);
    if (may_devices.size() <= kMaxDevices) return;
    may_devices.clear();
    unknown = true;
}

void TcrPeerView::Announced(const TcrDevices& devices) {
    MayKnow(devices);
    tcr_unite(announced_devices, devices);
    if (announced_devices.size() <= kMaxDevices) return;
    announced_devices.erase(announced_devices.begin(),
                            announced_devices.end() - static_cast<ptrdiff_t>(kMaxDevices));
}

bool TcrPeerView::MayHold(uint32_t ip) const {
    return unknown || tcr_contains_address(may_devices, ip) ||
           tcr_contains_address(announced_devices, ip);
}

void TcrPeerView::DoubtAddressesOf(const TcrPeerView& other) {
    std::erase_if(sure_devices, [&](const TcrDevice& device) { return other.MayHold(device.ip); });
}

void TcrPeerView::DoubtRouter() {
    may_know = true;
    sure_version = 0;
}
