// CTControlServer: a client's road, all on the server's thread:
//
//   AcceptAll -> Receive until there is a newline -> Answer -> Send until all is taken -> LetGo

#include "ops/control_server.h"

#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "base/pvu_tick.h"

namespace {

constexpr int64_t kSecondMs = 1000;

int64_t Now() {
    return static_cast<int64_t>(pvu_get_current_tick());
}

bool WouldWait() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

}  // namespace

bool CTControlServer::Start(const std::string& path, CTControlHandler& handler,
                            std::string& fault) {
    Stop();
    if (!m_socket.Open(path, fault)) return false;
    m_handler = &handler;
    m_stop_event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    // The thread inherits the mask: the signals are the program's.
    pthread_sigmask(SIG_SETMASK, &all, &before);
    m_running = m_stop_event >= 0 && m_thread.Start(ThreadEntry, this);
    if (!m_running) fault = path + ": " + strerror(errno);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (!m_running) Stop();
    return m_running;
}

void CTControlServer::Stop() {
    if (m_running) {
        uint64_t one = 1;
        // Into a count of 0: nothing keeps it from being written.
        [[maybe_unused]] ssize_t written = write(m_stop_event, &one, sizeof one);
        m_thread.Stop();
        m_running = false;
    }
    if (m_stop_event >= 0) close(m_stop_event);
    m_stop_event = -1;
    m_socket.Close();
}

void* CTControlServer::ThreadEntry(void* self) {
    static_cast<CTControlServer*>(self)->Loop();
    return nullptr;
}

void CTControlServer::Loop() {
    std::vector<pollfd> events;
    m_next_second = Now();
    for (;;) {
        WaitForEvents(events);
        if (events[0].revents != 0) break;
        // In the order of the events; who is accepted now comes behind them.
        size_t next = 2;
        for (auto client = m_clients.begin(); client != m_clients.end(); ++next) {
            bool ready = events[next].revents != 0;
            bool stays = (!ready || Serve(*client)) && Now() < client->since + kClientMs;
            client = stays ? std::next(client) : LetGo(client);
        }
        if (events[1].revents != 0) AcceptAll();
        if (Now() >= m_next_second) {
            m_handler->EverySecond();
            m_next_second = Now() + kSecondMs;
            m_accepts = true;
        }
    }
    while (!m_clients.empty())
        LetGo(m_clients.begin());
}

void CTControlServer::WaitForEvents(std::vector<pollfd>& events) {
    events.clear();
    events.push_back({m_stop_event, POLLIN, 0});
    // A negative descriptor is none.
    int64_t until = m_next_second;
    bool accepts = m_accepts && HasRoom(until);
    events.push_back({accepts ? m_socket.Handle() : -1, POLLIN, 0});
    for (const Client& client : m_clients) {
        short wanted = client.reply.empty() ? POLLIN : POLLOUT;
        events.push_back({client.fd, wanted, 0});
        until = std::min(until, client.since + kClientMs);
    }
    int64_t wait = std::clamp<int64_t>(until - Now(), 0, kSecondMs);
    if (poll(events.data(), events.size(), static_cast<int>(wait)) >= 0) return;
    for (pollfd& event : events)
        event.revents = 0;
}

bool CTControlServer::HasRoom(int64_t& look_again) const {
    if (m_clients.size() < kMaxClients) return true;
    int64_t free = m_clients.front().since + kGraceMs;
    if (Now() >= free) return true;
    look_again = std::min(look_again, free);
    return false;
}

void CTControlServer::AcceptAll() {
    int64_t look_again = INT64_MAX;
    for (size_t i = 0; i < kMaxClients && HasRoom(look_again); ++i) {
        int fd = m_socket.Accept();
        if (fd < 0) {
            // Without descriptors the client stays in the backlog, and poll would not wait.
            m_accepts = WouldWait() || errno == ECONNABORTED;
            return;
        }
        if (m_clients.size() >= kMaxClients) LetGo(m_clients.begin());
        m_clients.push_back({fd, Now()});
    }
}

bool CTControlServer::Serve(Client& client) {
    if (client.reply.empty() && !Receive(client)) return false;
    return client.reply.empty() || Send(client);
}

bool CTControlServer::Receive(Client& client) {
    char buffer[kControlMaxRequest];
    ssize_t n = recv(client.fd, buffer, sizeof buffer, 0);
    if (n < 0) return WouldWait();
    if (n == 0) return false;  // gone before its request was whole
    client.received.append(buffer, static_cast<size_t>(n));
    size_t end = client.received.find('\n');
    if (end <= kControlMaxRequest) {
        Answer(client, end);
    } else if (client.received.size() > kControlMaxRequest) {
        client.reply = control_error("the request is too long") + '\n';
    }
    return true;
}

void CTControlServer::Answer(Client& client, size_t line_length) {
    CTControlRequest request;
    std::string fault;
    bool whole = request.Parse(std::string_view(client.received).substr(0, line_length), fault);
    client.reply = whole ? m_handler->Reply(request) : control_error(fault);
    client.reply += '\n';
    client.received = {};
}

bool CTControlServer::Send(Client& client) {
    ssize_t n = send(client.fd, client.reply.data() + client.sent,
                     client.reply.size() - client.sent, MSG_NOSIGNAL);
    if (n < 0) return WouldWait();
    client.sent += static_cast<size_t>(n);
    return client.sent < client.reply.size();
}

CTControlServer::Clients::iterator CTControlServer::LetGo(Clients::iterator client) {
    close(client->fd);
    return m_clients.erase(client);
}
