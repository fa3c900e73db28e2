#include "tcr/tcr_server.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>

#include "base/pvu_stdout.h"
#include "base/pvu_tick.h"
#include "base/pvu_time.h"

namespace {

constexpr int kTickMs = 100;
constexpr int kBufSize = 2048;
constexpr int kDatagramsBetweenTicks = 64;
constexpr int kSocketBufferKb = 1024;

TcrTime Now() {
    return static_cast<TcrTime>(pvu_get_current_tick());
}

}  // namespace

TcrServer::~TcrServer() {
    m_udp.Close();
    if (m_signals >= 0) close(m_signals);
}

bool TcrServer::Open(const TcrOption& option, std::string& fault) {
    m_udp.Open();
    CTSockAddr local(option.ip, option.port);
    if (m_udp.Bind(reinterpret_cast<sockaddr*>(local.GetSockAddrin()), sizeof(sockaddr_in)) != 0) {
        fault = option.address + " port " + std::to_string(option.port) +
                ": cannot be listened on: " + strerror(errno);
        return false;
    }
    // Bursts of all edges meet here; the system may grant less.
    m_udp.SetRecvBufSize(kSocketBufferKb);
    sigset_t mask;
    sigemptyset(&mask);
    for (int sig : {SIGINT, SIGTERM, SIGUSR1})
        sigaddset(&mask, sig);
    sigprocmask(SIG_BLOCK, &mask, nullptr);
    m_signals = signalfd(-1, &mask, SFD_CLOEXEC | SFD_NONBLOCK);
    if (m_signals < 0) fault = std::string("signals: ") + strerror(errno);
    return m_signals >= 0;
}

void TcrServer::Run(const TcrConfig& config) {
    CTCentralRouter router(config, *this);
    TcrTime last_tick = Now();
    for (;;) {
        pollfd wait[] = {{m_udp.GetHandle(), POLLIN, 0}, {m_signals, POLLIN, 0}};
        poll(wait, 2, kTickMs);
        if (wait[1].revents != 0 && !HandleSignal(router)) return;
        if (wait[0].revents != 0) Receive(router);
        if (Now() - last_tick < kTickMs) continue;
        last_tick = Now();
        router.Tick(last_tick);
    }
}

void TcrServer::Receive(CTCentralRouter& router) {
    uint8_t data[kBufSize];
    for (int i = 0; i < kDatagramsBetweenTicks; ++i) {
        sockaddr_in from = {};
        socklen_t size = sizeof from;
        // MSG_TRUNC: the true length, so that a datagram that was cut is known as such.
        ssize_t n = recvfrom(m_udp.GetHandle(), data, sizeof data, MSG_DONTWAIT | MSG_TRUNC,
                             reinterpret_cast<sockaddr*>(&from), &size);
        if (n < 0) return;
        router.Receive({CTSockAddr(&from)}, data, n > kBufSize ? 0 : static_cast<int>(n), Now());
    }
}

// False when the signal asks for the end.
bool TcrServer::HandleSignal(CTCentralRouter& router) {
    signalfd_siginfo info;
    if (read(m_signals, &info, sizeof info) != sizeof info) return true;
    if (info.ssi_signo == SIGUSR1) {
        std::string left_out = std::to_string(pvu_stdout_left_out());
        Tell(("standard output: lines left out " + left_out).c_str());
        router.PrintTable(Now());
        return true;
    }
    Tell(info.ssi_signo == SIGINT ? "SIGINT, ending" : "SIGTERM, ending");
    return false;
}

bool TcrServer::Send(const TcrPath& to, const void* data, int length) {
    return m_udp.Write(to.remote.GetSockAddrin(), data, length) == length;
}

void TcrServer::Tell(const char* line) {
    printf("%s %s\n", CTTime::CurrentDatetimeToString(), line);
}
