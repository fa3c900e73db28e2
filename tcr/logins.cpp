#include "tcr/logins.h"

#include <string>
#include <utility>
#include <vector>

#include "base/pvu_text_field.h"
#include "sstp/sstp_error.h"
#include "sstp/sstp_logout.h"
#include "tcr/tcr_error.h"
#include "tcr/tcr_text.h"

namespace {

// A login repeated within this time is the same one, whose reply was lost or late.
constexpr TcrTime kSameLoginMs = 5000;
constexpr TcrTime kRefusalLineMs = 1000;

}  // namespace

// 0, or the error to refuse with.
uint32_t TcrLogins::Judge(const TcrPath& from, CTSstpLoginMsg& login, TcrSubnet*& subnet) const {
    subnet = m_core.subnets.Find(pvu_text_field_get(login.GetSubnetName()));
    if (!subnet) return kSstpErrLoginFailed;
    // Whatever its password: it was sent where others can read it, or is not enough.
    if (!subnet->LetsInBy(login.GetSerialNumber(), from.IsSealed(), m_core.link.PeerOf(from))) {
        return kSstpErrSubnetPassword;
    }
    if (pvu_text_field_get(login.GetUserPwd()) != subnet->model.GetSubnetPassword()) {
        return kSstpErrSubnetPassword;
    }
    if (!subnet->LetsIn(login.GetSerialNumber())) return kSstpErrLoginFailed;
    if (CTVersion(login.GetVersion()) < m_core.config.lowest_version) return kSstpErrVersionLow;
    return kTcrErrNone;
}

void TcrLogins::Login(const TcrDatagram& request) {
    CTSstpLoginMsg login;
    CTSstpLoginAck reply;
    if (!m_core.HoldsBody(request.msg, CTSstpLoginMsg::GetContextLength())) return;
    if (!login.Attach(request.buffer) || !reply.Create()) return;
    if (!m_allowance.Allows(request.from.remote.GetIPv4(), request.now)) {
        ++m_core.counters.ignored_logins;
        return;
    }
    TcrEdge edge;
    uint32_t error = Judge(request.from, login, edge.subnet);
    bool resumed = request.from.IsSealed() && request.msg.GetSrc() != kSstpCentralRouter;
    if (error == kTcrErrNone && resumed) return Resume(request, login, edge, reply);
    if (error == kTcrErrNone && !TakeSlot(*edge.subnet, login.GetSerialNumber(), edge.slot)) {
        error = kSstpErrLoginFailed;
    }
    reply.SetError(error);
    if (error != kTcrErrNone) {
        Refuse(request, error);
        return m_core.replies.SendNow(request, reply);
    }
    TcrSession& session = edge.Session();
    reply.SetIdentifier(edge.Identifier());
    bool repeated = session.presence == TcrPresence::kLoggedIn &&
                    session.path.SameRemote(request.from) &&
                    session.login_seq == request.msg.GetSeq() &&
                    request.now - session.login_tick < kSameLoginMs;
    if (!repeated) {
        PrintLogin(edge, request, login);
        StartSession(edge, request);
    }
    session.path.local = request.from.local;
    m_core.link.Keep(session.path);
    m_core.replies.Send(edge, request, reply);
}

// An edge that goes on in a new channel, with the identifier that it has: from the same place after
// an hour or after a restart of the central router, or from another one. It and the others know all
// that they knew; only of another place the others are told. An edge whose session is not there any
// more tried no password: it joins again.
void TcrLogins::Resume(const TcrDatagram& request, CTSstpLoginMsg& login, TcrEdge& edge,
                       CTSstpLoginAck& reply) {
    uint32_t identifier = request.msg.GetSrc();
    edge.slot = CTSdwanSubnet::RouterIDToIndex(identifier);
    bool known = m_core.subnets.OfIdentifier(identifier) == edge.subnet && edge.slot < kTcrSlots &&
                 edge.Router() && edge.Router()->GetSerialNumber() == login.GetSerialNumber() &&
                 edge.Session().presence != TcrPresence::kAbsent && edge.Session().registered &&
                 edge.Session().path.IsSealed();
    reply.SetError(known ? kTcrErrNone : static_cast<uint32_t>(kSstpErrLoginFailed));
    reply.SetIdentifier(known ? identifier : 0);
    // A repeated one changes nothing: its reply was lost.
    bool changes = known && !edge.Session().path.SameRemote(request.from);
    if (changes) ChangeChannel(edge, request);
    if (known) m_core.link.Keep(request.from);
    m_core.replies.SendNow(request, reply);
    if (changes) m_core.announcer.AdvanceAll(*edge.subnet, request.now);
}

void TcrLogins::ChangeChannel(const TcrEdge& edge, const TcrDatagram& request) {
    TcrSession& session = edge.Session();
    bool moved = !(session.path.remote == request.from.remote);
    session.heard_tick = request.now;
    session.earlier_channel = session.path.channel;
    session.earlier_until = request.now + kTcrChannelStaysMs;
    session.path = request.from;
    m_sessions.TakeBack(edge, request.now);
    if (moved && session.listed) m_sessions.List(edge);
    m_core.journal.EdgeNoted(edge);
    m_core.log.EdgeLine(edge, request.now, "sealed anew from %s",
                        tcr_addr_text(request.from.remote).c_str());
}

void TcrLogins::PrintLogin(const TcrEdge& edge, const TcrDatagram& request, CTSstpLoginMsg& login) {
    const TcrSession& session = edge.Session();
    // It was killed and came back, or there are two with its serial number.
    if (session.presence == TcrPresence::kLoggedIn && !session.path.SameRemote(request.from)) {
        if (m_core.log.EdgeLine(edge, request.now, "session moved to %s, was at %s",
                                tcr_addr_text(request.from.remote).c_str(),
                                tcr_addr_text(session.path.remote).c_str())) {
            TcrLog::EdgeEvent(edge, CTEventLevel::kWarning, "edge moved")
                .Add("to", tcr_addr_text(request.from.remote))
                .Log();
        }
    }
    CTVersion version(login.GetVersion());
    m_core.log.EdgeLine(edge, request.now,
                        "logged in from %s, serial 0x%08x, version %d.%d.%d, subnet \"%s\"",
                        tcr_addr_text(request.from.remote).c_str(), login.GetSerialNumber(),
                        version.GetMajor(), version.GetMinor(), version.GetPatch(),
                        tcr_printable(edge.subnet->model.GetName()).c_str());
}

// What the edge knew and where it was is over; its address stays its own.
void TcrLogins::StartSession(const TcrEdge& edge, const TcrDatagram& request) {
    TcrSession& session = edge.Session();
    m_sessions.Unlist(edge, kDeviceStatusOff);
    uint32_t lease = session.lease;
    DropDevicesBut(edge, lease);
    // What was announced to it before may still arrive where it is.
    TcrTopology topology;
    if (session.path.SameRemote(request.from)) topology = std::move(session.topology);
    topology.StartAnew();
    session = TcrSession();
    session.topology = std::move(topology);
    session.lease = lease;
    session.presence = TcrPresence::kLoggedIn;
    session.path = request.from;
    session.login_tick = request.now;
    session.since_tick = request.now;
    session.login_seq = request.msg.GetSeq();
    session.heard_tick = request.now;
    m_core.journal.EdgeChanged(edge);
}

// The slot of the edge with that serial number: the one it had, a free one, or that of the edge
// that has been away longest.
bool TcrLogins::TakeSlot(TcrSubnet& subnet, uint32_t serial, int& slot) {
    CTSdwanRouter* router = subnet.model.AddRouter(serial);
    if (!router) {
        const TcrSession* longest = nullptr;
        for (TcrSession& session : subnet.sessions) {
            if (session.presence == TcrPresence::kLoggedIn) continue;
            if (!longest || session.gone_tick < longest->gone_tick) longest = &session;
        }
        if (!longest) return false;
        int freed = static_cast<int>(longest - subnet.sessions);
        subnet.FreeSlot(freed);
        m_core.journal.EdgeChanged({&subnet, freed});
        router = subnet.model.AddRouter(serial);
    }
    if (!router) return false;
    slot = router->GetIndex();
    return slot < kTcrSlots;
}

// At most one line a second: anybody can send logins.
void TcrLogins::Refuse(const TcrDatagram& request, uint32_t error) {
    m_allowance.Failed(request.from.remote.GetIPv4(), request.now);
    ++m_core.counters.refused_logins;
    if (request.now - m_last_refusal_line < kRefusalLineMs) {
        ++m_refusals_not_shown;
        return;
    }
    m_core.log.Line("login from %s refused, error %u (%llu more not shown)",
                    tcr_addr_text(request.from.remote).c_str(), error,
                    static_cast<unsigned long long>(m_refusals_not_shown));
    CTEvent(CTEventLevel::kWarning, "login refused")
        .Add("from", tcr_addr_text(request.from.remote))
        .Add("error", error)
        .Log();
    m_last_refusal_line = request.now;
    m_refusals_not_shown = 0;
}

void TcrLogins::DropDevicesBut(const TcrEdge& edge, uint32_t kept) {
    std::vector<uint32_t> dropped;
    CTSdwanDeviceList& devices = edge.Router()->GetDeviceList();
    for (int i = 0; i < devices.Count(); ++i) {
        CTSdwanDevice* device = devices.At(i);
        if (device && device->GetIPv4Addr().GetIP() != kept) {
            dropped.push_back(device->GetIPv4Addr().GetIP());
        }
    }
    for (uint32_t ip : dropped)
        edge.subnet->model.DelDevice(edge.Router(), ip);
}

bool TcrLogins::Logout(const TcrEdge& edge, const TcrDatagram& request) {
    CTSstpLogoutAck reply;
    if (!reply.Create()) return true;
    TcrSession& session = edge.Session();
    session.presence = TcrPresence::kAbsent;
    session.gone_tick = request.now;
    session.since_tick = request.now;
    session.registered = false;
    session.topology.pending.active = false;
    m_sessions.Unlist(edge, kDeviceStatusOff);
    m_core.journal.EdgeChanged(edge);
    m_core.replies.SendAndKeep(edge, request, reply);
    if (m_core.log.EdgeLine(edge, request.now, "logged out")) {
        TcrLog::EdgeEvent(edge, CTEventLevel::kNotice, "edge left").Log();
    }
    return true;
}
