#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "bench/load/load_sender.h"

namespace {

// A sink on 127.0.0.1 that loses one in so many, and answers every second question only.
class LossySink {
  public:
    explicit LossySink(uint64_t one_in) : m_one_in(one_in) {
        socklen_t size = sizeof m_address;
        m_address.sin_family = AF_INET;
        m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(bind(m_udp, reinterpret_cast<sockaddr*>(&m_address), size), 0);
        EXPECT_EQ(getsockname(m_udp, reinterpret_cast<sockaddr*>(&m_address), &size), 0);
        timeval poll = {0, 20000};
        setsockopt(m_udp, SOL_SOCKET, SO_RCVTIMEO, &poll, sizeof poll);
        m_thread = std::thread(&LossySink::Run, this);
    }
    ~LossySink() {
        m_ends = true;
        m_thread.join();
        close(m_udp);
    }
    LossySink(const LossySink&) = delete;
    LossySink& operator=(const LossySink&) = delete;

    const sockaddr_in& Address() const { return m_address; }
    uint64_t Arrived() const { return m_arrived; }

  private:
    void Run() {
        while (!m_ends) {
            uint8_t data[2048];
            sockaddr_in from;
            socklen_t size = sizeof from;
            ssize_t n =
                recvfrom(m_udp, data, sizeof data, 0, reinterpret_cast<sockaddr*>(&from), &size);
            LoadHeader header;
            if (n <= 0 || !ReadLoad(data, static_cast<size_t>(n), header)) continue;
            if (header.run != m_run) m_counted = m_arrived = 0;
            m_run = header.run;
            if (header.kind == kLoadData) {
                if (++m_arrived % m_one_in != 0) ++m_counted;
            } else if (++m_questions % 2 == 0) {
                LoadAnswer answer = {kLoadMagic, m_run, m_counted, 1000000};
                sendto(m_udp, &answer, sizeof answer, 0, reinterpret_cast<sockaddr*>(&from), size);
            }
        }
    }

    const uint64_t m_one_in;
    const int m_udp = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in m_address = {};
    std::atomic<bool> m_ends{false};
    std::atomic<uint64_t> m_arrived{0};
    uint64_t m_counted = 0;
    uint64_t m_questions = 0;
    uint32_t m_run = 0;
    std::thread m_thread;
};

TEST(Load, CountsWhatWasLostExactly) {
    LossySink sink(10);
    LoadSender sender(sink.Address(), 64);
    std::optional<LoadResult> result = sender.Run(2000, 0.1);
    ASSERT_TRUE(result);
    EXPECT_GT(result->sent, 0u);
    EXPECT_EQ(result->sent, sink.Arrived());
    EXPECT_EQ(result->Lost(), result->sent / 10);
    EXPECT_EQ(result->rate, static_cast<double>(result->received) * 1000);
}

TEST(Load, FindsNoRateOnARoadThatAlwaysLoses) {
    LossySink lossy(10);
    LoadSender sender(lossy.Address(), 64);
    EXPECT_EQ(sender.SearchLossFree(4000, 2, 0.05), 0);
    LossySink clean(UINT64_MAX);
    LoadSender other(clean.Address(), 64);
    EXPECT_GT(other.SearchLossFree(4000, 2, 0.05), 0);
}

}  // namespace
