#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>

#include "base/pvu_counter.h"

// One datagram to send: where its bytes lie, where it goes, and from which address of this host
// (host byte order, 0: the system chooses).
struct CTDatagram {
    const uint8_t* data = nullptr;
    int length = 0;
    const sockaddr_in* to = nullptr;
    uint32_t from = 0;
};

// The system calls that the sender makes; tests hand in scripted ones.
struct CTSendCalls {
    ssize_t (*sendmsg)(int fd, const msghdr* msg, int flags) = ::sendmsg;
    int (*sendmmsg)(int fd, mmsghdr* msgs, unsigned count, int flags) = ::sendmmsg;
};

// Sends bursts of datagrams with as few system calls as the system allows, in their order:
//
//   UDP_SEGMENT   datagrams of one length to one address, of which the last may be shorter, leave
//                 in one call, and as one through a link that can take them so
//   sendmmsg      several such groups, or single datagrams, in one call
//   sendmsg       where even that is not there
//
// What the system refuses to do it is not asked again on this socket; a datagram that it refuses
// is dropped and costs nobody else. Owned by who owns the socket; one thread.
class CTGroupedSender {
  public:
    static constexpr int kMaxBurst = 128;  // datagrams in one call of Send

    explicit CTGroupedSender(const CTSendCalls& calls = {}) : m_calls(calls) {}

    // A new socket, and the flags of its calls (MSG_DONTWAIT where nobody may wait for room in its
    // buffer): everything is tried anew.
    void Attach(int fd, int flags = 0);
    // Sends up to kMaxBurst datagrams; how many the system took.
    int Send(const CTDatagram* datagrams, int count);

    // Any thread.
    uint64_t GetSegmentsRefused() const { return m_segments_refused.Get(); }
    uint64_t GetCalls() const { return m_call_count.Get(); }

  private:
    // Datagrams that go out as one: their place in the burst.
    struct Group {
        int first = 0;
        int count = 0;
    };
    struct alignas(cmsghdr) Control {
        std::array<uint8_t, CMSG_SPACE(sizeof(in_pktinfo)) + CMSG_SPACE(sizeof(uint16_t))> bytes;
    };
    int MakeGroups(const CTDatagram* datagrams, int count);
    void Prepare(int group, const CTDatagram* datagrams);
    static void SetControl(msghdr& msg, Control& control, uint32_t from, int segment);
    int SendGroups(const CTDatagram* datagrams, int begin, int end);
    int SendOneByOne(const CTDatagram* datagrams, const Group& group);
    int SendRefused(const CTDatagram* datagrams, const Group& group);
    int SendSome(int begin, int end);

    const CTSendCalls m_calls;
    int m_fd = -1;
    int m_flags = 0;
    bool m_may_segment = true;
    bool m_may_send_many = true;
    CTCounter m_segments_refused;
    CTCounter m_call_count;

    std::array<Group, kMaxBurst> m_groups;
    std::array<mmsghdr, kMaxBurst> m_messages;
    std::array<iovec, kMaxBurst> m_pieces;      // one for each datagram
    std::array<Control, kMaxBurst> m_controls;  // one for each group
};
