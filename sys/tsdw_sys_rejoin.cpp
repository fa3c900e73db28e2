// CTsdwSys: joining again, on the main thread, while everything else runs. The port alone is paused
// for the exchange. The topology is fetched beside the one in use and takes its place in one step
// once the join is complete; until then nothing changes for the forwarders.

#include <cstdio>
#include <cstring>

#include "base/pvu_tick.h"
#include "sstp/sstp_error.h"
#include "sys/tsdw_sys.h"

namespace {

constexpr int kMillisPerSecond = 1000;

int64_t Now() {
    return static_cast<int64_t>(pvu_get_current_tick());
}

int ToSeconds(int64_t ms) {
    return static_cast<int>((ms + kMillisPerSecond / 2) / kMillisPerSecond);
}

}  // namespace

void CTsdwSys::KeepJoined() {
    TellSession();
    int64_t since = m_port.GetUnansweredSince();
    CTRejoinSchedule::Step step = m_rejoin.Look(since, Now());
    if (step == CTRejoinSchedule::Step::kNone) return;
    CTString central;
    m_central_router.Print(central);
    if (step == CTRejoinSchedule::Step::kAnswered) {
        printf("heartbeats answered again by %s, the session goes on\n", central.c_str());
        TellSessionGoesOn();
        return;
    }
    if (since == CTSstpPort::kAnswered) {
        printf("joining again: the session at %s is not complete\n", central.c_str());
    } else {
        printf("joining again: no heartbeat answered for %d s by %s\n", ToSeconds(Now() - since),
               central.c_str());
    }
    JoinAgain();
}

void CTsdwSys::JoinAgain() {
    const Lease before = GetLease();
    CTSdwanSubnet subnet;
    CTP2pConnectList peers;
    m_port.Pause();
    m_client.BeginRejoin(m_quit, [this] { m_watchdog.LookAlone(pvu_get_current_tick()); });
    m_rejoin_fault.Clear();
    bool joined = ExchangeRejoin(subnet, peers);
    m_client.EndRejoin();
    if (joined) {
        ReplaceTopology(subnet, peers);
        AssignPeers();
        m_port.BeginSession();
    } else {
        PutLeaseBack(before);
    }
    m_port.Resume();
    NoteIdentity(joined);
    if (joined) {
        FinishRejoin(before);
    } else if (m_quit == 0) {
        m_rejoins_failed.Add();
        int delay = DelayAfterFailure();
        TellNotJoined("joining again failed", delay);
        printf("joining again failed: %s, next attempt in %d s\n", m_rejoin_fault.c_str(),
               ToSeconds(delay));
    }
}

int CTsdwSys::DelayAfterFailure() {
    return m_client.GetSendError() != 0 ? m_rejoin.NotSent(Now()) : m_rejoin.Failed(Now());
}

// The steps of a join but for opening the socket, which stays.
bool CTsdwSys::ExchangeRejoin(CTSdwanSubnet& subnet, CTP2pConnectList& peers) {
    if (!LogInAgain()) return false;
    if (SstpDhcp() != 0) return FailRejoin("address request");
    if (SstpSubnet() != 0) return FailRejoin("subnet request");
    m_local_router.GetDeviceList().Reset();
    InitLocalRouter();
    m_fetched_subnet = &subnet;
    m_fetched_peers = &peers;
    bool fetched = FetchWholeNet();
    m_fetched_subnet = &m_external_subnet;
    m_fetched_peers = &m_peers;
    if (!fetched) return FailRejoin("topology request");
    return SstpRegist() == 0 || FailRejoin("registration");
}

// As an edge without a session. The identifier stays the edge's own until the login gave another
// one: nobody answers to the old one then.
bool CTsdwSys::LogInAgain() {
    uint32_t identifier = m_client.GetIdentifier();
    m_client.SetIdentify(kSstpCentralRouter);
    if (CTSstpConnect::SstpEcho(m_client) != 0) {
        m_client.SetIdentify(identifier);
        CTSstpError::SetLastError(kSstpErrTcrNotOnline);
        return FailRejoin("echo");
    }
    m_rejoin.LoginSent();
    if (SendLogin() == 0) return true;
    m_client.SetIdentify(identifier);
    FailRejoin("login");
    if (m_client.IsAnswered()) m_rejoin_fault.Append(", error %d", CTSstpError::GetLastError());
    return false;
}

// False, with the reason in words.
bool CTsdwSys::FailRejoin(const char* request) {
    const CTSealedLink& sealed = m_client.GetSealedLink();
    if (sealed.HasFailed()) {
        m_rejoin_fault.Printf("no sealed channel: %s", sealed.GetFault().c_str());
    } else if (m_client.IsAnswered()) {
        m_rejoin_fault.Printf("%s refused", request);
    } else if (m_client.GetSendError() != 0) {
        m_rejoin_fault.Printf("%s not sent: %s", request, strerror(m_client.GetSendError()));
    } else {
        m_rejoin_fault.Printf("%s timed out", request);
    }
    return false;
}

// As InitExternalNet, but a list that does not come fails it: the old topology is the better one.
bool CTsdwSys::FetchWholeNet() {
    if (FetchExtRouter() != 0) return false;
    CTSdwanRouterList& routers = m_fetched_subnet->GetRouterList();
    for (int i = 0; i < routers.Count(); ++i) {
        CTSdwanRouter* router = routers.At(i);
        if (router && FetchExtDevice(*router) != 0) return false;
    }
    ShowExternalNet();
    InitP2PConnects();
    return true;
}

// What was in use leaves with the arguments, behind the lock: nobody holds any of it by then.
void CTsdwSys::ReplaceTopology(CTSdwanSubnet& subnet, CTP2pConnectList& peers) {
    CTWriteGuard guard(m_model_lock);
    m_external_subnet.Swap(subnet);
    m_peers.Swap(peers);
}

CTsdwSys::Lease CTsdwSys::GetLease() const {
    return {m_config.GetLocalIPAddr(), m_config.GetLocalNetMask(), m_config.GetSubnetGateway()};
}

// The interface has the old address still, and the next attempt asks for it.
void CTsdwSys::PutLeaseBack(const Lease& lease) {
    m_config.SetLocalIPAddr(lease.ip);
    m_config.SetLocalNetMask(lease.mask);
    m_config.SetSubnetGateway(lease.gateway);
    m_local_router.GetDeviceList().Reset();
    m_local_router.AppendDevice(lease.ip, m_config.GetLocalEtherAddr());
}

void CTsdwSys::FinishRejoin(const Lease& before) {
    m_rejoin.Joined();
    m_rejoins.Add();
    Lease now = GetLease();
    if (now.ip != before.ip || now.mask != before.mask) {
        m_adapter.ConfigTun(now.ip, now.mask);
        m_adapter.SetMediaStatus(true);
    }
    CTString ip;
    CIPv4Addr(now.ip).Print(ip);
    TellJoined("joined again");
    printf("joined again as %s, identifier 0x%08x\n", ip.c_str(), m_client.GetIdentifier());
}
