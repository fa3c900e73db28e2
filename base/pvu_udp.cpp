#include "base/pvu_udp.h"

#include <arpa/inet.h>
#include <sys/select.h>

#include <cstdio>

bool CTUdp::Open() {
    return CTSocket::Open(SOCK_DGRAM, IPPROTO_UDP) == 0;
}

bool CTUdp::Open(int port) {
    Open();
    sockaddr_in any = {};
    any.sin_family = AF_INET;
    any.sin_addr.s_addr = htonl(INADDR_ANY);
    any.sin_port = htons(static_cast<uint16_t>(port));
    return Bind(reinterpret_cast<sockaddr*>(&any), sizeof any) == 0;
}

int CTUdp::Connect(const char* ip, int port) {
    if (!ip) return -1;
    m_peer.sin_family = AF_INET;
    m_peer.sin_port = htons(static_cast<uint16_t>(port));
    m_peer.sin_addr.s_addr = inet_addr(ip);
    return 0;
}

void CTUdp::SetRecvTimeout(int ms) {
    printf("CTUdp set rect timeout: %d\n", ms);
    m_recv_timeout = ms;
}

int CTUdp::SelectWait(int fd, int ms) {
    // A descriptor outside the set would be written outside its memory.
    if (fd < 0 || fd >= FD_SETSIZE) return 1;
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval timeout;
    timeout.tv_sec = ms / 1000;
    timeout.tv_usec = (ms % 1000) * 1000;
    return select(fd + 1, &readable, nullptr, nullptr, &timeout) > 0 ? 0 : 1;
}

int CTUdp::Write(const sockaddr_in* to, const void* buf, int len) {
    return Sendto(buf, len, reinterpret_cast<const sockaddr*>(to), sizeof *to);
}

int CTUdp::Read(sockaddr_in* from, void* buf, int len) {
    return Read(from, buf, len, m_recv_timeout);
}

int CTUdp::Read(sockaddr_in* from, void* buf, int len, int ms) {
    if (SelectWait(GetHandle(), ms) != 0) return -1;
    int addrlen = sizeof *from;
    return Recvfrom(buf, len, reinterpret_cast<sockaddr*>(from), &addrlen);
}
