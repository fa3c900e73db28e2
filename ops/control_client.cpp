#include "ops/control_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "base/pvu_tick.h"
#include "ops/control_address.h"

namespace {

constexpr int64_t kMillisPerSecond = 1000;
constexpr int64_t kMicrosPerMilli = 1000;

int64_t Now() {
    return static_cast<int64_t>(pvu_get_current_tick());
}

// One exchange on a socket of its own.
class Exchange {
  public:
    explicit Exchange(int wait_ms) : m_deadline(Now() + wait_ms) {}
    ~Exchange() {
        if (m_fd >= 0) close(m_fd);
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    bool Connect(const std::string& path) {
        sockaddr_un address;
        if (!control_address(path, address, fault)) return false;
        m_fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (m_fd < 0) return Fail();
        // Where many others are about to be accepted the connection waits for them.
        int64_t left = std::max<int64_t>(m_deadline - Now(), 1);
        timeval wait = {left / kMillisPerSecond, left % kMillisPerSecond * kMicrosPerMilli};
        setsockopt(m_fd, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof wait);
        if (connect(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
            return true;
        }
        if (errno == EAGAIN) return TimedOut();
        bool is_left_over = errno == ECONNREFUSED;
        Fail();
        if (is_left_over) fault += ", no program listens there";
        return false;
    }
    // A request is shorter than any socket's buffer.
    bool Send(const std::string& text) {
        ssize_t n = send(m_fd, text.data(), text.size(), MSG_NOSIGNAL);
        return n == static_cast<ssize_t>(text.size()) || Fail();
    }
    bool Receive(std::string& reply) {
        char buffer[65536];
        for (;;) {
            if (!WaitReadable()) return false;
            ssize_t n = recv(m_fd, buffer, sizeof buffer, MSG_DONTWAIT);
            if (n < 0 && (errno == EAGAIN || errno == EINTR)) continue;
            if (n < 0 && errno != ECONNRESET) return Fail();
            if (n <= 0) {
                fault = "ended without a reply";
                return false;
            }
            const char* end =
                static_cast<const char*>(memchr(buffer, '\n', static_cast<size_t>(n)));
            reply.append(buffer, end ? static_cast<size_t>(end - buffer) : static_cast<size_t>(n));
            if (end) return true;
            if (reply.size() > kControlMaxReply) {
                fault = "the reply is too long";
                return false;
            }
        }
    }

    std::string fault;

  private:
    bool Fail() {
        fault = strerror(errno);
        return false;
    }
    bool WaitReadable() {
        pollfd wait = {m_fd, POLLIN, 0};
        int64_t left = std::max<int64_t>(m_deadline - Now(), 0);
        int result = poll(&wait, 1, static_cast<int>(left));
        if (result > 0 || (result < 0 && errno == EINTR)) return true;
        if (result < 0) return Fail();
        return TimedOut();
    }
    bool TimedOut() {
        fault = "timed out";
        return false;
    }

    int64_t m_deadline;
    int m_fd = -1;
};

}  // namespace

bool control_ask(const std::string& path, const std::string& line, int wait_ms, std::string& reply,
                 std::string& fault) {
    reply.clear();
    Exchange exchange(wait_ms);
    bool done = exchange.Connect(path) && exchange.Send(line + '\n') && exchange.Receive(reply);
    if (!done) fault = path + ": " + exchange.fault;
    return done;
}
