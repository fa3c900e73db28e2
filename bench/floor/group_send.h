#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <cstdint>
#include <vector>

// Collects datagrams and sends neighbours of one size and address as one UDP_SEGMENT send, the last
// of which may be shorter; all sends with one sendmmsg. One thread.
class FloorGroupSend {
  public:
    explicit FloorGroupSend(int udp);
    FloorGroupSend(const FloorGroupSend&) = delete;
    FloorGroupSend& operator=(const FloorGroupSend&) = delete;

    // The bytes and the address stay the caller's and must not change before the flush.
    void Add(uint8_t* data, size_t size, const sockaddr_in& to);
    // Sends everything, in the order of Add; what the system refuses is lost.
    void Flush();

  private:
    struct Group {
        const sockaddr_in* to;
        size_t size;   // of each datagram but the last
        size_t total;  // bytes
        size_t begin;  // of its datagrams
        size_t count;
        bool closed;  // a shorter one ended it
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(uint16_t))];
    };

    bool Fits(const Group& group, size_t size, const sockaddr_in& to) const;
    mmsghdr MessageOf(Group& group);

    const int m_udp;
    std::vector<iovec> m_datagrams;
    std::vector<Group> m_groups;
    std::vector<mmsghdr> m_messages;
};
