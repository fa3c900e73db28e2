#include "offload/grouped_sender.h"

#include <arpa/inet.h>
#include <netinet/udp.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

// The kernel's limits for one segmented send: 64 datagrams, and what an IPv4 packet may hold.
constexpr int kMaxSegments = 64;
constexpr int kMaxSegmentedBytes = 65535 - 20 - 8;

bool GoTogether(const CTDatagram& a, const CTDatagram& b) {
    return a.to == b.to ||
           (a.to->sin_addr.s_addr == b.to->sin_addr.s_addr && a.to->sin_port == b.to->sin_port);
}

// Whether the system cannot segment at all, be it for this link or at all; any other error is about
// the datagrams.
bool IsRefusal(int error) {
    return error == EIO || error == EINVAL || error == ENOPROTOOPT || error == EOPNOTSUPP;
}

}  // namespace

void CTGroupedSender::Attach(int fd, int flags) {
    m_fd = fd;
    m_flags = flags;
    m_may_segment = true;
    m_may_send_many = true;
}

// A group ends with the first datagram that is shorter than those before it.
int CTGroupedSender::MakeGroups(const CTDatagram* datagrams, int count) {
    int groups = 0;
    for (int i = 0; i < count;) {
        Group group{i, 1};
        int size = datagrams[i].length;
        int bytes = size;
        bool is_open = m_may_segment;
        for (++i; i < count && is_open && group.count < kMaxSegments; ++i) {
            const CTDatagram& next = datagrams[i];
            bytes += next.length;
            bool fits = next.length > 0 && next.length <= size && bytes <= kMaxSegmentedBytes;
            if (!fits || !GoTogether(datagrams[group.first], next)) break;
            ++group.count;
            is_open = next.length == size;
        }
        m_groups[static_cast<size_t>(groups++)] = group;
    }
    return groups;
}

void CTGroupedSender::Prepare(int index, const CTDatagram* datagrams) {
    const Group& group = m_groups[static_cast<size_t>(index)];
    for (int i = group.first; i < group.first + group.count; ++i) {
        m_pieces[static_cast<size_t>(i)] = {const_cast<uint8_t*>(datagrams[i].data),
                                            static_cast<size_t>(datagrams[i].length)};
    }
    msghdr& msg = m_messages[static_cast<size_t>(index)].msg_hdr;
    msg = {};
    msg.msg_name = const_cast<sockaddr_in*>(datagrams[group.first].to);
    msg.msg_namelen = sizeof(sockaddr_in);
    msg.msg_iov = &m_pieces[static_cast<size_t>(group.first)];
    msg.msg_iovlen = static_cast<size_t>(group.count);
    SetControl(msg, m_controls[static_cast<size_t>(index)], datagrams[group.first].from,
               group.count > 1 ? datagrams[group.first].length : 0);
}

// Says what the bytes cannot: the address to send from, and the length of each datagram of a group;
// 0 for none.
void CTGroupedSender::SetControl(msghdr& msg, Control& control, uint32_t from, int segment) {
    size_t used = 0;
    auto add = [&](int level, int type, const void* value, size_t size) {
        cmsghdr* part = reinterpret_cast<cmsghdr*>(control.bytes.data() + used);
        part->cmsg_level = level;
        part->cmsg_type = type;
        part->cmsg_len = CMSG_LEN(size);
        memcpy(CMSG_DATA(part), value, size);
        used += CMSG_SPACE(size);
    };
    if (from != 0) {
        in_pktinfo info = {};
        info.ipi_spec_dst.s_addr = htonl(from);
        add(IPPROTO_IP, IP_PKTINFO, &info, sizeof info);
    }
    uint16_t size = static_cast<uint16_t>(segment);
    if (segment != 0) add(SOL_UDP, UDP_SEGMENT, &size, sizeof size);
    if (used == 0) return;
    msg.msg_control = control.bytes.data();
    msg.msg_controllen = used;
}

int CTGroupedSender::Send(const CTDatagram* datagrams, int count) {
    count = std::min(count, kMaxBurst);
    int groups = MakeGroups(datagrams, count);
    for (int i = 0; i < groups; ++i)
        Prepare(i, datagrams);
    return SendGroups(datagrams, 0, groups);
}

// Goes on behind what was sent: a call may send some groups only, and the one that it stopped at
// is the one that the next call tells the error of.
int CTGroupedSender::SendGroups(const CTDatagram* datagrams, int begin, int end) {
    int taken = 0;
    while (begin < end) {
        int sent = SendSome(begin, end);
        for (int i = begin; i < begin + sent; ++i)
            taken += m_groups[static_cast<size_t>(i)].count;
        if (sent <= 0) {
            taken += SendRefused(datagrams, m_groups[static_cast<size_t>(begin)]);
            sent = 1;
        }
        begin += sent;
    }
    return taken;
}

// The groups that one call took, or -1 with errno set, when it took none.
int CTGroupedSender::SendSome(int begin, int end) {
    mmsghdr* first = &m_messages[static_cast<size_t>(begin)];
    int result;
    do {
        m_call_count.Add();
        if (m_may_send_many && end - begin > 1) {
            result = m_calls.sendmmsg(m_fd, first, static_cast<unsigned>(end - begin), m_flags);
            if (result < 0 && errno == ENOSYS) {
                m_may_send_many = false;
                errno = EINTR;
            }
        } else {
            result = m_calls.sendmsg(m_fd, &first->msg_hdr, m_flags) >= 0 ? 1 : -1;
        }
    } while (result < 0 && errno == EINTR);
    return result;
}

// A group that was refused as a whole. Its datagrams are tried by themselves: when one of them
// goes, it was the segmenting that the system does not do. errno is the refused call's.
int CTGroupedSender::SendRefused(const CTDatagram* datagrams, const Group& group) {
    if (group.count == 1) return 0;
    bool refused = IsRefusal(errno);
    int taken = SendOneByOne(datagrams, group);
    if (refused && taken > 0 && m_may_segment) {
        m_may_segment = false;
        m_segments_refused.Add();
    }
    return taken;
}

int CTGroupedSender::SendOneByOne(const CTDatagram* datagrams, const Group& group) {
    int taken = 0;
    for (int i = group.first; i < group.first + group.count; ++i) {
        iovec piece = {const_cast<uint8_t*>(datagrams[i].data),
                       static_cast<size_t>(datagrams[i].length)};
        msghdr msg = {};
        msg.msg_name = const_cast<sockaddr_in*>(datagrams[i].to);
        msg.msg_namelen = sizeof(sockaddr_in);
        msg.msg_iov = &piece;
        msg.msg_iovlen = 1;
        Control control;
        SetControl(msg, control, datagrams[i].from, 0);
        ssize_t result;
        do {
            m_call_count.Add();
            result = m_calls.sendmsg(m_fd, &msg, m_flags);
        } while (result < 0 && errno == EINTR);
        if (result >= 0) ++taken;
    }
    return taken;
}
