#include "offload/burst_reader.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tests/support/expect_wire.h"

namespace {

// One end of a connection that keeps packets apart, as the interface does.
class BurstReader : public testing::Test {
  protected:
    BurstReader() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, fds), 0); }
    ~BurstReader() override {
        for (int fd : fds)
            close(fd);
    }
    void Give(const tnet_virtio_hdr& hdr, const WireBytes& packet) {
        WireBytes bytes(reinterpret_cast<const uint8_t*>(&hdr),
                        reinterpret_cast<const uint8_t*>(&hdr + 1));
        bytes.insert(bytes.end(), packet.begin(), packet.end());
        Give(bytes);
    }
    void Give(const WireBytes& bytes) {
        ASSERT_EQ(write(fds[0], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    // The lengths of the packets of one read.
    static std::vector<int> Take(CTBurstReader& reader, int size = 1500) {
        std::vector<int> lengths;
        WireBytes out(static_cast<size_t>(size));
        EXPECT_GT(reader.Read(), 0);
        while (reader.HasPacket())
            lengths.push_back(reader.Next(out.data(), size));
        return lengths;
    }
    static WireBytes TcpBurst(size_t payload) {
        WireBytes bytes =
            Hex("4500000000004000400600000a0000010a000002"
                "00010002000000000000000050100000"
                "00000000");
        bytes.resize(40 + payload, 'x');
        return bytes;
    }
    static constexpr tnet_virtio_hdr kBurst = {kVirtioNeedsCsum, kVirtioTcp4Burst, 40, 1000, 20,
                                               kTcpCksumOffset};
    int fds[2];
};

TEST_F(BurstReader, TakesPacketsAndBurstsUntilNothingWaits) {
    CTBurstReader reader;
    reader.Attach(fds[1], true);
    EXPECT_EQ(reader.Read(), 0);
    Give({}, WireBytes(60, 1));
    Give(kBurst, TcpBurst(2500));
    EXPECT_EQ(Take(reader), std::vector<int>{60});
    EXPECT_FALSE(reader.IsBurst());
    EXPECT_EQ(Take(reader), (std::vector<int>{1040, 1040, 540}));
    EXPECT_TRUE(reader.IsBurst());
    EXPECT_EQ(reader.Read(), 0);
    reader.Attach(fds[1], false);
    Give(WireBytes(60, 1));
    EXPECT_EQ(Take(reader), std::vector<int>{60}) << "without a header all bytes are the packet's";
}

TEST_F(BurstReader, DropsWhatDoesNotFitOrIsNotTrue) {
    CTBurstReader reader;
    reader.Attach(fds[1], true);
    tnet_virtio_hdr outside = {kVirtioNeedsCsum, kVirtioOnePacket, 0, 0, 50, 16};
    Give({}, WireBytes(1501, 1));
    Give(outside, WireBytes(60, 1));
    Give(kBurst, TcpBurst(0));
    Give(kBurst, WireBytes(60, 1));
    Give(WireBytes(kVirtioHdrSize, 0));
    Give(WireBytes(3, 0));
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(Take(reader), std::vector<int>{0}) << i;
    Give(kBurst, TcpBurst(2500));
    EXPECT_EQ(Take(reader, 1039), std::vector<int>{0});
    Give({}, WireBytes(60, 1));
    EXPECT_EQ(Take(reader), std::vector<int>{60});
}

int g_polls = 0;

TEST_F(BurstReader, AsksBeforeEachReadWhereTheSystemCannotReadWithoutWaiting) {
    CTReadCalls calls;
    calls.preadv2 = [](int, const iovec*, int, off_t, int) -> ssize_t {
        errno = EOPNOTSUPP;
        return -1;
    };
    calls.poll = [](pollfd* wait, nfds_t count, int timeout_ms) {
        ++g_polls;
        EXPECT_EQ(timeout_ms, 0);
        return poll(wait, count, timeout_ms);
    };
    CTBurstReader reader(calls);
    reader.Attach(fds[1], true);
    g_polls = 0;
    EXPECT_EQ(reader.Read(), 0);
    Give({}, WireBytes(60, 1));
    EXPECT_EQ(Take(reader), std::vector<int>{60});
    EXPECT_EQ(g_polls, 2);
}

TEST_F(BurstReader, SaysWhenTheInterfaceHasGone) {
    CTBurstReader reader;
    reader.Attach(fds[1], true);
    shutdown(fds[0], SHUT_RDWR);
    EXPECT_EQ(reader.Read(), -1);
    EXPECT_EQ(errno, ENODEV);
    reader.Attach(-1, true);
    EXPECT_EQ(reader.Read(), -1);
    EXPECT_EQ(errno, EBADF);
}

}  // namespace
