#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <vector>

// The system call that the receiver makes; tests hand in a scripted one.
struct CTRecvCalls {
    int (*recvmmsg)(int fd, mmsghdr* msgs, unsigned count, int flags, timespec* wait) = ::recvmmsg;
};

// One datagram of a burst. The bytes are the receiver's and last until its next Receive.
struct CTReceivedDatagram {
    uint8_t* data = nullptr;
    int length = 0;
    const sockaddr_in* from = nullptr;
    uint32_t to = 0;       // the address of ours that it came to, host byte order; 0: not known
    bool was_cut = false;  // longer than any message: what is there is not all of it
};

// Receives all that waits at a socket with few system calls: several messages in one (recvmmsg),
// each of which may be many datagrams of one sender that the kernel joined (UDP_GRO). A kernel
// without UDP_GRO gives single datagrams. Owned by who owns the socket; one thread.
class CTGroupedReceiver {
  public:
    static constexpr int kMessages = 8;           // of one call
    static constexpr int kMessageSize = 1 << 16;  // a joined message is below 64 KB

    explicit CTGroupedReceiver(const CTRecvCalls& calls = {});

    // Asks for joined datagrams, and for the address that each came to; a kernel that refuses is
    // none the worse.
    void Attach(int fd);

    // Takes what waits, without waiting; the number of messages, 0 when there is none, -1 on error
    // (errno).
    int Receive();
    // The same, but waits for the first message, as many milliseconds as are given; 0 then.
    int Receive(int ms);
    // Whether the last one left nothing, as far as it could see.
    bool IsDrained() const { return m_count < kMessages; }
    // The datagrams of the last Receive, in the order of arrival: false at the end.
    bool Next(CTReceivedDatagram& datagram);

  private:
    void Prepare();
    int Call(int flags);
    bool LimitWait(int ms);
    void ReadControl(size_t message);

    const CTRecvCalls m_calls;
    int m_fd = -1;
    int m_wait_ms = 0;     // the limit that the socket has; 0: none
    int m_count = 0;       // messages received
    size_t m_message = 0;  // the one being cut
    int m_offset = 0;      // in it
    int m_segment = 0;     // length of its datagrams but the last
    uint32_t m_to = 0;     // the address that it came to

    std::vector<uint8_t> m_bytes;
    std::array<mmsghdr, kMessages> m_messages;
    std::array<iovec, kMessages> m_pieces;
    std::array<sockaddr_in, kMessages> m_from;
    struct alignas(cmsghdr) Control {
        std::array<uint8_t, CMSG_SPACE(sizeof(int)) + CMSG_SPACE(sizeof(in_pktinfo))> bytes;
    };
    std::array<Control, kMessages> m_controls;
};
