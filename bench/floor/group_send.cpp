#include "bench/floor/group_send.h"

#include <netinet/udp.h>

#include <cstring>

namespace {

constexpr size_t kMostSegments = 64;  // of the kernel
constexpr size_t kMostBytes = 65000;
constexpr size_t kRoom = 256;

}  // namespace

FloorGroupSend::FloorGroupSend(int udp) : m_udp(udp) {
    m_datagrams.reserve(kRoom);
    m_groups.reserve(kRoom);
    m_messages.reserve(kRoom);
}

bool FloorGroupSend::Fits(const Group& group, size_t size, const sockaddr_in& to) const {
    return !group.closed && group.to == &to && size <= group.size && group.count < kMostSegments &&
           group.total + size <= kMostBytes;
}

void FloorGroupSend::Add(uint8_t* data, size_t size, const sockaddr_in& to) {
    if (m_groups.empty() || !Fits(m_groups.back(), size, to))
        m_groups.push_back({&to, size, 0, m_datagrams.size(), 0, false, {}});
    Group& group = m_groups.back();
    m_datagrams.push_back({data, size});
    ++group.count;
    group.total += size;
    group.closed = size < group.size;
}

mmsghdr FloorGroupSend::MessageOf(Group& group) {
    mmsghdr message = {};
    msghdr& header = message.msg_hdr;
    header.msg_name = const_cast<sockaddr_in*>(group.to);
    header.msg_namelen = sizeof *group.to;
    header.msg_iov = &m_datagrams[group.begin];
    header.msg_iovlen = group.count;
    if (group.count == 1) return message;
    header.msg_control = group.control;
    header.msg_controllen = sizeof group.control;
    cmsghdr* control = CMSG_FIRSTHDR(&header);
    control->cmsg_level = SOL_UDP;
    control->cmsg_type = UDP_SEGMENT;
    control->cmsg_len = CMSG_LEN(sizeof(uint16_t));
    uint16_t size = static_cast<uint16_t>(group.size);
    memcpy(CMSG_DATA(control), &size, sizeof size);
    return message;
}

void FloorGroupSend::Flush() {
    m_messages.clear();
    for (Group& group : m_groups)
        m_messages.push_back(MessageOf(group));
    for (size_t sent = 0; sent < m_messages.size();) {
        int n =
            sendmmsg(m_udp, &m_messages[sent], static_cast<unsigned>(m_messages.size() - sent), 0);
        sent += n > 0 ? static_cast<size_t>(n) : 1;
    }
    m_groups.clear();
    m_datagrams.clear();
}
