#include "offload/grouped_receiver.h"

#include <arpa/inet.h>
#include <netinet/udp.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

// The control message's value, if it has one of that type and size.
template <typename Value>
bool ReadValue(const cmsghdr& cmsg, int level, int type, Value& value) {
    if (cmsg.cmsg_level != level || cmsg.cmsg_type != type) return false;
    if (cmsg.cmsg_len < CMSG_LEN(sizeof value)) return false;
    memcpy(&value, CMSG_DATA(const_cast<cmsghdr*>(&cmsg)), sizeof value);
    return true;
}

}  // namespace

CTGroupedReceiver::CTGroupedReceiver(const CTRecvCalls& calls)
    : m_calls(calls), m_bytes(static_cast<size_t>(kMessages) * kMessageSize) {}

void CTGroupedReceiver::Attach(int fd) {
    m_fd = fd;
    m_wait_ms = 0;
    m_count = 0;
    m_message = 0;
    int on = 1;
    setsockopt(fd, SOL_UDP, UDP_GRO, &on, sizeof on);
    setsockopt(fd, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
}

void CTGroupedReceiver::Prepare() {
    for (size_t i = 0; i < kMessages; ++i) {
        m_pieces[i] = {m_bytes.data() + i * kMessageSize, kMessageSize};
        msghdr& msg = m_messages[i].msg_hdr;
        msg = {};
        msg.msg_name = &m_from[i];
        msg.msg_namelen = sizeof m_from[i];
        msg.msg_iov = &m_pieces[i];
        msg.msg_iovlen = 1;
        msg.msg_control = m_controls[i].bytes.data();
        msg.msg_controllen = m_controls[i].bytes.size();
    }
}

int CTGroupedReceiver::Receive() {
    return Call(MSG_DONTWAIT);
}

// One call where waiting by itself would be a second one, on the road of every lone packet.
int CTGroupedReceiver::Receive(int ms) {
    return Call(ms > 0 && LimitWait(ms) ? MSG_WAITFORONE : MSG_DONTWAIT);
}

// Without a limit a call would wait for ever.
bool CTGroupedReceiver::LimitWait(int ms) {
    if (ms == m_wait_ms) return true;
    timeval limit = {ms / 1000, (ms % 1000) * 1000};
    if (setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0) return false;
    m_wait_ms = ms;
    return true;
}

int CTGroupedReceiver::Call(int flags) {
    Prepare();
    m_message = 0;
    m_offset = 0;
    int result;
    do {
        result = m_calls.recvmmsg(m_fd, m_messages.data(), kMessages, flags, nullptr);
    } while (result < 0 && errno == EINTR);
    m_count = std::max(result, 0);
    if (m_count > 0) ReadControl(0);
    return result < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) ? 0 : result;
}

void CTGroupedReceiver::ReadControl(size_t message) {
    m_segment = 0;
    m_to = 0;
    msghdr& msg = m_messages[message].msg_hdr;
    for (cmsghdr* cmsg = CMSG_FIRSTHDR(&msg); cmsg; cmsg = CMSG_NXTHDR(&msg, cmsg)) {
        in_pktinfo info;
        if (ReadValue(*cmsg, IPPROTO_IP, IP_PKTINFO, info)) m_to = ntohl(info.ipi_spec_dst.s_addr);
        ReadValue(*cmsg, SOL_UDP, UDP_GRO, m_segment);
    }
    // A segment size that is none would never come to an end.
    if (m_segment <= 0) m_segment = kMessageSize;
}

bool CTGroupedReceiver::Next(CTReceivedDatagram& datagram) {
    if (static_cast<int>(m_message) >= m_count) return false;
    const mmsghdr& message = m_messages[m_message];
    int length = std::min(static_cast<int>(message.msg_len), kMessageSize);
    datagram.data = m_bytes.data() + m_message * kMessageSize + m_offset;
    datagram.length = std::min(m_segment, length - m_offset);
    datagram.from = &m_from[m_message];
    datagram.to = m_to;
    m_offset += datagram.length;
    bool is_last = m_offset >= length;
    datagram.was_cut = is_last && (message.msg_hdr.msg_flags & MSG_TRUNC) != 0;
    if (is_last) {
        m_offset = 0;
        if (static_cast<int>(++m_message) < m_count) ReadControl(m_message);
    }
    return true;
}
