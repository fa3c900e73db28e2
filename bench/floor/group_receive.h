#pragma once

#include <sys/socket.h>
#include <sys/uio.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

// Receives with UDP_GRO and recvmmsg: each message may hold many datagrams of one size. One thread.
class FloorGroupReceive {
  public:
    // Turns UDP_GRO on for the socket.
    explicit FloorGroupReceive(int udp);
    FloorGroupReceive(const FloorGroupReceive&) = delete;
    FloorGroupReceive& operator=(const FloorGroupReceive&) = delete;

    // Waits for the first message and takes what else is there; how many, 0 for an error.
    int Wait();
    // Calls each(data, size) for every datagram; the bytes stay until the next Wait.
    template <typename Each>
    void ForEach(int count, Each each) {
        for (int i = 0; i < count; ++i) {
            uint8_t* data = Data(i);
            size_t left = m_messages[static_cast<size_t>(i)].msg_len;
            size_t size = DatagramSize(i, left);
            for (size_t n; left > 0; data += n, left -= n) {
                n = size < left ? size : left;
                each(data, n);
            }
        }
    }

  private:
    static constexpr size_t kMessages = 8;
    static constexpr size_t kMessageSize = 65536;

    uint8_t* Data(int i) { return m_data.get() + static_cast<size_t>(i) * kMessageSize; }
    size_t DatagramSize(int i, size_t whole);

    const int m_udp;
    std::unique_ptr<uint8_t[]> m_data;
    std::array<iovec, kMessages> m_buffers;
    std::array<mmsghdr, kMessages> m_messages{};
    struct alignas(cmsghdr) Control {
        char bytes[CMSG_SPACE(sizeof(int))];
    };
    std::array<Control, kMessages> m_controls;
};
