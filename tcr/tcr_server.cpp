#include "tcr/tcr_server.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <utility>

#include "base/pvu_batch.h"
#include "base/pvu_event.h"
#include "base/pvu_service.h"
#include "base/pvu_stdout.h"
#include "base/pvu_tick.h"
#include "base/pvu_time.h"

namespace {

constexpr int kTickMs = 100;
constexpr int kBurstsBetweenTicks = 4;
// How long the end waits for the disk, so that the whole of it stays within two seconds.
constexpr int kLastChangesMs = 1200;
constexpr int kLastWriteMs = 300;  // at least; and what the changes left of their time

TcrTime Now() {
    return static_cast<TcrTime>(pvu_get_current_tick());
}

}  // namespace

TcrServer::~TcrServer() {
    if (m_signals >= 0) close(m_signals);
}

bool TcrServer::Open(const TcrOption& option, const TcrConfig& config, std::string& fault) {
    m_config_file = option.config_file;
    std::string address = option.Address(config);
    uint16_t port = option.Port(config);
    in_addr addr = {};
    inet_pton(AF_INET, address.c_str(), &addr);
    if (!m_socket.Open(ntohl(addr.s_addr), port, fault)) {
        fault = address + " port " + std::to_string(port) + ": cannot be listened on: " + fault;
        return false;
    }
    sigset_t mask;
    sigemptyset(&mask);
    for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGUSR1})
        sigaddset(&mask, sig);
    sigprocmask(SIG_BLOCK, &mask, nullptr);
    m_signals = signalfd(-1, &mask, SFD_CLOEXEC | SFD_NONBLOCK);
    if (m_signals < 0) fault = std::string("signals: ") + strerror(errno);
    return m_signals >= 0 && m_desk.Open(fault);
}

bool TcrServer::Keep(const std::string& path, std::string& fault) {
    m_state_path = path;
    if (!m_state.Open(path, m_image, fault)) return false;
    m_writer = std::make_unique<TcrStateWriter>(m_state);
    return m_writer->Start(fault);
}

bool TcrServer::Seal(const TcrConfig& config, const std::string& key_file, std::string& fault) {
    m_key_file = key_file;
    if (!config.IsSealOffered() || m_channels) return true;
    if (!m_key.Open(key_file, fault)) return false;
    m_records.resize(CTGroupedSender::kMaxBurst);
    m_channels = std::make_unique<TcrChannels>(
        m_key, [this](const TcrPath& to, const uint8_t* data, int length) {
            m_socket.Send(to, data, length);
        });
    m_desk.SetChannels(*m_channels);
    return true;
}

bool TcrServer::Run(const TcrConfig& config) {
    CTCentralRouter router(config, *this, m_writer.get());
    m_last_tick = Now();
    m_desk.SetStart(m_last_tick);
    if (m_writer) router.Restore(std::exchange(m_image, {}), m_last_tick, time(nullptr));
    router.EndOfWakeUp(m_last_tick);
    pvu_batch_thread();
    m_watchdog.Start(static_cast<uint64_t>(m_last_tick));
    pvu_service_status(m_serves);
    pvu_service_ready();
    for (bool serve = true; serve;)
        WakeUp(router, serve);
    m_desk.Close();
    return Finish(router);
}

// One clock reading for all that is found at once.
void TcrServer::WakeUp(CTCentralRouter& router, bool& serve) {
    // A negative descriptor is none.
    pollfd wait[] = {{m_socket.Handle(), POLLIN, 0},
                     {m_signals, POLLIN, 0},
                     {m_writer ? m_writer->EventHandle() : -1, POLLIN, 0},
                     {m_desk.EventHandle(), POLLIN, 0}};
    poll(wait, std::size(wait), kTickMs);
    TcrTime now = Now();
    if (wait[2].revents != 0) TakeOutcomes(router, now);
    if (wait[1].revents != 0) serve = HandleSignal(router, now);
    if (wait[0].revents != 0) Receive(router, now);
    if (wait[3].revents != 0) m_desk.Serve(router, now);
    if (now - m_last_tick >= kTickMs) {
        m_last_tick = now;
        router.Tick(now);
        TickChannels(router, now);
        m_watchdog.Look(static_cast<uint64_t>(now));
    }
    router.EndOfWakeUp(now);
}

void TcrServer::Receive(CTCentralRouter& router, TcrTime now) {
    for (int i = 0; i < kBurstsBetweenTicks && m_socket.ReceiveBurst(); ++i) {
        TcrPath from;
        const uint8_t* data;
        int length;
        while (m_socket.Next(from, data, length)) {
            if (Unseal(from, data, length, now)) router.Receive(from, data, length, now);
        }
        router.EndOfBurst();
        if (m_socket.IsDrained()) return;
    }
}

// Whether there is a message for the central router, in its place. Its own bytes, as the receiver
// lends them, may be written to. What is open goes on also where all subnets want it sealed: a
// login gets its refusal, and the rest, which is of no session, is counted.
bool TcrServer::Unseal(TcrPath& from, const uint8_t* data, int& length, TcrTime now) {
    from.channel = TcrPath::kOpen;
    if (!m_channels) return true;
    if (!TcrChannels::IsSealed(data, length)) return true;
    return m_channels->Receive(from, const_cast<uint8_t*>(data), length, now);
}

void TcrServer::TickChannels(CTCentralRouter& router, TcrTime now) {
    if (!m_channels) return;
    m_channels->Tick(now);
    std::unordered_set<uint64_t> in_use;
    router.AddChannels(in_use, now);
    m_channels->EndBut(in_use);
}

const CTSealFingerprint* TcrServer::PeerOf(const TcrPath& path) const {
    return m_channels ? m_channels->PeerOf(path.channel) : nullptr;
}

void TcrServer::Keep(const TcrPath& path) {
    if (m_channels) m_channels->Keep(path.channel);
}

void TcrServer::TakeOutcomes(CTCentralRouter& router, TcrTime now) {
    for (const TcrStateWriter::Outcome& outcome : m_writer->TakeOutcomes()) {
        if (outcome.saved) {
            router.Saved(outcome.ticket, now);
        } else {
            router.SaveFailed(outcome.ticket, outcome.reason, now);
        }
    }
}

// False when the signal asks for the end.
bool TcrServer::HandleSignal(CTCentralRouter& router, TcrTime now) {
    signalfd_siginfo info;
    if (read(m_signals, &info, sizeof info) != sizeof info) return true;
    if (info.ssi_signo == SIGHUP) {
        Reload(router, now);
        return true;
    }
    if (info.ssi_signo == SIGUSR1) {
        std::string left_out = std::to_string(pvu_stdout_left_out());
        Tell(("standard output: lines left out " + left_out).c_str());
        router.PrintTable(now);
        return true;
    }
    pvu_service_stopping();
    Tell(info.ssi_signo == SIGINT ? "SIGINT, ending" : "SIGTERM, ending");
    return false;
}

void TcrServer::Reload(CTCentralRouter& router, TcrTime now) {
    TcrConfig config;
    std::string fault;
    if (m_config_file.empty()) {
        return Tell("SIGHUP: there is no configuration file to read again, see -c");
    }
    if (!config.ReadFile(m_config_file, fault)) {
        CTEvent(CTEventLevel::kError, "configuration fault").Add("reason", fault).Log();
        return Tell(("SIGHUP: " + fault + "; what was in force stays").c_str());
    }
    if (!Seal(config, m_key_file, fault)) {
        return Tell(("SIGHUP: " + fault + "; what was in force stays").c_str());
    }
    pvu_service_reloading();
    router.Reload(config, now);
    pvu_service_ready();
    CTEvent(CTEventLevel::kNotice, "configuration read again")
        .Add("file", m_config_file)
        .Add("subnets", static_cast<int64_t>(config.subnets.size()))
        .Log();
    Tell(("SIGHUP: " + m_config_file + " read again, " + std::to_string(config.subnets.size()) +
          " subnet(s)")
             .c_str());
}

// Has the last changes written, and sends the replies that wait for them, as far as that takes no
// longer than an end may.
bool TcrServer::Finish(CTCentralRouter& router) {
    if (!m_writer) return true;
    TcrTime deadline = Now() + kLastChangesMs;
    router.Hurry();
    for (TcrTime now = Now(); router.HasUnsaved() && now < deadline; now = Now()) {
        router.EndOfWakeUp(now);
        pollfd wait = {m_writer->EventHandle(), POLLIN, 0};
        poll(&wait, 1, static_cast<int>(std::min<TcrTime>(deadline - now, kTickMs)));
        TakeOutcomes(router, Now());
    }
    // Closing the file takes the disk's time, too.
    TcrTime left = std::max<TcrTime>(deadline - Now(), 0);
    bool ended = m_writer->Stop(static_cast<int>(left) + kLastWriteMs);
    TakeOutcomes(router, Now());
    if (!ended || router.HasUnsaved()) {
        Tell(("state file " + m_state_path + ": the last changes are not written, timed out")
                 .c_str());
        CTEvent(CTEventLevel::kError, "state not written").Add("reason", "timed out").Log();
    }
    return ended;
}

bool TcrServer::Pass(const TcrPath& to, const uint8_t* data, int length) {
    if (!to.IsSealed()) {
        m_socket.Queue(to, data, length);
        return true;
    }
    if (!m_channels) return false;
    Record& record = m_records[m_next_record];
    int sealed = m_channels->Seal(to.channel, data, length, record.data());
    if (sealed == 0) return false;
    m_next_record = (m_next_record + 1) % m_records.size();
    m_socket.Queue(to, record.data(), sealed);
    return true;
}

bool TcrServer::Send(const TcrPath& to, const void* data, int length) {
    if (!to.IsSealed()) return m_socket.Send(to, data, length);
    if (!m_channels) return false;
    Record record;
    int sealed =
        m_channels->Seal(to.channel, static_cast<const uint8_t*>(data), length, record.data());
    return sealed > 0 && m_socket.Send(to, record.data(), sealed);
}

void TcrServer::Started(const TcrOption& option, const TcrConfig& config) {
    std::string address = option.Address(config);
    std::string port = std::to_string(option.Port(config));
    std::string subnets = std::to_string(config.subnets.size());
    m_serves = "listens on " + address + " port " + port + ", " + subnets + " subnet(s)";
    Tell(("tamvo-tcr " + m_serves).c_str());
    CTEvent(CTEventLevel::kNotice, "started")
        .Add("version", kTcrVersion)
        .Add("file", m_config_file)
        .Add("state", m_state_path)
        .Add("listen", address + ":" + port)
        .Add("subnets", subnets)
        .Log();
    if (m_channels) Tell(("key " + m_key.GetFingerprint().Text()).c_str());
}

void TcrServer::Tell(const char* line) {
    printf("%s %s\n", CTTime::CurrentDatetimeToString(), line);
}
