#include "forward/net_adapter.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/pvu_tick.h"
#include "forward/net_device.h"
#include "tests/support/captured_output.h"
#include "tests/support/packet_end.h"
#include "tests/support/scratch_dir.h"
#include "tests/support/wire_message.h"

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
    EXPECT_EQ(adapter.Read(buf, sizeof buf, 1), 0);
    EXPECT_EQ(CTNetAdapter::SelectWait(fd, 1), 1);
    host.Write(WireBytes(60, 1));
    EXPECT_EQ(CTNetAdapter::SelectWait(fd, 5000), 0);
    EXPECT_EQ(adapter.Read(buf, sizeof buf, 5000), 60);
    host.Write({7});
    EXPECT_EQ(adapter.Read(buf, 1, 5000), 1);
    EXPECT_EQ(adapter.Read(nullptr, 10, 1), -1);
    EXPECT_EQ(adapter.Read(buf, 0, 1), -1);
    EXPECT_EQ(adapter.Write(buf, 30), 30);
    EXPECT_EQ(host.Read()->size(), 30u);
    adapter.Close();
    EXPECT_FALSE(host.Read());  // the other end is closed
}

// The commands, seen by a tool of that name in the search path. The interface is one that does not
// exist: the descriptor comes from the driver, so this needs no more than /dev/net/tun.
TEST(Adapter, ConfiguresTheInterfaceWithTheExternalTool) {
    ScratchDir dir;
    WriteWholeFile(dir.File("ifconfig"),
                   "#!/bin/sh\necho \"$*\" >>" + dir.File("calls") + "\nexit 7\n");
    chmod(dir.File("ifconfig").c_str(), 0755);
    std::string path = getenv("PATH");
    setenv("PATH", (dir.Path() + ":" + path).c_str(), 1);
    CTNetAdapter adapter;
    CapturedOutput([&] { adapter.Open("ab", 3); });
    adapter.ConfigTun(Ip(10, 1, 2, 3), Ip(255, 255, 0, 0));
    EXPECT_EQ(adapter.SetMediaStatus(true), 1);
    EXPECT_EQ(adapter.SetMediaStatus(false), 1);
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(ReadWholeFile(dir.File("calls")), "ab 10.1.2.3 netmask 255.255.0.0 up\nab down\n");
}

TEST(Adapter, AnUnknownTypeIsNamedAndNothingEndsThere) {
    CTNetAdapter adapter;
    std::string printed = CapturedOutput([&] { adapter.Open("abc", 3); });
    EXPECT_NE(printed.find("I don't recognize device abc as a TUN or TAP device"
                           "Cannot ioctl TUNSETIFF abc"),
              std::string::npos)
        << printed;
    // Too short a name to ask for.
    EXPECT_NE(printed.find("TUN/TAP device  opened\n"), std::string::npos) << printed;
}

class Device : public testing::Test {
  protected:
    void Open() { Open(host.TakeOther()); }
    void Open(int fd) {
        adapter.Adopt(fd);
        CapturedOutput([&] { adapter.Open("Tamvo"); });
        ASSERT_EQ(device.Open(adapter, pool), 1);
    }
    CTXmitPkt* Read() {
        for (int i = 0; i < 50; ++i) {
            if (CTXmitPkt* pkt = device.Read()) return pkt;
        }
        ADD_FAILURE() << "no packet";
        return nullptr;
    }

    PacketEnd host;
    CTXmitPktPool pool{2048, 128};
    CTNetAdapter adapter;
    CTNetDevice device;
};

TEST_F(Device, QueuesWhatTheHostSendsAndDropsShortPackets) {
    Open();
    host.Write(WireBytes(19, 1));
    host.Write(WireBytes(20, 2));
    CTXmitPkt* pkt = Read();
    ASSERT_NE(pkt, nullptr);
    EXPECT_EQ(pkt->GetSkb()->GetDataLength(), 20);
    EXPECT_EQ(pkt->GetSkb()->HeadRoom(), 32);
    EXPECT_EQ(pkt->GetNetLayer(), 3);
    EXPECT_NE(pkt->GetRecvTick(), 0u);
    EXPECT_EQ(device.Write(pkt), 20);
    EXPECT_EQ(*host.Read(), WireBytes(20, 2));
    EXPECT_EQ(device.Write(nullptr), 0);
    pkt->Release();
    device.Close();
    EXPECT_EQ(pool.GetLoans(), 0);
}

TEST_F(Device, KeepsNoMoreThanItsLimitAndReleasesAllAtTheEnd) {
    Open();
    int sent = CTXmitPktMtFifo::kMaxNetPackets + 10;
    for (int i = 0; i < sent; ++i)
        host.Write(WireBytes(20, 1));
    while (device.GetCounters().queue_full.Get() == 0)
        host.Write(WireBytes(20, 1));
    EXPECT_LE(pool.GetLoans(), CTXmitPktMtFifo::kMaxNetPackets + 1);
    device.Close();
    EXPECT_EQ(pool.GetLoans(), 0);
    EXPECT_EQ(device.Read(), nullptr);
    CTXmitPkt pkt(100);
    EXPECT_EQ(device.Write(&pkt), -1);
}

TEST_F(Device, ADeviceThatGoesStopsItsThread) {
    {
        CTNetDevice other;
        adapter.Adopt(host.TakeOther());
        CapturedOutput([&] { adapter.Open("Tamvo"); });
        ASSERT_EQ(other.Open(adapter, pool), 1);
    }
    EXPECT_EQ(pool.GetLoans(), 0);
}

TEST_F(Device, ABrokenInterfaceDoesNotKeepTheThreadBusy) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    close(fds[0]);
    Open(fds[1]);  // an error to poll, as an interface that was deleted, and nothing to read
    device.StopThread();
    uint64_t before = pvu_get_current_tick();
    EXPECT_EQ(device.ReadXmitPacket(), nullptr);
    EXPECT_EQ(device.ReadXmitPacket(), nullptr);
    EXPECT_GE(pvu_get_current_tick() - before, 390u);
    EXPECT_EQ(pool.GetLoans(), 0);
}

}  // namespace
