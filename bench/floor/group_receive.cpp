#include "bench/floor/group_receive.h"

#include <netinet/in.h>
#include <netinet/udp.h>

#include <cstring>

FloorGroupReceive::FloorGroupReceive(int udp)
    : m_udp(udp), m_data(std::make_unique<uint8_t[]>(kMessages * kMessageSize)) {
    int on = 1;
    setsockopt(udp, SOL_UDP, UDP_GRO, &on, sizeof on);
    for (size_t i = 0; i < kMessages; ++i) {
        m_buffers[i] = {Data(static_cast<int>(i)), kMessageSize};
        m_messages[i].msg_hdr.msg_iov = &m_buffers[i];
        m_messages[i].msg_hdr.msg_iovlen = 1;
        m_messages[i].msg_hdr.msg_control = m_controls[i].bytes;
    }
}

int FloorGroupReceive::Wait() {
    for (mmsghdr& message : m_messages)
        message.msg_hdr.msg_controllen = sizeof(Control);
    int n = recvmmsg(m_udp, m_messages.data(), kMessages, MSG_WAITFORONE, nullptr);
    return n > 0 ? n : 0;
}

size_t FloorGroupReceive::DatagramSize(int i, size_t whole) {
    msghdr& header = m_messages[static_cast<size_t>(i)].msg_hdr;
    for (cmsghdr* c = CMSG_FIRSTHDR(&header); c; c = CMSG_NXTHDR(&header, c)) {
        if (c->cmsg_level != SOL_UDP || c->cmsg_type != UDP_GRO) continue;
        int size;
        memcpy(&size, CMSG_DATA(c), sizeof size);
        if (size > 0) return static_cast<size_t>(size);
    }
    return whole;
}
