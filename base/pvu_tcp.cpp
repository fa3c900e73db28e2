#include "base/pvu_tcp.h"

#include <arpa/inet.h>

#include <cstring>

int CTTcpConnect::Connect(const char* ip, int port) {
    if (!ip) return -1;
    if (CTSocket::Open(SOCK_STREAM, IPPROTO_TCP) != 0) return 1;
    m_peer.sin_family = AF_INET;
    m_peer.sin_port = htons(static_cast<uint16_t>(port));
    m_peer.sin_addr.s_addr = inet_addr(ip);
    return CTSocket::Connect(reinterpret_cast<sockaddr*>(&m_peer), sizeof m_peer);
}

int CTTcpConnect::Attach(int fd, const sockaddr* addr) {
    CTSocket::Attach(fd);
    if (addr) memcpy(&m_peer, addr, sizeof m_peer);
    return 0;
}

int CTTcpConnect::Write(const void* buf, int len) {
    return !buf || len <= 0 ? 1 : Send(buf, len);
}

int CTTcpConnect::Read(void* buf, int len) {
    return !buf || len <= 0 ? 1 : Recv(buf, len);
}
