#include "bench/load/load_sink.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <memory>

#include "bench/load/load_message.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kMessages = 64;
constexpr size_t kMessageSize = 2048;
constexpr int kSocketBuffer = 4 * 1024 * 1024;

class Sink {
  public:
    explicit Sink(int udp) : m_udp(udp) {
        for (unsigned i = 0; i < kMessages; ++i) {
            m_buffers[i] = {m_data[i].data(), kMessageSize};
            m_messages[i].msg_hdr.msg_iov = &m_buffers[i];
            m_messages[i].msg_hdr.msg_iovlen = 1;
            m_messages[i].msg_hdr.msg_name = &m_from[i];
        }
    }

    // Waits for messages, then takes all that are there.
    void Receive() {
        for (mmsghdr& message : m_messages)
            message.msg_hdr.msg_namelen = sizeof(sockaddr_in);
        int n = recvmmsg(m_udp, m_messages.data(), kMessages, MSG_WAITFORONE, nullptr);
        Clock::time_point now = Clock::now();
        for (int i = 0; i < n; ++i)
            Handle(static_cast<unsigned>(i), now);
    }

  private:
    void Handle(unsigned i, Clock::time_point now) {
        LoadHeader header;
        if (!ReadLoad(m_data[i].data(), m_messages[i].msg_len, header)) return;
        if (header.run != m_run) {
            m_run = header.run;
            m_received = 0;
            m_first = now;
            m_last = now;
        }
        if (header.kind == kLoadQuestion) {
            Answer(m_from[i]);
            return;
        }
        ++m_received;
        m_last = now;
    }

    void Answer(const sockaddr_in& to) {
        LoadAnswer answer = {};
        answer.magic = kLoadMagic;
        answer.run = m_run;
        answer.received = m_received;
        std::chrono::nanoseconds spent = m_last - m_first;
        answer.nanoseconds = static_cast<uint64_t>(spent.count());
        sendto(m_udp, &answer, sizeof answer, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }

    const int m_udp;
    std::array<std::array<uint8_t, kMessageSize>, kMessages> m_data;
    std::array<iovec, kMessages> m_buffers;
    std::array<sockaddr_in, kMessages> m_from;
    std::array<mmsghdr, kMessages> m_messages{};

    uint32_t m_run = 0;
    uint64_t m_received = 0;
    Clock::time_point m_first;
    Clock::time_point m_last;
};

}  // namespace

int RunLoadSink(uint16_t port) {
    int udp = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    setsockopt(udp, SOL_SOCKET, SO_RCVBUFFORCE, &kSocketBuffer, sizeof kSocketBuffer);
    sockaddr_in any = {};
    any.sin_family = AF_INET;
    any.sin_port = htons(port);
    if (bind(udp, reinterpret_cast<sockaddr*>(&any), sizeof any) != 0) {
        fprintf(stderr, "bench-load: port %u: %s\n", port, strerror(errno));
        return 2;
    }
    auto sink = std::make_unique<Sink>(udp);
    for (;;)
        sink->Receive();
}
