// CTCentralRouter: edges that come and go.

#include <utility>

#include "base/pvu_text_field.h"
#include "sstp/sstp_error.h"
#include "sstp/sstp_login.h"
#include "sstp/sstp_logout.h"
#include "tcr/central_router.h"
#include "tcr/tcr_text.h"

namespace {

// A login repeated within this time is the same one, whose reply was lost or late.
constexpr TcrTime kSameLoginMs = 5000;
constexpr TcrTime kRefusalLineMs = 1000;

}  // namespace

// 0, or the error to refuse with.
uint32_t CTCentralRouter::JudgeLogin(CTSstpLoginMsg& login, TcrSubnet*& subnet) {
    std::string name = pvu_text_field_get(login.GetSubnetName());
    for (std::unique_ptr<TcrSubnet>& served : m_subnets) {
        if (served->model.IsSame(name.c_str())) subnet = served.get();
    }
    if (!subnet) return kSstpErrLoginFailed;
    if (pvu_text_field_get(login.GetUserPwd()) != subnet->model.GetSubnetPassword()) {
        return kSstpErrSubnetPassword;
    }
    if (CTVersion(login.GetVersion()) < m_config.lowest_version) return kSstpErrVersionLow;
    return kTcrErrNone;
}

void CTCentralRouter::Login(const TcrPath& from, CTSstpMessage& msg, TcrTime now) {
    CTSstpLoginMsg login;
    CTSstpLoginAck reply;
    if (!HoldsBody(msg, CTSstpLoginMsg::GetContextLength())) return;
    if (!login.Attach(m_request) || !reply.Create()) return;
    TcrSubnet* subnet = nullptr;
    int slot = 0;
    uint32_t error = JudgeLogin(login, subnet);
    if (error == kTcrErrNone && !TakeSlot(*subnet, login.GetSerialNumber(), slot)) {
        error = kSstpErrLoginFailed;
    }
    reply.SetError(error);
    if (error != kTcrErrNone) {
        RefuseLogin(from, error, now);
        return Reply(from, msg, reply);
    }
    Edge edge{subnet, slot};
    TcrSession& session = edge.Session();
    reply.SetIdentifier(edge.Identifier());
    bool repeated = session.presence == TcrPresence::kLoggedIn && session.path.SameRemote(from) &&
                    session.login_seq == msg.GetSeq() && now - session.login_tick < kSameLoginMs;
    if (!repeated) {
        // It was killed and came back, or there are two with its serial number.
        if (session.presence == TcrPresence::kLoggedIn && !session.path.SameRemote(from)) {
            Tell("edge 0x%08x is no longer listened to at %s", edge.Identifier(),
                 tcr_addr_text(session.path.remote).c_str());
        }
        // What the edge knew and where it was is over; its address stays its own.
        Unlist(edge, kDeviceStatusOff);
        uint32_t lease = session.lease;
        DropDevicesBut(edge, lease);
        // What was announced to it before may still arrive where it is.
        TcrTopology topology;
        if (session.path.SameRemote(from)) topology = std::move(session.topology);
        topology.StartAnew();
        session = TcrSession();
        session.topology = std::move(topology);
        session.lease = lease;
        session.presence = TcrPresence::kLoggedIn;
        session.path = from;
        session.login_tick = now;
        session.login_seq = msg.GetSeq();
        session.heard_tick = now;
        CTVersion version(login.GetVersion());
        Tell("edge 0x%08x logged in from %s, serial 0x%08x, version %d.%d.%d, subnet \"%s\"",
             edge.Identifier(), tcr_addr_text(from.remote).c_str(), login.GetSerialNumber(),
             version.GetMajor(), version.GetMinor(), version.GetPatch(),
             tcr_printable(subnet->model.GetName()).c_str());
    }
    Reply(from, msg, reply);
}

// The slot of the edge with that serial number: the one it had, a free one, or that of the edge
// that has been away longest.
bool CTCentralRouter::TakeSlot(TcrSubnet& subnet, uint32_t serial, int& slot) {
    CTSdwanRouter* router = subnet.model.AddRouter(serial);
    if (!router) {
        const TcrSession* longest = nullptr;
        for (TcrSession& session : subnet.sessions) {
            if (session.presence == TcrPresence::kLoggedIn) continue;
            if (!longest || session.gone_tick < longest->gone_tick) longest = &session;
        }
        if (!longest) return false;
        int freed = static_cast<int>(longest - subnet.sessions);
        subnet.model.DelRouter(subnet.Identifier(freed));
        subnet.sessions[freed] = TcrSession();
        router = subnet.model.AddRouter(serial);
    }
    if (!router) return false;
    slot = router->GetIndex();
    return slot < kTcrSlots;
}

// At most one line a second: anybody can send logins.
void CTCentralRouter::RefuseLogin(const TcrPath& from, uint32_t error, TcrTime now) {
    ++m_counters.refused_logins;
    if (m_refusal_told && now - m_last_refusal_tick < kRefusalLineMs) {
        ++m_refusals_not_told;
        return;
    }
    Tell("login from %s refused, error %u (%llu more not shown)",
         tcr_addr_text(from.remote).c_str(), error,
         static_cast<unsigned long long>(m_refusals_not_told));
    m_refusal_told = true;
    m_last_refusal_tick = now;
    m_refusals_not_told = 0;
}

void CTCentralRouter::DropDevicesBut(const Edge& edge, uint32_t kept) {
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

bool CTCentralRouter::Logout(const Edge& edge, CTSstpMessage& msg, TcrTime now) {
    CTSstpLogoutAck reply;
    if (!reply.Create()) return true;
    TcrSession& session = edge.Session();
    session.presence = TcrPresence::kAbsent;
    session.gone_tick = now;
    session.registered = false;
    session.topology.pending.active = false;
    Unlist(edge, kDeviceStatusOff);
    ReplyTo(edge, msg, reply);
    Tell("edge 0x%08x logged out", edge.Identifier());
    return true;
}
