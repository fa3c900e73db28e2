// CTsdwSys: what the system's log and a service manager are told, and the start under one, which
// waits for the central router.

#include <cstring>

#include "base/pvu_event.h"
#include "base/pvu_log.h"
#include "base/pvu_service.h"
#include "base/pvu_sleep.h"
#include "base/pvu_tick.h"
#include "sstp/sstp_error.h"
#include "sys/tsdw_sys.h"

namespace {

constexpr unsigned kQuitPollMs = 100;
constexpr int kMillisPerSecond = 1000;

std::string Text(const CTSockAddr& addr) {
    CTString text;
    addr.Print(text);
    return text.c_str();
}

std::string Text(uint32_t ip) {
    CTString text;
    CIPv4Addr(ip).Print(text);
    return text.c_str();
}

}  // namespace

// The log's line, and the same for the system's. False, for the start that it ends.
bool CTsdwSys::FailStart(const char* reason, const std::string& detail) {
    flog_printf("%s\n", reason);
    CTEvent event(CTEventLevel::kError, "start failed");
    event.Add("reason", reason);
    if (!detail.empty()) event.Add("detail", detail);
    event.Add("file", m_config_file.c_str()).Log();
    return false;
}

// Why the exchange that was tried last did not succeed.
std::string CTsdwSys::JoinFault() const {
    const CTSealedLink& sealed = m_client.GetSealedLink();
    if (sealed.HasFailed()) {
        return "no sealed channel with " + Text(m_central_router) + ": " + sealed.GetFault();
    }
    if (m_client.GetSendError() != 0) {
        return std::string("request not sent: ") + strerror(m_client.GetSendError());
    }
    if (!m_client.IsAnswered()) return "no answer from " + Text(m_central_router);
    return "refused by " + Text(m_central_router) + ", error " +
           std::to_string(CTSstpError::GetLastError());
}

// To a service manager the edge is up now: what depends on others from here on is tried again.
void CTsdwSys::TellStarted() {
    CTString version;
    version.Append("%d.%d.%d", m_version.GetMajor(), m_version.GetMinor(), m_version.GetPatch());
    CTEvent(CTEventLevel::kNotice, "started")
        .Add("version", version.c_str())
        .Add("file", m_config_file.c_str())
        .Add("interface", m_adapter.GetName())
        .Log();
    pvu_service_status("started, not joined yet");
    pvu_service_ready();
}

void CTsdwSys::TellJoined(const char* what) {
    m_told_fault.clear();
    m_told_lost = false;
    std::string address = Text(m_config.GetLocalIPAddr());
    CTEvent(CTEventLevel::kNotice, what)
        .Add("address", address)
        .AddHex("identifier", m_client.GetIdentifier())
        .Add("interface", m_adapter.GetName())
        .Add("router", Text(m_central_router))
        .Log();
    pvu_service_status("joined as " + address + " by " + Text(m_central_router));
}

// In the log once for each reason: it may be tried for days.
void CTsdwSys::TellNotJoined(const char* what, int delay_ms) {
    m_told_back = false;
    std::string reason = m_rejoin_fault.c_str();
    pvu_service_status(what + (": " + reason) + ", router " + Text(m_central_router) +
                       ", next attempt in " + std::to_string(delay_ms / kMillisPerSecond) + " s");
    if (reason == m_told_fault) return;
    m_told_fault = reason;
    CTEvent(CTEventLevel::kWarning, what)
        .Add("reason", reason)
        .Add("router", Text(m_central_router))
        .Log();
}

// Heartbeats that go unanswered, and that are answered again without a rejoin.
void CTsdwSys::TellSession() {
    bool lost = m_port.GetHeartBeatMisses() > CTSstpPort::kMissesToDropOff;
    if (lost != m_told_lost) TellRouter(lost);
}

void CTsdwSys::TellRouter(bool lost) {
    m_told_lost = lost;
    m_told_back = !lost;
    std::string router = Text(m_central_router);
    const char* what = lost ? "central router lost" : "central router back";
    CTEvent(lost ? CTEventLevel::kWarning : CTEventLevel::kNotice, what)
        .Add("router", router)
        .Log();
    pvu_service_status(what + (", router " + router) + ", address " +
                       Text(m_config.GetLocalIPAddr()));
}

// The attempts that failed are over. They may have been told before the router counted as lost; the
// same fault is told again the next time.
void CTsdwSys::TellSessionGoesOn() {
    m_told_fault.clear();
    m_rejoin_fault.Clear();
    NoteIdentity(false);
    if (!m_told_back) TellRouter(false);
}

void CTsdwSys::TellEnd() {
    CTEvent(CTEventLevel::kNotice, "stopped").Add("file", m_config_file.c_str()).Log();
}

void CTsdwSys::StartWatchdog() {
    m_watchdog.Watch("interface", m_device.GetPulse());
    m_watchdog.Watch("receive", m_port.GetRxPulse());
    m_watchdog.Watch("transmit", m_port.GetTxPulse());
    m_watchdog.Watch("outgress", m_outgress.GetPulse());
    m_watchdog.Watch("ingress", m_ingress.GetPulse());
    m_watchdog.Start(pvu_get_current_tick());
}

bool CTsdwSys::SstpConnectAtLast() {
    m_watchdog.Start(pvu_get_current_tick());  // of the threads none runs yet
    m_rejoin.SetAfter(0);
    while (m_quit == 0) {
        if (TryToConnect()) return true;
        if (m_quit != 0) break;
        NoteIdentity(false);
        int delay = DelayAfterFailure();
        uint64_t next = pvu_get_current_tick() + static_cast<uint64_t>(delay);
        printf("joining failed: %s, next attempt in %d s\n", m_rejoin_fault.c_str(),
               delay / kMillisPerSecond);
        TellNotJoined("joining failed", delay);
        WaitForTry(next);
    }
    m_client.Close();
    return false;
}

// One attempt, on a socket of its own, which leaves nothing of itself when it fails.
bool CTsdwSys::TryToConnect() {
    const Lease before = GetLease();
    m_rejoin_fault.Clear();
    if (!OpenClient()) return FailRejoin("socket");
    CTSdwanSubnet subnet;
    CTP2pConnectList peers;
    m_client.BeginRejoin(m_quit, [this] { m_watchdog.LookAlone(pvu_get_current_tick()); });
    bool joined = ExchangeRejoin(subnet, peers);
    m_client.EndRejoin();
    if (joined) {
        m_rejoin.Joined();
        ReplaceTopology(subnet, peers);
    } else {
        PutLeaseBack(before);
    }
    return joined;
}

void CTsdwSys::WaitForTry(uint64_t tick) {
    for (uint64_t now = 0; m_quit == 0 && now < tick; now = pvu_get_current_tick()) {
        if (m_status_asked.exchange(false)) PrintStatus();
        m_watchdog.LookAlone(pvu_get_current_tick());
        pvu_msleep(kQuitPollMs);
    }
}
