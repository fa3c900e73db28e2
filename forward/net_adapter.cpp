#include "forward/net_adapter.h"

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "base/pvu_event.h"
#include "base/pvu_udp.h"

namespace {

constexpr char kTunDevice[] = "/dev/net/tun";
constexpr unsigned long kTunSetNoCsum = 0x400454C8;  // TUNSETNOCSUM, gone from recent headers
constexpr size_t kShortNameMax = 3;
constexpr int kAddrTextSize = 16;
constexpr int kCommandSize = 256;
constexpr int kForEver = -1;

// A short name is not asked for: the kernel chooses one. A type that is neither sets no flag, and
// the driver refuses it.
ifreq RequestFor(const char* name, int type) {
    ifreq request = {};
    request.ifr_flags = IFF_NO_PI;
    if (type == kAdapterTun) request.ifr_flags |= IFF_TUN;
    if (type == kAdapterTap) request.ifr_flags |= IFF_TAP;
    if (strlen(name) > kShortNameMax) memcpy(request.ifr_name, name, strnlen(name, IFNAMSIZ));
    return request;
}

// Asks the driver for the interface, with the virtio header and bursts of TCP if it grants them;
// the last request's result.
int SetInterface(int fd, ifreq& request, bool& has_header) {
    ifreq with_header = request;
    with_header.ifr_flags |= IFF_VNET_HDR;
    has_header = (request.ifr_flags & IFF_TUN) != 0 && ioctl(fd, TUNSETIFF, &with_header) >= 0;
    if (!has_header) return ioctl(fd, TUNSETIFF, &request);
    // Should this be refused, each read has one packet, behind a header that says so.
    ioctl(fd, TUNSETOFFLOAD, TUN_F_CSUM | TUN_F_TSO4);
    request = with_header;
    return 0;
}

// Any non-zero argument: the driver is not to verify checksums.
bool SetNoChecksums(int fd, ifreq& request) {
    return ioctl(fd, kTunSetNoCsum, &request) >= 0;
}

}  // namespace

int CTNetAdapter::Open(const char* name, int type) {
    if (!name) return -1;
    Close();
    SetGone(false);
    m_type = type;
    pvu_text_field_set(m_name, name);
    m_fd = m_adopted_fd.exchange(-1);
    m_is_adopted = m_fd != -1;
    m_has_header = m_is_adopted && m_adopted_has_header;
    if (!m_is_adopted) m_fd = OpenDriver(name, type);
    m_reader.Attach(m_fd, m_has_header);
    if (!m_is_adopted) return m_fd;
    m_open_error = 0;
    printf("TUN/TAP device %s opened\n", name);
    return m_fd;
}

// Nothing here ends early: after a failed open the requests fail in turn, each with its line.
int CTNetAdapter::OpenDriver(const char* name, int type) {
    int fd = open(kTunDevice, O_RDWR | O_CLOEXEC);
    m_open_error = fd < 0 ? errno : 0;
    if (fd < 0) printf("Cannot open TUN/TAP dev %s", kTunDevice);

    if (type != kAdapterTun && type != kAdapterTap) {
        printf("I don't recognize device %s as a TUN or TAP device", name);
    }
    ifreq request = RequestFor(name, type);
    bool has_header = false;
    int result = SetInterface(fd, request, has_header);
    m_has_header = has_header;
    if (result < 0) {
        if (m_open_error == 0) m_open_error = errno;
        printf("Cannot ioctl TUNSETIFF %s", name);
    }
    if (!SetNoChecksums(fd, request)) printf("Cannot ioctl TUNSETIFF %s", name);
    printf("TUN/TAP device %.*s opened\n", IFNAMSIZ, request.ifr_name);
    return fd;
}

int CTNetAdapter::Open(const char* name) {
    if (!name) return 0;
    int fd = Open(name, kAdapterTun);
    if (m_open_error != 0) {
        printf("net adapter %s not opened: %s\n", name, strerror(m_open_error));
        // A driver that gave no interface leaves a descriptor whose reads and writes fail. An edge
        // that went on with it would take the session of the one that has the interface, set an
        // address on that and take it down at its end.
        Close();
        return 0;
    }
    if (fd == -1) return 0;
    m_net_layer = m_type == kAdapterTap ? kNetLayer2 : kNetLayer3;
    return 1;
}

void CTNetAdapter::Close() {
    if (m_fd == -1) return;
    close(m_fd);
    m_fd = -1;
    m_is_adopted = false;
}

void CTNetAdapter::SetGone(bool gone) {
    CTMutexGuard guard(m_config_mutex);
    m_is_gone = gone;
}

int CTNetAdapter::MakeAgain() {
    SetGone(true);
    m_next_has_header = m_adopted_has_header;
    if (m_is_adopted) return m_adopted_fd.exchange(-1);
    int fd = open(kTunDevice, O_RDWR | O_CLOEXEC);
    if (fd < 0) return -1;
    ifreq request = RequestFor(m_name, m_type);
    if (SetInterface(fd, request, m_next_has_header) < 0) {
        close(fd);
        return -1;
    }
    SetNoChecksums(fd, request);
    return fd;
}

void CTNetAdapter::Replace(int fd) {
    close(std::exchange(m_fd, fd));
    m_has_header = m_next_has_header;
    m_reader.Attach(m_fd, m_has_header);
    SetGone(false);
}

CIPv4Addr CTNetAdapter::GetIP() const {
    CTMutexGuard guard(m_config_mutex);
    return m_ip;
}

int CTNetAdapter::GetMAC(unsigned char* out) const {
    if (!out) return 0;
    memcpy(out, m_mac.GetBytes(), kEtherAddrSize);
    return 1;
}

int CTNetAdapter::GetMAC(CEtherAddr& out) const {
    out = m_mac;
    return 1;
}

int CTNetAdapter::GetVersion(unsigned int& major, unsigned int& minor) const {
    major = 1;
    minor = 1;
    return 1;
}

int CTNetAdapter::GetInfo([[maybe_unused]] char* buf, [[maybe_unused]] int size) {
    return 0;
}

int CTNetAdapter::ConfigP2P([[maybe_unused]] unsigned int local,
                            [[maybe_unused]] unsigned int remote) {
    return 1;
}

int CTNetAdapter::ConfigTun(unsigned int ip, unsigned int mask) {
    CTMutexGuard guard(m_config_mutex);
    m_ip = ip;
    m_mask = mask;
    return 1;
}

int CTNetAdapter::EnableAdapter() {
    char ip[kAddrTextSize];
    char mask[kAddrTextSize];
    CTMutexGuard guard(m_config_mutex);
    m_ip.Format(ip, sizeof ip);
    m_mask.Format(mask, sizeof mask);
    char command[kCommandSize];
    std::string mtu = m_mtu == kDriverMtu ? "" : "mtu " + std::to_string(m_mtu) + " ";
    snprintf(command, sizeof command, "ifconfig %.32s %s netmask %s %sup", m_name, ip, mask,
             mtu.c_str());
    RunCommand(command);
    return 1;
}

int CTNetAdapter::DisableAdapter() {
    char command[kCommandSize];
    CTMutexGuard guard(m_config_mutex);
    snprintf(command, sizeof command, "ifconfig %.32s down", m_name);
    RunCommand(command);
    return 1;
}

void CTNetAdapter::RunCommand(const char* command) {
    // Of the name of an interface that is gone there may be somebody else's by now.
    if (m_is_adopted || m_is_gone) return;
    int status = system(command);
    // A daemon ignores the ends of its children, and so never learns theirs.
    if (status == 0 || (status == -1 && errno == ECHILD)) return;
    printf("net adapter not configured, status %d: %s\n", WEXITSTATUS(status), command);
    CTEvent(CTEventLevel::kError, "interface not configured")
        .Add("interface", m_name)
        .Add("command", command)
        .Add("status", WEXITSTATUS(status))
        .Log();
}

int CTNetAdapter::Read(void* buf, int len) {
    if (!IsUsable(buf, len)) return -1;
    if (m_has_header) return ReadPacket(buf, len, kForEver);
    return static_cast<int>(read(m_fd, buf, static_cast<size_t>(len)));
}

int CTNetAdapter::Read(void* buf, int len, int timeout_ms) {
    if (!IsUsable(buf, len)) return -1;
    if (m_has_header) return ReadPacket(buf, len, timeout_ms);
    return PollRead(m_fd, buf, len, timeout_ms);
}

// One packet, also of a burst: the rest of it waits for the next call.
int CTNetAdapter::ReadPacket(void* buf, int len, int timeout_ms) {
    if (!m_reader.HasPacket()) {
        int result = WaitReadable(timeout_ms) ? m_reader.Read() : 0;
        if (result < 0) return -1;
        if (result == 0) {
            errno = ETIMEDOUT;
            return 0;
        }
    }
    return m_reader.Next(static_cast<uint8_t*>(buf), len);
}

bool CTNetAdapter::WaitReadable(int timeout_ms) const {
    pollfd wait = {m_fd, POLLIN, 0};
    return PollWait(&wait, 1, timeout_ms) > 0;
}

int CTNetAdapter::Write(const void* buf, int len) {
    if (!IsUsable(buf, len)) return -1;
    if (!m_has_header) return static_cast<int>(write(m_fd, buf, static_cast<size_t>(len)));
    tnet_virtio_hdr header = {};
    iovec pieces[] = {{&header, sizeof header}, {const_cast<void*>(buf), static_cast<size_t>(len)}};
    int result = WritePieces(pieces, 2);
    return result > 0 ? result - kVirtioHdrSize : result;
}

int CTNetAdapter::WritePieces(const iovec* pieces, int count) {
    if (!IsOpen()) return -1;
    int skipped = m_has_header ? 0 : 1;
    return static_cast<int>(writev(m_fd, pieces + skipped, count - skipped));
}

int CTNetAdapter::PollWait(pollfd* fds, unsigned long n, int timeout_ms) {
    int result;
    do {
        result = poll(fds, n, timeout_ms);
    } while (result < 0);
    return result;
}

int CTNetAdapter::PollRead(int fd, void* buf, int len, int timeout_ms) {
    pollfd wait = {fd, POLLIN, 0};
    if (PollWait(&wait, 1, timeout_ms) <= 0) {
        errno = ETIMEDOUT;
        return 0;
    }
    // An interface that is gone is ready at once, but has nothing to read.
    if ((wait.revents & POLLIN) == 0) {
        errno = ENODEV;
        return -1;
    }
    int result = static_cast<int>(read(fd, buf, static_cast<size_t>(len)));
    if (result == 0) errno = ENODEV;
    return result;
}

int CTNetAdapter::SelectWait(int fd, int timeout_ms) {
    return CTUdp::SelectWait(fd, timeout_ms);
}
