#include "tcr/announcer.h"

#include <utility>

#include "base/pvu_string.h"
#include "inet/tnet_byteorder.h"
#include "sstp/sstp_add_router.h"
#include "tcr/announcement_message.h"
#include "tcr/next_announcement.h"

void TcrAnnouncer::Advance(TcrSubnet& subnet, int slot, TcrTime now) {
    Advance(subnet, subnet.Roster(), slot, now);
}

void TcrAnnouncer::AdvanceAll(TcrSubnet& subnet, TcrTime now) {
    TcrRoster roster = subnet.Roster();
    for (int slot = 0; slot < kTcrSlots; ++slot)
        Advance(subnet, roster, slot, now);
}

void TcrAnnouncer::Advance(TcrSubnet& subnet, const TcrRoster& roster, int slot, TcrTime now) {
    TcrSession& session = subnet.sessions[slot];
    TcrTopology& topology = session.topology;
    if (session.presence != TcrPresence::kLoggedIn || !session.settled) return;
    if (topology.pending.active) {
        if (now - topology.pending.sent_at >= kRepeatMs) SendAgain(subnet, slot, now);
        return;
    }
    if (topology.stalled) return;
    topology.Elapse(roster, subnet.Identifier(slot), now);
    if (now < topology.not_before) return;
    TcrAnnouncement next = tcr_next_announcement(roster, topology, slot, now);
    if (next.sub_type != 0) Start(subnet, roster, slot, std::move(next), now);
}

void TcrAnnouncer::Start(TcrSubnet& subnet, const TcrRoster& roster, int slot, TcrAnnouncement next,
                         TcrTime now) {
    TcrSession& session = subnet.sessions[slot];
    TcrTopology& topology = session.topology;
    bool all = next.devices.size() == roster.entries[next.slot].devices.size();
    if (next.sub_type == kSstpCmmAddDevice && all) topology.Refreshed(next.slot, now);
    next.seq = topology.NextSeq();
    topology.pending = TcrPendingAnnouncement();
    topology.pending.active = true;
    topology.pending.what = next;
    topology.pending.datagrams.push_back(Datagram(subnet, slot, next));
    topology.Sent(next, roster);
    if (next.sub_type == kSstpCmmAddRouter && !next.devices.empty()) {
        next.sub_type = kSstpCmmAddDevice;
        next.ahead = true;
        next.seq = topology.NextSeq();
        topology.pending.datagrams.push_back(Datagram(subnet, slot, next));
        topology.Sent(next, roster);
    }
    SendPending(session, now);
}

std::vector<uint8_t> TcrAnnouncer::Datagram(const TcrSubnet& subnet, int slot,
                                            const TcrAnnouncement& what) {
    uint32_t dst = subnet.Identifier(slot);
    uint32_t about = subnet.Identifier(what.slot);
    const CTSdwanRouter* router = subnet.Router(what.slot);
    switch (what.sub_type) {
        case kSstpCmmAddRouter:
            if (!router) return {};
            return tcr_add_router_message(dst, what.seq, *router);
        case kSstpCmmDelRouter:
            return tcr_del_router_message(dst, what.seq, about);
        case kSstpCmmAddDevice:
            return tcr_add_device_message(dst, what.seq, about, what.devices);
        case kSstpCmmDelDevice:
            return tcr_del_device_message(dst, what.seq, about, what.devices);
        default:
            return {};
    }
}

void TcrAnnouncer::SendPending(TcrSession& session, TcrTime now) {
    TcrPendingAnnouncement& pending = session.topology.pending;
    pending.sent_at = now;
    pending.sent_us = m_link.Micros();
    for (const std::vector<uint8_t>& datagram : pending.datagrams) {
        if (datagram.empty()) continue;
        m_link.Send(session.path, datagram.data(), static_cast<int>(datagram.size()));
    }
}

void TcrAnnouncer::SendAgain(TcrSubnet& subnet, int slot, TcrTime now) {
    TcrSession& session = subnet.sessions[slot];
    if (session.topology.pending.repeats >= kMaxRepeats) {
        GiveUp(subnet, slot);
        return;
    }
    ++session.topology.pending.repeats;
    SendPending(session, now);
}

void TcrAnnouncer::GiveUp(TcrSubnet& subnet, int slot) {
    TcrTopology& topology = subnet.sessions[slot].topology;
    topology.pending.active = false;
    topology.stalled = true;
    CTString line;
    line.Append("edge 0x%08x does not acknowledge, left alone until its next heartbeat",
                subnet.Identifier(slot));
    m_link.Tell(line.c_str());
}

// What was sent more than once does not tell which of them is answered.
void TcrAnnouncer::NoteRoundTrip(TcrSession& session) {
    const TcrPendingAnnouncement& pending = session.topology.pending;
    if (pending.repeats == 0) session.round_trip_us = m_link.Micros() - pending.sent_us;
}

bool TcrAnnouncer::Acknowledge(TcrSubnet& subnet, int slot, CTSstpMessage& ack, int body,
                               TcrTime now) {
    TcrTopology& topology = subnet.sessions[slot].topology;
    const TcrAnnouncement& what = topology.pending.what;
    bool expected =
        topology.pending.active && ack.GetSubType() == what.sub_type && ack.GetSeq() == what.seq;
    // The edge's table may have to grow first: the next attempt can succeed.
    bool refused = ack.GetSubType() == kSstpCmmAddRouter &&
                   (body < static_cast<int>(sizeof(sstp_add_router_ack)) ||
                    tnet_load32(ack.GetDataPtr()) != 0);
    if (expected && refused) {
        SendAgain(subnet, slot, now);
        return true;
    }
    if (expected) {
        NoteRoundTrip(subnet.sessions[slot]);
        topology.Acknowledged();
    } else if (!topology.AcknowledgedAgain(ack.GetSubType(), ack.GetSeq(), now)) {
        return false;
    }
    Advance(subnet, slot, now);
    return true;
}
