#include "base/pvu_socket.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
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

// 10.0.0.1:5000: port and address as they travel, after the family in the machine's order.
sockaddr_in Wire() {
    constexpr unsigned char kBytes[16] = {0, 0, 0x13, 0x88, 10, 0, 0, 1};
    auto addr = std::bit_cast<sockaddr_in>(kBytes);
    addr.sin_family = AF_INET;
    return addr;
}

// The port that the system gave the socket.
uint16_t LocalPort(const CTSocket& socket) {
    sockaddr_in addr = {};
    socklen_t size = sizeof addr;
    EXPECT_EQ(getsockname(socket.GetHandle(), reinterpret_cast<sockaddr*>(&addr), &size), 0);
    return ntohs(addr.sin_port);
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
    const char* no_text = nullptr;
    CTSockAddr addr(0x0A000001, 5000);
    EXPECT_EQ(memcmp(addr.GetSockAddrin(), &wire, sizeof wire), 0);
    CTSockAddr raw(reinterpret_cast<const sockaddr*>(&wire));
    EXPECT_EQ(raw.GetIPv4(), 0x0A000001U);
    EXPECT_EQ(raw.GetPort(), 5000);
    raw.SetFamily(AF_INET6);
    EXPECT_TRUE(addr == raw);
    EXPECT_TRUE(addr == &wire);
    EXPECT_TRUE(addr == CTSockAddr("10.0.0.1", 5000));
    EXPECT_FALSE(addr == CTSockAddr("10.0.0.2", 5000));
    EXPECT_FALSE(addr == CTSockAddr("10.0.0.1", 5001));
    EXPECT_FALSE(addr == static_cast<sockaddr_in*>(nullptr));

    addr.SetIPv4("10.0.0.256");
    addr.SetIPv4(no_text);
    EXPECT_EQ(addr.GetIPv4(), 0x0A000001U);
    EXPECT_EQ(CTSockAddr(no_text, 7).GetIPv4(), 0U);
    EXPECT_EQ(CTSockAddr(no_text, 7).GetFamily(), AF_INET);
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
    view = static_cast<const sockaddr_in*>(nullptr);
    EXPECT_EQ(outside.sin_port, htons(5000));
}

TEST(SockAddr, PrintsAddressAndPort) {
    const sockaddr_in wire = Wire();
    CTString text;
    text.Set("to ");
    EXPECT_EQ(CTSockAddr::Print(text, &wire), 13);
    EXPECT_EQ(CTSockAddr::Print(text, static_cast<sockaddr_in*>(nullptr)), 0);
    EXPECT_STREQ(text.c_str(), "to 10.0.0.1:5000");
    EXPECT_EQ(CapturedOutput([&] { CTSockAddr(&wire).Print(); }), "10.0.0.1:5000");
    EXPECT_NE(CTSockAddr::PrintIPv4(text, &wire), 0);
    EXPECT_EQ(CTSockAddr::PrintIPv4(text, static_cast<sockaddr*>(nullptr)), 0);
    EXPECT_STREQ(text.c_str(), "10.0.0.1");
}

TEST(SockAddrDeath, ConstructionFromNullAborts) {
    EXPECT_DEATH(CTSockAddr(static_cast<const sockaddr_in*>(nullptr)),
                 "base/pvu_sockaddr:.*sockaddr_in\\*.*`addr != NULL'");
}

TEST(Socket, CreationReportsSuccessEvenWhenItFailed) {
    CTSocket socket;
    EXPECT_EQ(socket.Open(SOCK_STREAM, IPPROTO_UDP), 0);
    EXPECT_EQ(socket.GetHandle(), -1);
    EXPECT_EQ(socket.Shutdown(), -1);
    EXPECT_EQ(socket.Send("x", 1), -1);
    EXPECT_EQ(socket.Send("x", 0), 0);
    EXPECT_FALSE(socket.SetRecvBufSize(64));
    EXPECT_EQ(CTUdp::SelectWait(socket.GetHandle(), 0), 1);
    // A descriptor beyond the set counts as a time-out.
    EXPECT_EQ(CTUdp::SelectWait(FD_SETSIZE, 0), 1);
}

TEST(Socket, RefusesWhatWouldReachPastTheBuffer) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    CTTcpConnect one;
    CTTcpConnect other;
    EXPECT_EQ(one.Attach(pair[0], nullptr), 0);
    EXPECT_EQ(other.Attach(pair[1], nullptr), 0);
    const sockaddr_in wire = Wire();
    const auto* addr = reinterpret_cast<const sockaddr*>(&wire);
    char four[] = "abc";
    ASSERT_EQ(one.Send("0123456789", 10), 10);
    struct {
        char* buf;
        int len;
    } cases[] = {{four, -1}, {four, INT_MIN}, {nullptr, 4}, {nullptr, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.len);
        EXPECT_EQ(one.Send(c.buf, c.len), -1);
        EXPECT_EQ(one.Sendto(c.buf, c.len, addr, sizeof wire), -1);
        EXPECT_EQ(other.Recv(c.buf, c.len), -1);
        EXPECT_EQ(other.Recvfrom(c.buf, c.len, nullptr, nullptr), -1);
        EXPECT_EQ(one.Write(c.buf, c.len), 1);
        EXPECT_EQ(other.Read(c.buf, c.len), 1);
    }
    EXPECT_EQ(one.Sendto(four, 4, nullptr, sizeof wire), -1);
    EXPECT_EQ(other.HowDataArrive(), 10);
    EXPECT_STREQ(four, "abc");
    one.DisConnect();
    other.DisConnect();
    EXPECT_EQ(other.GetHandle(), -1);
}

TEST(Socket, OptionsTakeKilobytesAndMilliseconds) {
    CTSocket socket;
    ASSERT_EQ(socket.Open(SOCK_DGRAM, IPPROTO_UDP), 0);
    // The kernel reports twice what was asked for, to count its own overhead.
    EXPECT_TRUE(socket.SetRecvBufSize(64));
    EXPECT_EQ(Option<int>(socket, SO_RCVBUF), 2 * 65536);
    EXPECT_TRUE(socket.SetSendBufSize(32));
    EXPECT_EQ(Option<int>(socket, SO_SNDBUF), 2 * 32768);
    EXPECT_TRUE(socket.SetRecvTimeout(1500));
    EXPECT_TRUE(socket.SetSendTimeout(40));
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

TEST(Udp, ReadsOneDatagramAndCutsItToTheBuffer) {
    CTUdp receiver;
    CTUdp sender;
    ASSERT_TRUE(receiver.Open(0));
    ASSERT_TRUE(sender.Open());
    CTSockAddr to("127.0.0.1", LocalPort(receiver));
    std::string bytes(1500, 'u');
    EXPECT_EQ(sender.Write(to.GetSockAddrin(), bytes.data(), 1500), 1500);
    EXPECT_EQ(CTUdp::SelectWait(receiver.GetHandle(), 5000), 0);
    EXPECT_EQ(receiver.HowDataArrive(), 1500);

    char small[32] = {};
    sockaddr_in from = {};
    EXPECT_EQ(receiver.Read(&from, small, 24), 24);
    EXPECT_EQ(small, std::string(24, 'u'));
    EXPECT_TRUE(CTSockAddr(&from) == CTSockAddr("127.0.0.1", LocalPort(sender)));
    // An empty datagram is one too; who sent it need not be asked.
    EXPECT_EQ(sender.Write(to.GetSockAddrin(), "", 0), 0);
    EXPECT_EQ(receiver.Read(nullptr, small, 24), 0);

    EXPECT_EQ(sender.Write(nullptr, "x", 1), -1);
    EXPECT_EQ(sender.Connect(nullptr, 1), -1);
    CTUdp second;
    EXPECT_FALSE(second.Open(to.GetPort()));
    second.Close();
    sender.Close();
    receiver.Close();
}

TEST(Udp, ReadGivesUpAfterItsTime) {
    CTUdp udp;
    ASSERT_TRUE(udp.Open(0));
    CTSockAddr self("127.0.0.1", LocalPort(udp));
    char byte;
    EXPECT_EQ(CapturedOutput([&] { udp.SetRecvTimeout(120); }), "CTUdp set rect timeout: 120\n");
    int64_t before = CTTime::GetCurrentMS();
    EXPECT_EQ(udp.Read(nullptr, &byte, 1), -1);
    EXPECT_GE(CTTime::GetCurrentMS() - before, 119);
    // Without time it looks once.
    CapturedOutput([&] { udp.SetRecvTimeout(0); });
    EXPECT_EQ(udp.Read(nullptr, &byte, 1), -1);
    ASSERT_EQ(udp.Write(self.GetSockAddrin(), "z", 1), 1);
    EXPECT_EQ(udp.Read(nullptr, &byte, 1), 1);
    EXPECT_EQ(byte, 'z');
    udp.Close();
}

TEST(Tcp, ConnectsCarriesBytesAndSeesTheEnd) {
    CTSocket listener;
    ASSERT_EQ(listener.Open(SOCK_STREAM, IPPROTO_TCP), 0);
    CTSockAddr any_port("127.0.0.1", 0);
    auto* local = reinterpret_cast<sockaddr*>(any_port.GetSockAddrin());
    EXPECT_EQ(listener.Bind(nullptr, sizeof(sockaddr_in)), -1);
    ASSERT_EQ(listener.Bind(local, sizeof(sockaddr_in)), 0);
    ASSERT_EQ(listener.Listen(1), 0);

    CTTcpConnect client;
    CTTcpConnect server;
    int port = LocalPort(listener);
    EXPECT_EQ(client.Connect(static_cast<const char*>(nullptr), port), -1);
    ASSERT_EQ(client.Connect("127.0.0.1", port), 0);
    sockaddr_in peer = {};
    int size = sizeof peer;
    server.Attach(listener.Accept(reinterpret_cast<sockaddr*>(&peer), &size), nullptr);
    EXPECT_EQ(size, 16);
    EXPECT_EQ(peer.sin_port, htons(LocalPort(client)));

    char buf[8] = {};
    EXPECT_EQ(client.Write("ping", 4), 4);
    EXPECT_EQ(server.Read(buf, 4), 4);
    EXPECT_STREQ(buf, "ping");
    EXPECT_EQ(server.Shutdown(), 0);
    EXPECT_EQ(client.Read(buf, 4), 0);
    client.DisConnect();
    server.DisConnect();
    listener.Close();
    EXPECT_EQ(client.Connect("127.0.0.1", port), -1);
    client.DisConnect();
}

}  // namespace
