#include "tcr/tcr_socket.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr int kReceiveBufferKb = 1024;

// Room for the address of ours that goes with a datagram, aligned as the system wants it.
union PacketInfo {
    cmsghdr align;
    char bytes[CMSG_SPACE(sizeof(in_pktinfo))];
};

uint32_t LocalOf(msghdr& message) {
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part; part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level != IPPROTO_IP || part->cmsg_type != IP_PKTINFO) continue;
        in_pktinfo info;
        memcpy(&info, CMSG_DATA(part), sizeof info);
        return ntohl(info.ipi_spec_dst.s_addr);
    }
    return 0;
}

void SetLocal(msghdr& message, PacketInfo& control, uint32_t local) {
    message.msg_control = control.bytes;
    message.msg_controllen = sizeof control.bytes;
    cmsghdr* part = CMSG_FIRSTHDR(&message);
    part->cmsg_level = IPPROTO_IP;
    part->cmsg_type = IP_PKTINFO;
    part->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info = {};
    info.ipi_spec_dst.s_addr = htonl(local);
    memcpy(CMSG_DATA(part), &info, sizeof info);
}

}  // namespace

bool TcrSocket::Open(uint32_t ip, uint16_t port, std::string& fault) {
    m_udp.Open();
    CTSockAddr local(ip, port);
    int on = 1;
    bool open =
        setsockopt(Handle(), IPPROTO_IP, IP_PKTINFO, &on, sizeof on) == 0 &&
        m_udp.Bind(reinterpret_cast<sockaddr*>(local.GetSockAddrin()), sizeof(sockaddr_in)) == 0;
    if (!open) fault = strerror(errno);
    // Bursts of all edges meet here; the system may grant less.
    m_udp.SetRecvBufSize(kReceiveBufferKb);
    return open;
}

int TcrSocket::Receive(TcrPath& from, void* data, int size) {
    sockaddr_in remote = {};
    PacketInfo control = {};
    iovec part = {data, static_cast<size_t>(size)};
    msghdr message = {};
    message.msg_name = &remote;
    message.msg_namelen = sizeof remote;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.bytes;
    message.msg_controllen = sizeof control.bytes;
    // MSG_TRUNC: the true length, so that a datagram that was cut is known as such.
    ssize_t length = recvmsg(Handle(), &message, MSG_DONTWAIT | MSG_TRUNC);
    if (length < 0) return -1;
    from.remote = &remote;
    from.local = LocalOf(message);
    return static_cast<int>(length);
}

bool TcrSocket::Send(const TcrPath& to, const void* data, int length) {
    sockaddr_in remote = *to.remote.GetSockAddrin();
    PacketInfo control = {};
    iovec part = {const_cast<void*>(data), static_cast<size_t>(length)};
    msghdr message = {};
    message.msg_name = &remote;
    message.msg_namelen = sizeof remote;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (to.local != 0) SetLocal(message, control, to.local);
    return sendmsg(Handle(), &message, MSG_DONTWAIT) == length;
}
