#include "tcr/sessions.h"

#include "sstp/sstp_heartbeat.h"
#include "tcr/tcr_text.h"

namespace {

constexpr TcrTime kMillisPerSecond = 1000;

}  // namespace

bool TcrSessions::Find(uint32_t identifier, const TcrPath& from, TcrEdge& edge) {
    edge.subnet = m_core.subnets.OfIdentifier(identifier);
    edge.slot = CTSdwanSubnet::RouterIDToIndex(identifier);
    if (!edge.subnet || edge.slot >= kTcrSlots || !edge.Router()) {
        ++m_core.counters.foreign;
        return false;
    }
    const TcrSession& session = edge.Session();
    // Where sealing is required since it logged in, in the open, it has to come again.
    if (!from.IsSealed() && edge.subnet->seal == TcrSeal::kRequired) {
        ++m_core.counters.foreign;
        return false;
    }
    if (from.IsSealed() && from.channel == session.earlier_channel) return true;
    if (session.path.remote.GetPort() == 0 || !session.path.SameRemote(from)) {
        ++m_core.counters.foreign;
        return false;
    }
    uint32_t& local = edge.Session().path.local;
    if (local != from.local) m_core.journal.EdgeNoted(edge);
    local = from.local;  // what it is sent leaves from where it asks now
    return true;
}

void TcrSessions::HeartBeat(const TcrDatagram& datagram) {
    TcrEdge edge;
    CTSstpHeartBeatMsg heartbeat;
    CTSstpHeartBeatAck reply;
    if (datagram.msg.GetSubType() != kSstpInterHeartBeat) {
        ++m_core.counters.wrong;
        return;
    }
    if (!m_core.HoldsBody(datagram.msg, CTSstpHeartBeatMsg::GetContextLength())) return;
    if (!Find(datagram.msg.GetSrc(), datagram.from, edge)) return;
    TcrSession& session = edge.Session();
    if (session.presence == TcrPresence::kAbsent) {
        ++m_core.counters.wrong;
        return;
    }
    if (!heartbeat.Attach(datagram.buffer) || !reply.Create()) return;
    reply.SetTick(heartbeat.GetTick());
    m_core.replies.SendNow(datagram, reply);

    session.heard_tick = datagram.now;
    session.topology.stalled = false;
    TakeBack(edge, datagram.now);
    if (session.registered) Settle(edge, datagram.now);
    m_core.announcer.Advance(*edge.subnet, edge.slot, datagram.now);
}

void TcrSessions::TakeBack(const TcrEdge& edge, TcrTime now) {
    TcrSession& session = edge.Session();
    if (session.presence != TcrPresence::kSilent) return;
    session.presence = TcrPresence::kLoggedIn;
    session.since_tick = now;
    if (session.registered) List(edge);
    m_core.journal.EdgeNoted(edge);
    if (m_core.log.EdgeLine(edge, now, "is back")) {
        TcrLog::EdgeEvent(edge, CTEventLevel::kNotice, "edge back").Log();
    }
}

void TcrSessions::Acknowledgement(const TcrDatagram& datagram) {
    TcrEdge edge;
    if (!Find(datagram.msg.GetSrc(), datagram.from, edge)) return;
    edge.Session().heard_tick = datagram.now;
    if (!m_core.announcer.Acknowledge(*edge.subnet, edge.slot, datagram.msg,
                                      datagram.msg.GetBodyLimit(), datagram.now)) {
        ++m_core.counters.wrong;
    }
}

void TcrSessions::Tick(TcrTime now) {
    m_core.subnets.ForEachEdge([&](const TcrEdge& edge) {
        m_core.log.ReportLeftOut(edge, now);
        if (now >= edge.Session().earlier_until) edge.Session().earlier_channel = TcrPath::kOpen;
        if (edge.Session().presence != TcrPresence::kLoggedIn) return;
        CheckSilence(edge, now);
        CheckSettled(edge, now);
    });
    m_core.subnets.ForEach([&](TcrSubnet& subnet) { m_core.announcer.AdvanceAll(subnet, now); });
}

void TcrSessions::CheckSilence(const TcrEdge& edge, TcrTime now) {
    TcrSession& session = edge.Session();
    // Nothing more is sent to it in the open either.
    bool is_open = edge.subnet->seal == TcrSeal::kRequired && !session.path.IsSealed();
    TcrTime silence = m_core.config.silent_seconds * kMillisPerSecond;
    if (!is_open && now - session.heard_tick < silence) return;
    session.presence = TcrPresence::kSilent;
    session.gone_tick = now;
    session.since_tick = now;
    session.topology.pending.active = false;
    Unlist(edge, kDeviceStatusIdle);
    m_core.journal.EdgeNoted(edge);
    bool told = is_open ? m_core.log.EdgeLine(edge, now, "is in the open, its subnet is sealed now")
                        : m_core.log.EdgeLine(edge, now, "timed out, not heard of for %d s",
                                              m_core.config.silent_seconds);
    if (told) {
        TcrLog::EdgeEvent(edge, CTEventLevel::kWarning, "edge lost").Log();
    }
}

// An edge whose last reply waits to be written is not done with joining.
void TcrSessions::CheckSettled(const TcrEdge& edge, TcrTime now) {
    TcrSession& session = edge.Session();
    if (session.presence != TcrPresence::kLoggedIn || !session.registered || session.unsaved)
        return;
    if (now >= session.settle_tick) Settle(edge, now);
}

void TcrSessions::ReplyLeft(const TcrEdge& edge, TcrTime now) {
    if (edge.Session().registered) edge.Session().settle_tick = now + kTcrSettleMs;
}

void TcrSessions::Settle(const TcrEdge& edge, TcrTime now) {
    TcrSession& session = edge.Session();
    if (session.settled) return;
    session.settled = true;
    session.since_tick = now;
    m_core.journal.EdgeNoted(edge);
    if (m_core.log.EdgeLine(edge, now, "\"%s\" joined",
                            tcr_printable(edge.Router()->GetLabel()).c_str())) {
        TcrLog::EdgeEvent(edge, CTEventLevel::kNotice, "edge joined").Log();
    }
    // At once: the others cannot answer its packets before they know it.
    m_core.announcer.AdvanceAll(*edge.subnet, now);
}

void TcrSessions::Unlist(const TcrEdge& edge, uint16_t device_status) {
    TcrSession& session = edge.Session();
    session.listed = false;
    session.settled = false;
    CTSdwanRouter* router = edge.Router();
    if (!router) return;
    router->SetStatus(kRouterStatusIdle);
    CTSdwanDeviceList& devices = router->GetDeviceList();
    for (int i = 0; i < devices.Count(); ++i) {
        CTSdwanDevice* device = devices.At(i);
        if (device && device->GetStatus() != kDeviceStatusOff) device->SetStatus(device_status);
    }
}

void TcrSessions::List(const TcrEdge& edge) {
    TcrSession& session = edge.Session();
    CTSdwanRouter* router = edge.Router();
    session.listed = true;
    session.version = ++edge.subnet->last_version;
    router->SetStatus(kRouterStatusOnline);
    router->SetSstpAddr(session.path.remote);
    CTSdwanDeviceList& devices = router->GetDeviceList();
    for (int i = 0; i < devices.Count(); ++i) {
        CTSdwanDevice* device = devices.At(i);
        if (device && device->GetStatus() == kDeviceStatusIdle) device->SetStatusOn();
    }
}
