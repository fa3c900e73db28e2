#include "base/pvu_socket.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include <bit>
#include <climits>
#include <cstring>
#include <string>

#include "base/pvu_sockaddr.h"
#include "base/pvu_tcp.h"
#include "base/pvu_time.h"
#include "base/pvu_udp.h"
#include "tests/support/captured_output.h"

namespace {

const char* const kNoText = nullptr;
const sockaddr_in* const kNoAddress = nullptr;

// 10.0.0.1:5000: port and address as they travel, after the family in the machine's order.
sockaddr_in Wire() {
    constexpr unsigned char kBytes[16] = {0, 0, 0x13, 0x88, 10, 0, 0, 1};
    auto addr = std::bit_cast<sockaddr_in>(kBytes);
    addr.sin_family = AF_INET;
    return addr;
}

const sockaddr* Plain(const sockaddr_in* addr) {
    return reinterpret_cast<const sockaddr*>(addr);
}

// The loopback address with the port that the system gave the socket.
CTSockAddr LocalAddr(const CTSocket& socket) {
    sockaddr_in addr = {};
    socklen_t size = sizeof addr;
    EXPECT_EQ(getsockname(socket.GetHandle(), reinterpret_cast<sockaddr*>(&addr), &size), 0);
    return CTSockAddr("127.0.0.1", ntohs(addr.sin_port));
}

template <typename Value>
Value Option(const CTSocket& socket, int option) {
    Value value = {};
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(socket.GetHandle(), SOL_SOCKET, option, &value, &size), 0);
    return value;
}

TEST(SockAddr, ConvertsAndComparesPortAndAddress) {
    const sockaddr_in wire = Wire();
    CTSockAddr addr(0x0A000001, 5000);
    EXPECT_EQ(memcmp(addr.GetSockAddrin(), &wire, sizeof wire), 0);
    CTSockAddr raw(Plain(&wire));
    EXPECT_TRUE(raw.GetIPv4() == 0x0A000001 && raw.GetPort() == 5000);
    raw.SetFamily(AF_INET6);
    EXPECT_TRUE(addr == raw && addr == CTSockAddr("10.0.0.1", 5000));
    EXPECT_FALSE(addr == CTSockAddr("10.0.0.2", 5000) || addr == CTSockAddr("10.0.0.1", 5001) ||
                 addr == kNoAddress);

    addr.SetIPv4("10.0.0.256");
    addr.SetIPv4(kNoText);
    EXPECT_EQ(addr.GetIPv4(), 0x0A000001U);
    EXPECT_EQ(CTSockAddr(kNoText, 7).GetIPv4(), 0U);
    addr.Zero();
    EXPECT_EQ(addr.GetFamily(), 0);
}

TEST(SockAddr, EditsAttachedBytesAndCopiesIntoItsOwn) {
    const sockaddr_in wire = Wire();
    sockaddr_in outside = wire;
    CTSockAddr view;
    EXPECT_FALSE(view.Attach(static_cast<sockaddr_in*>(nullptr)));
    ASSERT_TRUE(view.Attach(&outside));
    view.SetPort(6000);
    CTSockAddr copy(view);
    copy.SetPort(1);
    EXPECT_EQ(outside.sin_port, htons(6000));
    view = copy;
    EXPECT_EQ(outside.sin_port, htons(1));
    view = &wire;
    view = kNoAddress;
    EXPECT_EQ(outside.sin_port, htons(5000));
}

TEST(SockAddr, PrintsAddressAndPort) {
    const sockaddr_in wire = Wire();
    CTString text;
    text.Set("to ");
    EXPECT_EQ(CTSockAddr::Print(text, &wire), 13);
    EXPECT_EQ(CTSockAddr::Print(text, kNoAddress), 0);
    EXPECT_STREQ(text.c_str(), "to 10.0.0.1:5000");
    EXPECT_EQ(CapturedOutput([&] { CTSockAddr(&wire).Print(); }), "10.0.0.1:5000");
    EXPECT_NE(CTSockAddr::PrintIPv4(text, &wire), 0);
    EXPECT_EQ(CTSockAddr::PrintIPv4(text, Plain(nullptr)), 0);
    EXPECT_STREQ(text.c_str(), "10.0.0.1");
}

TEST(SockAddrDeath, ConstructionFromNullAborts) {
    EXPECT_DEATH(CTSockAddr{kNoAddress}, "base/pvu_sockaddr:.*sockaddr_in\\*.*`addr != NULL'");
}

TEST(Socket, CreationReportsSuccessEvenWhenItFailed) {
    CTSocket socket;
    EXPECT_EQ(socket.Open(SOCK_STREAM, IPPROTO_UDP), 0);
    EXPECT_EQ(socket.GetHandle(), -1);
    EXPECT_EQ(socket.Shutdown(), -1);
    EXPECT_EQ(socket.Send("x", 1), -1);
    EXPECT_EQ(socket.Send("x", 0), 0);
    EXPECT_FALSE(socket.SetRecvBufSize(64));
    // A descriptor outside the set counts as a time-out.
    EXPECT_EQ(CTUdp::SelectWait(socket.GetHandle(), 0), 1);
    EXPECT_EQ(CTUdp::SelectWait(FD_SETSIZE, 0), 1);
}

TEST(Socket, OptionsTakeKilobytesAndMilliseconds) {
    CTSocket socket;
    ASSERT_EQ(socket.Open(SOCK_DGRAM, IPPROTO_UDP), 0);
    EXPECT_TRUE(socket.SetRecvBufSize(64) && socket.SetSendBufSize(32));
    // The kernel reports twice what was asked for, to count its own overhead.
    EXPECT_EQ(Option<int>(socket, SO_RCVBUF), 2 * 65536);
    EXPECT_EQ(Option<int>(socket, SO_SNDBUF), 2 * 32768);
    EXPECT_TRUE(socket.SetRecvTimeout(1500) && socket.SetSendTimeout(40));
    EXPECT_EQ(Option<timeval>(socket, SO_RCVTIMEO).tv_sec, 1);
    EXPECT_EQ(Option<timeval>(socket, SO_RCVTIMEO).tv_usec, 500000);
    EXPECT_EQ(Option<timeval>(socket, SO_SNDTIMEO).tv_usec, 40000);
    EXPECT_TRUE(socket.SetBroadcast(true));
    EXPECT_EQ(Option<int>(socket, SO_BROADCAST), 1);

    // A missing interface is reported and still true, however long its name.
    EXPECT_FALSE(socket.SetNetInterface(nullptr));
    testing::internal::CaptureStderr();
    EXPECT_TRUE(socket.SetNetInterface(std::string(300, 'n').c_str()));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "SO_BINDTODEVICE failed: No such device\n");
    socket.Close();
}

TEST(Udp, ReadsOneDatagramCutToTheBufferOrGivesUpAfterItsTime) {
    CTUdp receiver;
    CTUdp sender;
    ASSERT_TRUE(receiver.Open(0) && sender.Open());
    CTSockAddr to = LocalAddr(receiver);
    EXPECT_EQ(sender.Write(to.GetSockAddrin(), std::string(1500, 'u').data(), 1500), 1500);
    EXPECT_EQ(CTUdp::SelectWait(receiver.GetHandle(), 5000), 0);
    EXPECT_EQ(receiver.HowDataArrive(), 1500);
    char small[32] = {};
    sockaddr_in from = {};
    EXPECT_EQ(receiver.Read(&from, small, 24), 24);
    EXPECT_EQ(small, std::string(24, 'u'));
    EXPECT_TRUE(CTSockAddr(&from) == LocalAddr(sender));

    EXPECT_EQ(CapturedOutput([&] { receiver.SetRecvTimeout(120); }),
              "CTUdp set rect timeout: 120\n");
    int64_t before = CTTime::GetCurrentMS();
    EXPECT_EQ(receiver.Read(&from, small, 24), -1);
    EXPECT_GE(CTTime::GetCurrentMS() - before, 119);
    // Without time it looks once. An empty datagram is one too; who sent it need not be asked.
    CapturedOutput([&] { receiver.SetRecvTimeout(0); });
    EXPECT_EQ(receiver.Read(nullptr, small, 24), -1);
    EXPECT_EQ(sender.Write(to.GetSockAddrin(), "", 0), 0);
    EXPECT_EQ(receiver.Read(nullptr, small, 24), 0);

    EXPECT_EQ(sender.Write(nullptr, "x", 1), -1);
    EXPECT_EQ(sender.Connect(nullptr, 1), -1);
    CTUdp second;
    EXPECT_FALSE(second.Open(to.GetPort()));
    for (CTUdp* udp : {&receiver, &sender, &second})
        udp->Close();
}

TEST(Tcp, CarriesBytesWithinTheBufferAndSeesTheEnd) {
    CTSocket listener;
    ASSERT_EQ(listener.Open(SOCK_STREAM, IPPROTO_TCP), 0);
    CTSockAddr loopback("127.0.0.1", 0);
    EXPECT_EQ(listener.Bind(nullptr, sizeof(sockaddr_in)), -1);
    ASSERT_EQ(listener.Bind(Plain(loopback.GetSockAddrin()), sizeof(sockaddr_in)), 0);
    ASSERT_EQ(listener.Listen(1), 0);
    CTTcpConnect client;
    CTTcpConnect server;
    int port = LocalAddr(listener).GetPort();
    EXPECT_EQ(client.Connect(kNoText, port), -1);
    ASSERT_EQ(client.Connect("127.0.0.1", port), 0);
    sockaddr_in peer = {};
    int size = sizeof peer;
    server.Attach(listener.Accept(reinterpret_cast<sockaddr*>(&peer), &size), nullptr);
    EXPECT_EQ(size, 16);
    EXPECT_TRUE(LocalAddr(client) == &peer);

    EXPECT_EQ(client.Write("ping", 4), 4);
    char buf[8] = {};
    for (auto [p, len] : {std::pair(buf, -1), {buf, INT_MIN}, {nullptr, 4}, {nullptr, 0}}) {
        SCOPED_TRACE(len);
        EXPECT_EQ(client.Send(p, len), -1);
        EXPECT_EQ(client.Sendto(p, len, Plain(&peer), sizeof peer), -1);
        EXPECT_EQ(server.Recv(p, len), -1);
        EXPECT_EQ(server.Recvfrom(p, len, nullptr, nullptr), -1);
        EXPECT_EQ(client.Write(p, len), 1);
        EXPECT_EQ(server.Read(p, len), 1);
    }
    EXPECT_EQ(client.Sendto(buf, 4, nullptr, sizeof peer), -1);
    EXPECT_EQ(server.Read(buf, 4), 4);
    EXPECT_STREQ(buf, "ping");
    EXPECT_EQ(server.Shutdown(), 0);
    EXPECT_EQ(client.Read(buf, 4), 0);
    client.DisConnect();
    server.DisConnect();
    listener.Close();
    EXPECT_EQ(client.Connect("127.0.0.1", port), -1);
    client.DisConnect();
    EXPECT_EQ(client.GetHandle(), -1);
}

}  // namespace
