#include "bench/floor/floor_io.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char kTunDevice[] = "/dev/net/tun";
constexpr int kSocketBuffer = 1024 * 1024;

// The result of a call that must not fail.
int Need(int result, const char* what) {
    if (result >= 0) return result;
    fprintf(stderr, "bench-floor: %s: %s\n", what, strerror(errno));
    exit(2);
}

}  // namespace

int OpenFloorInterface(const char* name, bool offload) {
    int fd = Need(open(kTunDevice, O_RDWR | O_CLOEXEC), kTunDevice);
    ifreq request = {};
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    if (offload) request.ifr_flags |= IFF_VNET_HDR;
    memcpy(request.ifr_name, name, strnlen(name, IFNAMSIZ - 1));
    Need(ioctl(fd, TUNSETIFF, &request), name);
    if (offload) Need(ioctl(fd, TUNSETOFFLOAD, TUN_F_CSUM | TUN_F_TSO4), "TUNSETOFFLOAD");
    return fd;
}

int OpenFloorSocket(uint16_t port) {
    int fd = Need(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket");
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kSocketBuffer, sizeof kSocketBuffer);
    sockaddr_in any = FloorAddress("0.0.0.0", port);
    Need(bind(fd, reinterpret_cast<sockaddr*>(&any), sizeof any), "bind");
    return fd;
}

sockaddr_in FloorAddress(const char* text, uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    Need(inet_pton(AF_INET, text, &address.sin_addr) == 1 ? 0 : (errno = EINVAL, -1), text);
    return address;
}
