#include "ops/control_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "ops/control_address.h"

namespace {

constexpr char kName[] = "control";
constexpr char kRuntimeVariable[] = "RUNTIME_DIRECTORY";
constexpr int kBacklog = 64;
constexpr mode_t kMode = 0600;

// Why what is at the path is not to be replaced; null when it is a socket that nobody listens on.
const char* FaultOfPresent(const std::string& path, const sockaddr_un& address) {
    struct stat present;
    if (lstat(path.c_str(), &present) != 0) return strerror(errno);
    if (!S_ISSOCK(present.st_mode)) return "exists and is no socket";
    int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (probe < 0) return strerror(errno);
    int result = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    int error = result == 0 ? 0 : errno;
    close(probe);
    if (error == ECONNREFUSED) return nullptr;
    // A program whose backlog is full listens, too.
    return error == 0 || error == EAGAIN ? "in use by another program" : strerror(error);
}

}  // namespace

std::string control_socket_path(const std::optional<std::string>& configured) {
    if (configured) return *configured;
    const char* runtime = getenv(kRuntimeVariable);
    if (!runtime || *runtime == '\0') return kName;
    std::string folders = runtime;
    return folders.substr(0, folders.find(':')) + "/" + kName;
}

bool CTControlSocket::Open(const std::string& path, std::string& fault) {
    Close();
    m_path = path;
    m_fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (m_fd < 0) {
        fault = path + ": " + strerror(errno);
        return false;
    }
    if (Bind(fault)) return true;
    close(m_fd);
    m_fd = -1;
    fault = path + ": " + fault;
    return false;
}

bool CTControlSocket::Bind(std::string& fault) {
    sockaddr_un address;
    if (!control_address(m_path, address, fault)) return false;
    // The system makes the file with the mode of the socket, whatever happens beside it.
    fchmod(m_fd, kMode);
    auto bind_it = [&] {
        return bind(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    };
    bool bound = bind_it();
    if (!bound && errno == EADDRINUSE) {
        if (const char* reason = FaultOfPresent(m_path, address)) {
            fault = reason;
            return false;
        }
        bound = unlink(m_path.c_str()) == 0 && bind_it();
    }
    struct stat made;
    if (!bound || lstat(m_path.c_str(), &made) != 0) {
        fault = strerror(errno);
        return false;
    }
    m_device = made.st_dev;
    m_inode = made.st_ino;
    if (listen(m_fd, kBacklog) == 0) return true;
    fault = strerror(errno);
    unlink(m_path.c_str());
    return false;
}

void CTControlSocket::Close() {
    if (m_fd < 0) return;
    close(m_fd);
    m_fd = -1;
    struct stat present;
    bool own = lstat(m_path.c_str(), &present) == 0 && present.st_dev == m_device &&
               present.st_ino == m_inode;
    if (own) unlink(m_path.c_str());
}

int CTControlSocket::Accept() const {
    return accept4(m_fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
}
