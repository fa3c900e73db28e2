#include "tcr/announcer.h"

#include <algorithm>
#include <iterator>

#include "base/pvu_string.h"
#include "inet/tnet_byteorder.h"
#include "sstp/sstp_add_device.h"
#include "sstp/sstp_add_router.h"
#include "sstp/sstp_del_device.h"
#include "sstp/sstp_del_router.h"
#include "sstp/sstp_device_list.h"

namespace {

using Devices = std::vector<TcrDevice>;

bool Contains(const Devices& devices, const TcrDevice& device) {
    return std::find(devices.begin(), devices.end(), device) != devices.end();
}

// What stands in a and not in b.
Devices Difference(const Devices& a, const Devices& b) {
    Devices result;
    std::copy_if(a.begin(), a.end(), std::back_inserter(result),
                 [&](const TcrDevice& device) { return !Contains(b, device); });
    return result;
}

}  // namespace

void TcrAnnouncer::Advance(TcrSubnet& subnet, int slot, TcrTime now) {
    TcrSession& session = subnet.sessions[slot];
    if (session.presence != TcrPresence::kLoggedIn || !session.settled) return;
    if (session.topology.announcement.active) {
        if (now - session.topology.announcement.sent_tick >= kRepeatMs)
            SendAgain(subnet, slot, now);
        return;
    }
    if (session.topology.stalled) return;
    for (int about = 0; about < kTcrSlots; ++about) {
        if (about == slot || !Choose(subnet, slot, about)) continue;
        session.topology.announcement.sent_tick = now;
        return;
    }
}

// The one next command that the edge needs about the router in that slot; false for none.
bool TcrAnnouncer::Choose(TcrSubnet& subnet, int slot, int about) {
    const TcrSession& other = subnet.sessions[about];
    const TcrPeerView& view = subnet.sessions[slot].topology.views[about];
    if (!other.listed) {
        if (!view.may_know) return false;
        AnnounceRouterEnd(subnet, slot, about);
        return true;
    }
    if (!other.settled) return false;
    if (view.sure_version != other.version) {
        AnnounceRouter(subnet, slot, about);
        return true;
    }
    Devices present = subnet.DevicesOf(about);
    if (Devices gone = Difference(view.may_devices, present); !gone.empty()) {
        AnnounceDeviceEnds(subnet, slot, about, gone);
        return true;
    }
    if (Devices missing = Difference(present, view.sure_devices); !missing.empty()) {
        AnnounceDevices(subnet, slot, about, missing);
        return true;
    }
    return false;
}

void TcrAnnouncer::Start(TcrSubnet& subnet, int slot, CTSstpMessage& msg, int about) {
    TcrSession& session = subnet.sessions[slot];
    if (session.topology.next_seq == 0) session.topology.next_seq = 1;
    msg.SetSeq(session.topology.next_seq++);
    msg.SetSrc(kSstpCentralRouter);
    msg.SetDst(subnet.Identifier(slot));
    TcrAnnouncement& announcement = session.topology.announcement;
    announcement.active = true;
    announcement.sub_type = msg.GetSubType();
    announcement.seq = msg.GetSeq();
    announcement.slot = about;
    announcement.version = subnet.sessions[about].version;
    announcement.devices.clear();
    announcement.bytes.assign(msg.GetBufferPtr(), msg.GetBufferPtr() + msg.GetMessageLength());
    announcement.repeats = 0;
    m_link.Send(session.path, announcement.bytes.data(),
                static_cast<int>(announcement.bytes.size()));
}

void TcrAnnouncer::AnnounceRouter(TcrSubnet& subnet, int slot, int about) {
    CTSstpAddRouterMsg msg;
    CTSdwanRouter* router = subnet.Router(about);
    if (!router || !msg.Create()) return;
    msg.SetRouterType(router->GetType());
    msg.SetNetLayer(router->GetNetLayer());
    msg.SetIdentifier(router->GetIdentifier());
    msg.SetSerialNumber(router->GetSerialNumber());
    msg.SetExtSockAddr(router->GetSstpAddr());
    msg.SetRouterLabel(router->GetLabel());
    subnet.sessions[slot].topology.views[about].may_know = true;
    Start(subnet, slot, msg, about);
}

void TcrAnnouncer::AnnounceRouterEnd(TcrSubnet& subnet, int slot, int about) {
    CTSstpDelRouterMsg msg;
    if (!msg.Create()) return;
    msg.SetIdentifier(subnet.Identifier(about));
    Start(subnet, slot, msg, about);
}

void TcrAnnouncer::AnnounceDevices(TcrSubnet& subnet, int slot, int about, const Devices& devices) {
    CTSstpAddDeviceMsg msg;
    CTSstpGetDeviceAckParamList list;
    if (!msg.Create() || list.Create(static_cast<int>(devices.size())) != 0) return;
    for (const TcrDevice& device : devices) {
        if (!list.Append()) break;
        list.SetStat(kDeviceStatusOn);
        list.SetType(kDeviceTypeIPv4);
        list.SetIPv4Addr(device.ip);
        list.SetEtherAddr(device.mac.bytes);
    }
    msg.SetIdentifier(subnet.Identifier(about));
    msg.FillParamList(list);
    subnet.sessions[slot].topology.views[about].MayKnow(devices);
    Start(subnet, slot, msg, about);
    subnet.sessions[slot].topology.announcement.devices = devices;
}

void TcrAnnouncer::AnnounceDeviceEnds(TcrSubnet& subnet, int slot, int about,
                                      const Devices& devices) {
    CTSstpDelDeviceMsg msg;
    if (!msg.Create()) return;
    std::vector<uint32_t> addrs;
    for (const TcrDevice& device : devices)
        addrs.push_back(htonl(device.ip));
    msg.SetIdentifier(subnet.Identifier(about));
    msg.FillParamList(addrs.data(), static_cast<int>(addrs.size()));
    Start(subnet, slot, msg, about);
    subnet.sessions[slot].topology.announcement.devices = devices;
}

void TcrAnnouncer::SendAgain(TcrSubnet& subnet, int slot, TcrTime now) {
    TcrSession& session = subnet.sessions[slot];
    TcrAnnouncement& announcement = session.topology.announcement;
    if (announcement.repeats >= kMaxRepeats) {
        GiveUp(subnet, slot);
        return;
    }
    ++announcement.repeats;
    announcement.sent_tick = now;
    m_link.Send(session.path, announcement.bytes.data(),
                static_cast<int>(announcement.bytes.size()));
}

void TcrAnnouncer::GiveUp(TcrSubnet& subnet, int slot) {
    TcrSession& session = subnet.sessions[slot];
    session.topology.announcement.active = false;
    session.topology.stalled = true;
    CTString line;
    line.Append("edge 0x%08x does not acknowledge, left alone until its next heartbeat",
                subnet.Identifier(slot));
    m_link.Tell(line.c_str());
}

bool TcrAnnouncer::Acknowledge(TcrSubnet& subnet, int slot, CTSstpMessage& ack, int body,
                               TcrTime now) {
    TcrSession& session = subnet.sessions[slot];
    TcrAnnouncement& announcement = session.topology.announcement;
    bool expected = announcement.active && ack.GetSubType() == announcement.sub_type &&
                    ack.GetSeq() == announcement.seq;
    if (!expected) {
        if (!AcknowledgeAgain(session, ack)) return false;
        Advance(subnet, slot, now);
        return true;
    }
    // The edge's table may have to grow first: the next attempt can succeed.
    bool refused = announcement.sub_type == kSstpCmmAddRouter &&
                   (body < static_cast<int>(sizeof(sstp_add_router_ack)) ||
                    tnet_load32(ack.GetDataPtr()) != 0);
    if (refused) {
        SendAgain(subnet, slot, now);
        return true;
    }
    Apply(session);
    Advance(subnet, slot, now);
    return true;
}

void TcrAnnouncer::Apply(TcrSession& session) {
    TcrAnnouncement& announcement = session.topology.announcement;
    TcrPeerView& view = session.topology.views[announcement.slot];
    announcement.active = false;
    switch (announcement.sub_type) {
        case kSstpCmmAddRouter:
            // The edge puts a fresh router there, without devices.
            view = TcrPeerView();
            view.may_know = true;
            view.sure_version = announcement.version;
            session.topology.acknowledged[session.topology.acknowledged_next] = {announcement.seq,
                                                                                 announcement.slot};
            session.topology.acknowledged_next =
                (session.topology.acknowledged_next + 1) % kTcrSlots;
            break;
        case kSstpCmmDelRouter:
            view = TcrPeerView();
            break;
        case kSstpCmmAddDevice:
            view.SurelyKnows(announcement.devices);
            break;
        case kSstpCmmDelDevice:
            view.may_devices = Difference(view.may_devices, announcement.devices);
            view.sure_devices = Difference(view.sure_devices, announcement.devices);
            break;
        default:
            break;
    }
}

bool TcrAnnouncer::AcknowledgeAgain(TcrSession& session, CTSstpMessage& ack) {
    if (ack.GetSubType() != kSstpCmmAddRouter) return false;
    for (const TcrTopology::Acknowledged& earlier : session.topology.acknowledged) {
        if (earlier.seq == 0 || earlier.seq != ack.GetSeq()) continue;
        session.topology.views[earlier.slot].sure_devices.clear();
        return true;
    }
    return false;
}
