// TcrPageServer: the library reads requests and writes replies in MHD_run, which never waits; the
// loop waits for its descriptors, for the next sample of the history and for clients' deadlines.

#include "tcr/page_server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <poll.h>
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

constexpr int kBacklog = 64;
constexpr int64_t kLongestWaitMs = 10'000;
constexpr uint32_t kLoopbackNet = 127;
constexpr int kNetShift = 24;

struct Header {
    const char* name;
    const char* value;
};
// The page has all that it needs from here, runs no script that stands in it and is shown in no
// other page; nothing is stored on the way.
constexpr Header kHeaders[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
     "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cache-Control", "no-store"},
    // A connection is one request: its deadline is that of the request.
    {"Connection", "close"}};

int64_t Now() {
    return static_cast<int64_t>(pvu_get_current_tick());
}

std::optional<std::string_view> Known(const char* text) {
    if (!text) return std::nullopt;
    return std::string_view(text);
}

void FreeBody(void* body) {
    delete static_cast<TcrPageReply::Body*>(body);
}

// What the library sends stays where it is for as long as it takes: also after the page has newer.
MHD_Response* ResponseOf(const TcrPageReply& reply) {
    if (!reply.body) {
        // It only reads the bytes, which its type does not say.
        return MHD_create_response_from_buffer(
            reply.fixed.size(), const_cast<char*>(reply.fixed.data()), MHD_RESPMEM_PERSISTENT);
    }
    auto kept = std::make_unique<TcrPageReply::Body>(reply.body);
    MHD_Response* response = MHD_create_response_from_buffer_with_free_callback_cls(
        reply.body->size(), const_cast<char*>(reply.body->data()), FreeBody, kept.get());
    if (response) static_cast<void>(kept.release());  // FreeBody has it now
    return response;
}

}  // namespace

struct TcrPageServer::Callbacks {
    // Called before a request's body, if it has one: nobody waits for it.
    static MHD_Result Request(void* self, MHD_Connection* connection, const char* path,
                              const char* method, const char*, const char*, size_t*, void**) {
        return static_cast<TcrPageServer*>(self)->Answer(connection, method, path) ? MHD_YES
                                                                                   : MHD_NO;
    }

    // Nothing that is asked for here needs escapes, and one of a zero would end the text early.
    static size_t Unescape(void*, MHD_Connection*, char* text) { return strlen(text); }

    static void Connection(void* self, MHD_Connection* connection, void**,
                           MHD_ConnectionNotificationCode code) {
        auto* server = static_cast<TcrPageServer*>(self);
        const MHD_ConnectionInfo* info =
            MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        if (!info) return;
        if (code == MHD_CONNECTION_NOTIFY_STARTED) {
            server->NoteClient(info->connect_fd);
        } else {
            server->ForgetClient(info->connect_fd);
        }
    }
};

bool TcrPageServer::Start(const std::string& address, uint16_t port, TcrDesk& desk,
                          std::string& fault) {
    Stop();
    if (!Listen(address, port, fault)) return false;
    in_addr bound = {};
    inet_pton(AF_INET, address.c_str(), &bound);
    bool is_loopback = ntohl(bound.s_addr) >> kNetShift == kLoopbackNet;
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    // The thread inherits the mask: the signals are the program's.
    pthread_sigmask(SIG_SETMASK, &all, &before);
    m_running = Make(desk, is_loopback) && m_thread.Start(ThreadEntry, this);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (m_running) return true;
    fault = address + ":" + std::to_string(port) + ": no thread or descriptors for it";
    Stop();
    return false;
}

bool TcrPageServer::Listen(const std::string& address, uint16_t port, std::string& fault) {
    sockaddr_in local = {};
    local.sin_family = AF_INET;
    local.sin_port = htons(port);
    socklen_t length = sizeof local;
    auto* generic = reinterpret_cast<sockaddr*>(&local);
    int one = 1;
    m_listener = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    bool listens = m_listener >= 0 && inet_pton(AF_INET, address.c_str(), &local.sin_addr) == 1 &&
                   setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) == 0 &&
                   bind(m_listener, generic, length) == 0 && listen(m_listener, kBacklog) == 0 &&
                   getsockname(m_listener, generic, &length) == 0;
    m_port = ntohs(local.sin_port);
    if (listens) return true;
    fault = address + ":" + std::to_string(port) + ": " + strerror(errno);
    Stop();
    return false;
}

bool TcrPageServer::Make(TcrDesk& desk, bool is_loopback) {
    m_page = std::make_unique<TcrPage>(
        [&desk](TcrSnapshot& snapshot) { return desk.TakeSnapshot(snapshot); }, is_loopback);
    m_stop_event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    m_daemon = MHD_start_daemon(
        MHD_USE_EPOLL, 0, nullptr, nullptr, &Callbacks::Request, this, MHD_OPTION_LISTEN_SOCKET,
        m_listener, MHD_OPTION_CONNECTION_LIMIT, static_cast<unsigned>(kMaxClients),
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, kMaxRequest, MHD_OPTION_UNESCAPE_CALLBACK,
        &Callbacks::Unescape, nullptr, MHD_OPTION_NOTIFY_CONNECTION, &Callbacks::Connection, this,
        MHD_OPTION_END);
    if (!m_daemon) return false;
    m_listener = -1;
    const MHD_DaemonInfo* info = MHD_get_daemon_info(m_daemon, MHD_DAEMON_INFO_EPOLL_FD);
    m_events = info ? info->epoll_fd : -1;
    return m_stop_event >= 0 && m_events >= 0;
}

void TcrPageServer::Stop() {
    if (m_running) {
        uint64_t one = 1;
        // Into a count of 0: nothing keeps it from being written.
        [[maybe_unused]] ssize_t written = write(m_stop_event, &one, sizeof one);
        m_thread.Stop();
        m_running = false;
    }
    if (m_daemon) MHD_stop_daemon(m_daemon);
    m_daemon = nullptr;
    m_page.reset();
    for (int* fd : {&m_listener, &m_stop_event}) {
        if (*fd >= 0) close(*fd);
        *fd = -1;
    }
}

void* TcrPageServer::ThreadEntry(void* self) {
    static_cast<TcrPageServer*>(self)->Loop();
    return nullptr;
}

void TcrPageServer::Loop() {
    for (;;) {
        m_page->Elapse(Now());
        pollfd events[] = {{m_stop_event, POLLIN, 0}, {m_events, POLLIN, 0}};
        bool any = poll(events, std::size(events), WaitMs()) > 0;
        m_runs_again = false;
        if (any && events[0].revents != 0) return;
        // Without an event too: the library has connections to clean up.
        MHD_run(m_daemon);
        EndOverdue();
    }
}

int TcrPageServer::WaitMs() const {
    if (m_runs_again) return 0;
    int64_t wait = std::min(kLongestWaitMs, m_page->NextSample() - Now());
    for (const Client& client : m_clients)
        wait = std::min(wait, client.deadline - Now());
    MHD_UNSIGNED_LONG_LONG wanted = 0;
    if (MHD_get_timeout(m_daemon, &wanted) == MHD_YES) {
        wait = std::min(wait, static_cast<int64_t>(std::min<uint64_t>(wanted, kLongestWaitMs)));
    }
    return static_cast<int>(std::max<int64_t>(wait, 0));
}

// The library sees the end of the connection and closes it. Clients stay in the list until then,
// and have no second end.
void TcrPageServer::EndOverdue() {
    bool full = m_clients.size() >= kMaxClients;
    for (Client& client : m_clients) {
        bool gives_way = full && &client == &m_clients.front();
        if (!gives_way && client.deadline > Now()) continue;
        client.deadline = INT64_MAX;
        shutdown(client.fd, SHUT_RDWR);
    }
}

void TcrPageServer::NoteClient(int fd) {
    m_clients.push_back({fd, Now() + kClientMs});
}

void TcrPageServer::ForgetClient(int fd) {
    m_clients.remove_if([fd](const Client& client) { return client.fd == fd; });
    m_runs_again = true;
}

bool TcrPageServer::Answer(MHD_Connection* connection, const char* method, const char* path) {
    auto argument = [&](MHD_ValueKind kind, const char* name) {
        return Known(MHD_lookup_connection_value(connection, kind, name));
    };
    TcrPageRequest request = {method, path, argument(MHD_HEADER_KIND, "Host"),
                              argument(MHD_GET_ARGUMENT_KIND, "subnet"),
                              argument(MHD_GET_ARGUMENT_KIND, "edge")};
    TcrPageReply reply = m_page->Answer(request, Now());
    MHD_Response* response = ResponseOf(reply);
    if (!response) return false;
    for (const Header& header : kHeaders)
        MHD_add_response_header(response, header.name, header.value);
    MHD_add_response_header(response, "Content-Type", std::string(reply.type).c_str());
    if (reply.status == MHD_HTTP_METHOD_NOT_ALLOWED) {
        MHD_add_response_header(response, "Allow", "GET, HEAD");
    }
    MHD_Result queued = MHD_queue_response(connection, reply.status, response);
    MHD_destroy_response(response);
    return queued == MHD_YES;
}
