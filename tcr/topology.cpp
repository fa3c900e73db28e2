#include "tcr/topology.h"

#include <algorithm>

#include "base/pvu_random.h"
#include "sstp/sstp_message.h"

namespace {

// Twice the longest time that a network may keep a datagram (the MSL of RFC 9293 is two minutes,
// and was chosen with a wide margin): copies of what was sent before have arrived or are lost.
constexpr TcrTime kLingerMs = 120'000;
constexpr TcrTime kConfirmSpreadMs = 60'000;
constexpr TcrTime kFirstRenewPauseMs = 1'000;
// The edges of a central router that was restarted are not all addressed in one moment.
constexpr TcrTime kRestartSpreadMs = 2'000;

// The same part of the period for the same edge and router, different ones for others.
TcrTime Spread(uint32_t identifier, int slot, TcrTime period) {
    constexpr uint32_t kGoldenRatio = 0x9E3779B1;
    uint32_t key = (identifier << 4 | static_cast<uint32_t>(slot)) * kGoldenRatio;
    return static_cast<TcrTime>(key) * period >> 32;
}

void ElapseView(TcrPeerView& view, TcrTime now) {
    if (view.confirm_at > 0 && now >= view.confirm_at) {
        view.confirm_at = 0;
        view.commanded_version = 0;
        view.MayKnow(view.announced_devices);
        view.announced_devices.clear();
        view.DoubtRouter();
    }
    if (view.renew_at != 0 && now >= view.renew_at) {
        view.renew_at = 0;
        view.renewed_at = now;
        view.renew_pause =
            std::clamp(2 * view.renew_pause, kFirstRenewPauseMs, TcrTopology::kRefreshMs);
        view.DoubtRouter();
    }
}

}  // namespace

void TcrTopology::Forget() {
    *this = TcrTopology();
    for (TcrPeerView& view : views)
        view.Forget();
    // What was sent before the restart carries other numbers, most likely.
    m_next_seq = pvu_rand16();
    not_before = kTcrTimeUnset;
}

void TcrTopology::StartAnew() {
    for (TcrPeerView& view : views)
        view.StartAnew();
    pending = TcrPendingAnnouncement();
    stalled = false;
    not_before = 0;
}

void TcrTopology::Elapse(const TcrRoster& roster, uint32_t identifier, TcrTime now) {
    if (not_before == kTcrTimeUnset) {
        not_before = now + Spread(identifier, 0, kRestartSpreadMs);
    }
    for (int slot = 0; slot < kTcrSlots; ++slot) {
        TcrPeerView& view = views[slot];
        if (view.confirm_at == kTcrTimeUnset) {
            view.confirm_at = now + kLingerMs + Spread(identifier, slot, kConfirmSpreadMs);
        }
        if (!roster.entries[slot].visible) {
            view.refresh_at = 0;
        } else if (view.refresh_at == 0) {
            view.refresh_at = now + Spread(identifier, slot, kRefreshMs);
        }
        ElapseView(view, now);
    }
}

void TcrTopology::Refreshed(int slot, TcrTime now) {
    TcrTime& at = views[slot].refresh_at;
    if (now < at) return;
    at += (1 + (now - at) / kRefreshMs) * kRefreshMs;
}

uint16_t TcrTopology::NextSeq() {
    if (m_next_seq == 0) m_next_seq = 1;
    return m_next_seq++;
}

void TcrTopology::Sent(const TcrAnnouncement& sent, const TcrRoster& roster) {
    ++m_sent;
    m_past[m_next_past] = sent;
    m_next_past = (m_next_past + 1) % kPast;
    TcrPeerView& view = views[sent.slot];
    switch (sent.sub_type) {
        case kSstpCmmAddRouter:
        case kSstpCmmDelRouter:
            SentRouter(sent);
            Contradict(view, roster.entries[sent.slot]);
            break;
        case kSstpCmmAddDevice:
            view.Announced(sent.devices);
            break;
        case kSstpCmmDelDevice:
            DoubtEverywhere(sent.devices);
            Contradict(view, roster.entries[sent.slot]);
            break;
        default:
            break;
    }
}

void TcrTopology::SentRouter(const TcrAnnouncement& sent) {
    TcrPeerView& view = views[sent.slot];
    DoubtAddressesBehind(sent.slot);
    view.sure_version = 0;
    bool added = sent.sub_type == kSstpCmmAddRouter;
    if (added) view.may_know = true;
    uint32_t commanded = added ? sent.version : TcrPeerView::kEndVersion;
    bool other = view.commanded_version != 0 && view.commanded_version != commanded;
    if (other) view.confirm_at = kTcrTimeUnset;
    view.commanded_version = commanded;
}

// What was announced earlier is no longer true: a late copy would bring it back unseen if its
// acknowledgement were lost.
void TcrTopology::Contradict(TcrPeerView& view, const TcrRoster::Entry& present) {
    bool contradicted = std::any_of(
        view.announced_devices.begin(), view.announced_devices.end(),
        [&](const TcrDevice& device) { return !tcr_contains(present.devices, device); });
    if (contradicted) view.confirm_at = kTcrTimeUnset;
}

void TcrTopology::DoubtAddressesBehind(int slot) {
    for (TcrPeerView& view : views)
        view.DoubtAddressesOf(views[slot]);
    views[slot].sure_devices.clear();
}

void TcrTopology::DoubtEverywhere(const TcrDevices& devices) {
    for (TcrPeerView& view : views)
        view.DoubtAddresses(devices);
}

void TcrTopology::Acknowledged() {
    const TcrAnnouncement& done = pending.what;
    TcrPeerView& view = views[done.slot];
    pending.active = false;
    switch (done.sub_type) {
        case kSstpCmmAddRouter:
            // The edge puts a fresh router there, without other devices.
            view.unknown = false;
            view.may_devices = done.devices;
            view.MayKnow(pending.added_late);
            view.sure_version = done.version;
            break;
        case kSstpCmmDelRouter:
            view.may_know = false;
            view.unknown = false;
            view.may_devices.clear();
            view.offered_version = 0;
            break;
        case kSstpCmmAddDevice:
            if (!pending.undone) tcr_unite(view.sure_devices, done.devices);
            break;
        case kSstpCmmDelDevice:
            tcr_erase_addresses(view.may_devices, done.devices);
            view.MayKnow(pending.added_late);
            break;
        default:
            break;
    }
}

bool TcrTopology::AcknowledgedAgain(uint8_t sub_type, uint16_t seq, TcrTime now) {
    const TcrAnnouncement* past = std::find_if(
        std::begin(m_past), std::end(m_past), [&](const TcrAnnouncement& announcement) {
            return announcement.sub_type == sub_type && announcement.seq == seq && seq != 0;
        });
    if (past == std::end(m_past)) return AcknowledgedLongAgo(seq, now);
    TcrPeerView& view = views[past->slot];
    switch (sub_type) {
        case kSstpCmmAddDevice:
            view.MayKnow(past->devices);
            if (past->slot == pending.what.slot) tcr_unite(pending.added_late, past->devices);
            if (past->ahead) return true;
            break;
        case kSstpCmmDelDevice:
            DoubtEverywhere(past->devices);
            pending.undone = true;
            break;
        default:
            DoubtAddressesBehind(past->slot);
            view.may_know = true;
            pending.undone = true;
            break;
    }
    Renew(view, now);
    return true;
}

// What it was about is no longer known, so it may have been about any router.
bool TcrTopology::AcknowledgedLongAgo(uint16_t seq, TcrTime now) {
    uint32_t ago = static_cast<uint16_t>(m_next_seq - seq);
    if (ago == 0 || ago > m_sent) return false;
    for (TcrPeerView& view : views)
        Renew(view, now);
    return true;
}

// At once for the first time, then after pauses that grow: on a road that doubles everything each
// renewal asks for the next.
void TcrTopology::Renew(TcrPeerView& view, TcrTime now) {
    if (view.renew_at != 0) return;
    if (now - view.renewed_at > kRefreshMs) view.renew_pause = 0;
    view.renew_at = std::max(now, view.renewed_at + view.renew_pause);
}
