#include "forward/net_adapter.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

#include "base/pvu_tick.h"
#include "forward/net_device.h"
#include "tests/support/captured_output.h"
#include "tests/support/noting_taker.h"
#include "tests/support/packet_end.h"
#include "tests/support/scratch_dir.h"
#include "tests/support/udp_peer.h"

namespace {

TEST(Adapter, ClosedItRefusesEverything) {
    CTNetAdapter adapter;
    char buf[10];
    EXPECT_FALSE(adapter.IsOpen());
    EXPECT_EQ(adapter.Open(nullptr), 0);
    EXPECT_EQ(adapter.Open(nullptr, kAdapterTun), -1);
    EXPECT_EQ(adapter.Read(buf, sizeof buf), -1);
    EXPECT_EQ(adapter.Read(buf, sizeof buf, 5), -1);
    EXPECT_EQ(adapter.Write(buf, sizeof buf), -1);
}

TEST(Adapter, ReadsAndWritesWholePackets) {
    PacketEnd host;
    CTNetAdapter adapter;
    int fd = host.TakeOther();
    adapter.Adopt(fd);
    CapturedOutput([&] { EXPECT_EQ(adapter.Open("Tamvo"), 1); });
    EXPECT_EQ(adapter.GetNetLayer(), 3);
    char buf[100];
    errno = ENODEV;
    EXPECT_EQ(adapter.Read(buf, sizeof buf, 1), 0);
    EXPECT_EQ(errno, ETIMEDOUT) << "no end of the interface";
    EXPECT_EQ(CTNetAdapter::SelectWait(fd, 1), 1);
    host.Write(WireBytes(60, 1));
    EXPECT_EQ(CTNetAdapter::SelectWait(fd, 5000), 0);
    EXPECT_EQ(adapter.Read(buf, sizeof buf, 5000), 60);
    host.Write({1});
    EXPECT_EQ(adapter.Read(buf, 1, 5000), 1);
    EXPECT_EQ(adapter.Read(nullptr, 10, 1), -1);
    EXPECT_EQ(adapter.Read(buf, 0, 1), -1);
    EXPECT_EQ(adapter.Write(buf, 30), 30);
    EXPECT_EQ(*host.Read(), WireBytes(30, 1));
    adapter.Close();
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

// The commands, seen by a tool of that name in the search path. The interface is one that does not
// exist: its type is none, so this needs no more than /dev/net/tun.
TEST(Adapter, TellsAnUnknownTypeAndConfiguresTheInterfaceAllTheSame) {
    ScratchDir dir;
    WriteWholeFile(dir.File("ifconfig"),
                   "#!/bin/sh\necho \"$*\" >>" + dir.File("calls") + "\nexit 7\n");
    chmod(dir.File("ifconfig").c_str(), 0755);
    std::string path = getenv("PATH");
    setenv("PATH", (dir.Path() + ":" + path).c_str(), 1);
    CTNetAdapter adapter;
    std::string printed = CapturedOutput([&] { adapter.Open("abc", 3); });
    adapter.ConfigTun(Ip(10, 1, 2, 3), Ip(255, 255, 0, 0));
    EXPECT_EQ(adapter.SetMediaStatus(true), 1);
    EXPECT_EQ(adapter.SetMediaStatus(false), 1);
    adapter.SetMtu(1384);
    EXPECT_EQ(adapter.GetMtu(), 1384);
    adapter.SetMediaStatus(true);
    setenv("PATH", path.c_str(), 1);
    // The name is too short to ask for.
    EXPECT_NE(printed.find("I don't recognize device abc as a TUN or TAP deviceCannot ioctl "
                           "TUNSETIFF abc"),
              std::string::npos)
        << printed;
    EXPECT_NE(printed.find("TUN/TAP device  opened\n"), std::string::npos) << printed;
    EXPECT_EQ(ReadWholeFile(dir.File("calls")),
              "abc 10.1.2.3 netmask 255.255.0.0 up\nabc down\n"
              "abc 10.1.2.3 netmask 255.255.0.0 mtu 1384 up\n");
}

class Device : public testing::Test {
  protected:
    void Open(int fd) {
        adapter.Adopt(fd);
        CapturedOutput([&] { adapter.Open("Tamvo"); });
        ASSERT_EQ(device->Open(adapter, pool), 1);
    }

    PacketEnd host;
    CTXmitPktPool pool{2048, 128};
    CTNetAdapter adapter;
    std::unique_ptr<CTNetDevice> device = std::make_unique<CTNetDevice>();
};

TEST_F(Device, QueuesWhatTheHostSendsAndDropsShortPacketsUntilItGoes) {
    Open(host.TakeOther());
    host.Write(WireBytes(19, 1));
    host.Write(WireBytes(20, 2));
    CTXmitPkt* pkt = nullptr;
    for (int i = 0; i < 50 && !pkt; ++i)
        pkt = device->Read();
    ASSERT_NE(pkt, nullptr);
    EXPECT_EQ(pkt->GetSkb()->HeadRoom(), 32);
    EXPECT_EQ(pkt->GetNetLayer(), 3);
    EXPECT_NE(pkt->GetRecvTick(), 0u);
    EXPECT_EQ(device->Write(pkt), 20);
    EXPECT_EQ(*host.Read(), WireBytes(20, 2));
    EXPECT_EQ(device->Write(nullptr), 0);
    pkt->Release();
    device.reset();
    EXPECT_EQ(pool.GetLoans(), 0);
}

// A burst of the host comes as its packets, under one number, and goes back as one.
TEST_F(Device, TakesAndGivesBurstsWhereTheInterfaceDoes) {
    adapter.Adopt(host.TakeOther(), true);
    CapturedOutput([&] { adapter.Open("Tamvo"); });
    EXPECT_TRUE(adapter.HasBursts());
    ASSERT_EQ(device->Open(adapter, pool), 1);
    WireBytes burst = Hex("01 01 2800 e803 1400 1000");  // 1000 bytes each, headers of 40
    WireBytes packet =
        Hex("4500 0000 1234 4000 40060000 0a000001 0a000002 0001 0002 00000001 00000000 5010 0000"
            "0000 0000");
    packet.resize(40 + 2500, 'x');
    burst.insert(burst.end(), packet.begin(), packet.end());
    WireBytes single(kVirtioHdrSize, 0);
    single.insert(single.end(), 40, 0x45);
    for (const WireBytes& bytes : {single, burst, burst})
        host.Write(bytes);
    CTXmitPkt* pkts[7];
    int n = 0;
    for (int i = 0; i < 50 && n < 7; ++i)
        n += device->Read(pkts + n, 7 - n);
    ASSERT_EQ(n, 7);
    std::vector<uint32_t> numbers;
    for (CTXmitPkt* pkt : pkts)
        numbers.push_back(pkt->GetBurst());
    EXPECT_EQ(numbers, (std::vector<uint32_t>{0, 1, 1, 1, 2, 2, 2}));
    EXPECT_EQ(pkts[3]->GetSkb()->GetDataLength(), 540);

    device->Write(pkts, 7);
    EXPECT_EQ(*host.Read(), single);
    for (int i = 0; i < 2; ++i) {
        WireBytes back = *host.Read();
        EXPECT_EQ(back.size(), burst.size());
        EXPECT_TRUE(std::equal(back.begin() + 50, back.end(), burst.begin() + 50));
        EXPECT_EQ(back[1], kVirtioTcp4Burst);
    }
    EXPECT_EQ(device->GetCounters().written.Get(), 7u);
    EXPECT_EQ(device->GetCounters().read.Get(), 7u);
    // One packet at a time, as before.
    EXPECT_EQ(device->Write(pkts[0]), 40);
    EXPECT_EQ(*host.Read(), single);
    CTXmitPktPool::Release(pkts, 7);
    device->StopThread();
    host.Write(burst);
    for (int length : {1040, 1040, 540}) {
        CTXmitPkt* pkt = device->ReadXmitPacket();
        ASSERT_NE(pkt, nullptr);
        EXPECT_EQ(pkt->GetSkb()->GetDataLength(), length);
        pkt->Release();
    }
}

// The second packet comes while the first one's reader may be at work on it, the third when the
// reader has asked again and found nothing.
TEST_F(Device, ALonePacketIsTakenAtOnceAndOvertakesNone) {
    NotingTaker taker;
    Open(host.TakeOther());
    auto read = [&] {
        CTXmitPkt* pkt = nullptr;
        for (int i = 0; i < 50 && !pkt; ++i)
            pkt = device->Read();
        return pkt;
    };
    host.Write(WireBytes(21, 1));
    CTXmitPkt* first = read();
    device->SetTaker(&taker);
    host.Write(WireBytes(22, 2));
    EXPECT_TRUE(BecomesLong(device->GetQueue(), 1));
    CTXmitPkt* second = read();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(second->GetSkb()->GetDataLength(), 22);
    EXPECT_EQ(device->Read(), nullptr);
    host.Write(WireBytes(23, 3));
    EXPECT_EQ(taker.WaitFor(1), std::vector<WireBytes>{WireBytes(23, 3)});
    EXPECT_TRUE(device->GetQueue().IsEmpty());
    first->Release();
    second->Release();
    device->Close();
    EXPECT_EQ(pool.GetLoans(), 0);
}

TEST_F(Device, KeepsNoMoreThanItsLimitAndReleasesAllAtTheEnd) {
    Open(host.TakeOther());
    while (device->GetCounters().queue_full.Get() == 0)
        host.Write(WireBytes(20, 1));
    EXPECT_EQ(device->GetQueue().Count(), CTXmitPktMtFifo::kMaxNetPackets);
    device->Close();
    EXPECT_EQ(pool.GetLoans(), 0);
    EXPECT_EQ(device->Read(), nullptr);
    CTXmitPkt pkt(100);
    EXPECT_EQ(device->Write(&pkt), -1);
}

// A deleted interface is an error to poll; one that ended gives nothing, at once, for ever.
TEST_F(Device, ABrokenInterfaceIsToldOnceAndDoesNotKeepTheThreadBusy) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    close(fds[0]);
    int deleted = fds[1];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, fds), 0);
    close(fds[0]);
    for (int fd : {deleted, fds[1]}) {
        device = std::make_unique<CTNetDevice>();
        adapter.Adopt(fd);
        uint64_t before = pvu_get_current_tick();
        EXPECT_EQ(CapturedOutput([&] {
                      adapter.Open("Tamvo");
                      device->Open(adapter, pool);
                      device->StopThread();
                      for (int i = 0; i < 3; ++i)
                          EXPECT_EQ(device->ReadXmitPacket(), nullptr);
                  }),
                  "TUN/TAP device Tamvo opened\nnet adapter read failed: No such device\n");
        EXPECT_GE(pvu_get_current_tick() - before, 390u);
    }
    EXPECT_EQ(pool.GetLoans(), 0);
}

// As an interface does, it lets nobody who writes wait.
int TakeOtherWithoutWaiting(PacketEnd& host) {
    int fd = host.TakeOther();
    EXPECT_EQ(fcntl(fd, F_SETFL, O_NONBLOCK), 0);
    return fd;
}

// Twice, and while somebody writes all the time, who never writes to anything but an interface.
TEST_F(Device, AnInterfaceThatIsGoneIsReplacedUnderAWriter) {
    signal(SIGPIPE, SIG_IGN);  // the interface of this test is a socket
    OutputCapture output;
    auto interface = std::make_unique<PacketEnd>();
    adapter.Adopt(TakeOtherWithoutWaiting(*interface));
    ASSERT_EQ(adapter.Open("Tamvo"), 1);
    ASSERT_EQ(device->Open(adapter, pool), 1);
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        CTXmitPkt pkt(100);
        pkt.GetSkb()->PutData(WireBytes(50, 9).data(), 50);
        while (!stop)
            device->Write(&pkt);
    });
    for (uint8_t life = 1; life <= 3; ++life) {
        EXPECT_EQ(*interface->Read(), WireBytes(50, 9));
        interface->Write(WireBytes(20, life));
        CTXmitPkt* pkt = nullptr;
        for (int i = 0; i < 50 && !pkt; ++i)
            pkt = device->Read();
        ASSERT_NE(pkt, nullptr) << life;
        EXPECT_EQ(pkt->GetSkb()->GetData()[19], life);
        pkt->Release();
        if (life == 3) break;
        interface = std::make_unique<PacketEnd>();
        adapter.Adopt(TakeOtherWithoutWaiting(*interface));
    }
    stop = true;
    writer.join();
    device->Close();
    std::string lines = output.Take();
    std::string back = "net adapter Tamvo is back, address 192.168.15.10\n";
    size_t first = lines.find(back);
    EXPECT_LT(lines.find("net adapter read failed: "), first) << lines;
    EXPECT_EQ(lines.rfind(back), lines.size() - back.size()) << lines;
    EXPECT_LT(first, lines.size() - back.size());
    EXPECT_EQ(pool.GetLoans(), 0);
}

// The end of a connected socket with a packet to read and, in front of it, the one error that the
// other end's going away is: a read that fails by itself.
int FailsOnceThenGivesAPacket() {
    auto other = std::make_unique<UdpPeer>();
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(other->Port());
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    socklen_t length = sizeof addr;
    getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &length);
    other->SendBytes(WireBytes(20, 1), ntohs(addr.sin_port));
    pollfd packet = {fd, POLLIN, 0};
    EXPECT_EQ(poll(&packet, 1, 10000), 1);
    other.reset();
    EXPECT_EQ(write(fd, "x", 1), 1);
    pollfd error = {fd, 0, 0};
    EXPECT_EQ(poll(&error, 1, 10000), 1);
    return fd;
}

long TimesThatThisThreadSlept() {
    rusage usage;
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

TEST_F(Device, ASingleFailedReadCostsNoPause) {
    Open(FailsOnceThenGivesAPacket());
    device->StopThread();
    // The thread may have taken it; this is read without one.
    bool slept = true;
    for (int i = 0; i < 10 && slept; ++i) {
        adapter.Close();
        adapter.Adopt(FailsOnceThenGivesAPacket());
        CapturedOutput([&] {
            adapter.Open("Tamvo");
            uint64_t failed = device->GetCounters().read_failed.Get();
            long before = TimesThatThisThreadSlept();
            EXPECT_EQ(device->ReadXmitPacket(), nullptr);
            slept = TimesThatThisThreadSlept() != before;
            EXPECT_EQ(device->GetCounters().read_failed.Get(), failed + 1);
            CTXmitPkt* pkt = device->ReadXmitPacket();
            ASSERT_NE(pkt, nullptr);
            pkt->Release();
        });
    }
    EXPECT_FALSE(slept);
}

}  // namespace
