#include "base/pvu_socket.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "base/pvu_sockaddr.h"
#include "base/pvu_tcp.h"
#include "base/pvu_time.h"
#include "base/pvu_udp.h"
#include "tests/support/captured_output.h"

namespace {

// Family 2 in the machine's order, then port and address as they travel.
const sockaddr_in* Wire(const unsigned char (&bytes)[16]) {
    static sockaddr_in addr;
    memcpy(&addr, bytes, sizeof addr);
    addr.sin_family = AF_INET;
    return &addr;
}
constexpr unsigned char kTenOnePort5000[16] = {0, 0, 0x13, 0x88, 10, 0, 0, 1};

// The address that the system gave the socket.
sockaddr_in LocalAddress(const CTSocket& socket) {
    sockaddr_in addr = {};
    socklen_t size = sizeof addr;
    EXPECT_EQ(getsockname(socket.GetHandle(), reinterpret_cast<sockaddr*>(&addr), &size), 0);
    return addr;
}

template <typename Value>
Value Option(const CTSocket& socket, int option) {
    Value value = {};
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(socket.GetHandle(), SOL_SOCKET, option, &value, &size), 0);
    return value;
}

TEST(SockAddr, ConvertsBetweenHostOrderAndTheWire) {
    CTSockAddr addr(0x0A000001, 5000);
    EXPECT_EQ(memcmp(addr.GetSockAddrin(), Wire(kTenOnePort5000), 16), 0);
    CTSockAddr from_text("10.0.0.1", 5000);
    EXPECT_EQ(memcmp(from_text.GetSockAddrin(), Wire(kTenOnePort5000), 16), 0);
    CTSockAddr raw(reinterpret_cast<const sockaddr*>(Wire(kTenOnePort5000)));
    EXPECT_EQ(raw.GetIPv4(), 0x0A000001U);
    EXPECT_EQ(raw.GetPort(), 5000);

    CTSockAddr no_text(static_cast<const char*>(nullptr), 7);
    EXPECT_EQ(no_text.GetIPv4(), 0U);
    EXPECT_EQ(no_text.GetFamily(), AF_INET);
    addr.SetIPv4("10.0.0.256");
    addr.SetIPv4(static_cast<const char*>(nullptr));
    EXPECT_EQ(addr.GetIPv4(), 0x0A000001U);
    addr.Zero();
    EXPECT_EQ(addr.GetFamily(), 0);
}

TEST(SockAddr, ComparesPortAndAddressOnly) {
    CTSockAddr a("10.0.0.1", 5000);
    CTSockAddr b(a);
    b.SetFamily(AF_INET6);
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(a == a);
    EXPECT_TRUE(a == b.GetSockAddrin());
    EXPECT_FALSE(a == static_cast<sockaddr_in*>(nullptr));
    b.SetPort(5001);
    EXPECT_FALSE(a == b);
    b.SetPort(5000);
    b.SetIPv4(0x0A000002);
    EXPECT_FALSE(a == b);
}

TEST(SockAddr, EditsAttachedBytesAndCopiesIntoItsOwn) {
    sockaddr_in outside = *Wire(kTenOnePort5000);
    CTSockAddr view;
    EXPECT_FALSE(view.Attach(static_cast<sockaddr_in*>(nullptr)));
    ASSERT_TRUE(view.Attach(&outside));
    EXPECT_EQ(view.GetPort(), 5000);
    view.SetPort(6000);
    EXPECT_EQ(outside.sin_port, htons(6000));

    CTSockAddr copy(view);
    copy.SetPort(1);
    EXPECT_EQ(outside.sin_port, htons(6000));
    view = copy;
    EXPECT_EQ(outside.sin_port, htons(1));
    view = Wire(kTenOnePort5000);
    view = static_cast<const sockaddr_in*>(nullptr);
    EXPECT_EQ(outside.sin_port, htons(5000));
}

TEST(SockAddr, PrintsAddressAndPort) {
    CTSockAddr addr("10.0.0.1", 5000);
    CTString text;
    text.Set("to ");
    EXPECT_EQ(addr.Print(text), 13);
    EXPECT_EQ(CTSockAddr::Print(text, Wire(kTenOnePort5000)), 13);
    EXPECT_EQ(CTSockAddr::Print(text, static_cast<sockaddr_in*>(nullptr)), 0);
    EXPECT_STREQ(text.c_str(), "to 10.0.0.1:500010.0.0.1:5000");
    EXPECT_EQ(CapturedOutput([&] { addr.Print(); }), "10.0.0.1:5000");
    EXPECT_NE(CTSockAddr::PrintIPv4(text, Wire(kTenOnePort5000)), 0);
    EXPECT_EQ(CTSockAddr::PrintIPv4(text, static_cast<sockaddr*>(nullptr)), 0);
    EXPECT_STREQ(text.c_str(), "10.0.0.1");
}

TEST(SockAddrDeath, ConstructionFromNullAborts) {
    EXPECT_DEATH(CTSockAddr(static_cast<const sockaddr_in*>(nullptr)),
                 "base/pvu_sockaddr:.*sockaddr_in\\*.*`addr != NULL'");
    EXPECT_DEATH(CTSockAddr(static_cast<const sockaddr*>(nullptr)), "`addr != NULL'");
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

TEST(Socket, OptionsTakeKilobytesAndMilliseconds) {
    CTSocket socket;
    ASSERT_EQ(socket.Open(SOCK_DGRAM, IPPROTO_UDP), 0);
    // The kernel reports twice what was asked for, to count its own overhead.
    EXPECT_TRUE(socket.SetRecvBufSize(64));
    EXPECT_EQ(Option<int>(socket, SO_RCVBUF), 2 * 65536);
    EXPECT_TRUE(socket.SetSendBufSize(32));
    EXPECT_EQ(Option<int>(socket, SO_SNDBUF), 2 * 32768);
    EXPECT_TRUE(socket.SetRecvTimeout(1500));
    EXPECT_EQ(Option<timeval>(socket, SO_RCVTIMEO).tv_sec, 1);
    EXPECT_EQ(Option<timeval>(socket, SO_RCVTIMEO).tv_usec, 500000);
    EXPECT_TRUE(socket.SetSendTimeout(2040));
    EXPECT_EQ(Option<timeval>(socket, SO_SNDTIMEO).tv_sec, 2);
    EXPECT_EQ(Option<timeval>(socket, SO_SNDTIMEO).tv_usec, 40000);
    EXPECT_TRUE(socket.SetBroadcast(true));
    EXPECT_EQ(Option<int>(socket, SO_BROADCAST), 1);
    socket.Close();
    EXPECT_EQ(socket.GetHandle(), -1);
}

TEST(Socket, AMissingInterfaceIsReportedAndStillTrue) {
    CTSocket socket;
    ASSERT_EQ(socket.Open(SOCK_DGRAM, IPPROTO_UDP), 0);
    EXPECT_FALSE(socket.SetNetInterface(nullptr));
    for (const std::string& name : {std::string("no-such-if0"), std::string(300, 'n')}) {
        testing::internal::CaptureStderr();
        EXPECT_TRUE(socket.SetNetInterface(name.c_str()));
        EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("SO_BINDTODEVICE failed: ", 0), 0U);
    }
    socket.Close();
}

TEST(Udp, ReadsOneDatagramAndCutsItToTheBuffer) {
    CTUdp receiver;
    CTUdp sender;
    ASSERT_TRUE(receiver.Open(0));
    ASSERT_TRUE(sender.Open());
    CTSockAddr to("127.0.0.1", ntohs(LocalAddress(receiver).sin_port));
    std::string bytes(1500, 'u');
    EXPECT_EQ(sender.Write(to.GetSockAddrin(), bytes.data(), 1500), 1500);
    EXPECT_EQ(CTUdp::SelectWait(receiver.GetHandle(), 5000), 0);
    EXPECT_EQ(receiver.HowDataArrive(), 1500);

    char small[32] = {};
    sockaddr_in from = {};
    EXPECT_EQ(receiver.Read(&from, small, 24), 24);
    EXPECT_EQ(small, std::string(24, 'u'));
    EXPECT_EQ(from.sin_port, LocalAddress(sender).sin_port);
    EXPECT_EQ(from.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
    // An empty datagram is one too; who sent it need not be asked.
    EXPECT_EQ(sender.Write(to.GetSockAddrin(), "", 0), 0);
    EXPECT_EQ(receiver.Read(nullptr, small, 24), 0);

    EXPECT_EQ(sender.Write(nullptr, "x", 1), -1);
    CTUdp second;
    EXPECT_FALSE(second.Open(to.GetPort()));
    second.Close();
    sender.Close();
    receiver.Close();
}

TEST(Udp, ReadGivesUpAfterItsTime) {
    CTUdp udp;
    ASSERT_TRUE(udp.Open(0));
    EXPECT_EQ(CapturedOutput([&] { udp.SetRecvTimeout(120); }), "CTUdp set rect timeout: 120\n");
    sockaddr_in from;
    char byte;
    int64_t before = CTTime::GetCurrentMS();
    EXPECT_EQ(udp.Read(&from, &byte, 1), -1);
    EXPECT_GE(CTTime::GetCurrentMS() - before, 119);

    CapturedOutput([&] { udp.SetRecvTimeout(0); });
    EXPECT_EQ(udp.Read(&from, &byte, 1), -1);
    CTSockAddr self("127.0.0.1", ntohs(LocalAddress(udp).sin_port));
    ASSERT_EQ(udp.Write(self.GetSockAddrin(), "z", 1), 1);
    EXPECT_EQ(udp.Read(&from, &byte, 1), 1);
    EXPECT_EQ(byte, 'z');
    EXPECT_EQ(CTUdp::SelectWait(udp.GetHandle(), 0), 1);

    udp.Close();
}

TEST(Tcp, CarriesBytesBothWaysAndSeesTheEnd) {
    CTSocket listener;
    ASSERT_EQ(listener.Open(SOCK_STREAM, IPPROTO_TCP), 0);
    CTSockAddr any_port("127.0.0.1", 0);
    auto* local = reinterpret_cast<sockaddr*>(any_port.GetSockAddrin());
    ASSERT_EQ(listener.Bind(local, sizeof(sockaddr_in)), 0);
    ASSERT_EQ(listener.Listen(1), 0);
    int port = ntohs(LocalAddress(listener).sin_port);

    CTTcpConnect client;
    ASSERT_EQ(client.Connect("127.0.0.1", port), 0);
    sockaddr_in peer = {};
    int size = sizeof peer;
    int fd = listener.Accept(reinterpret_cast<sockaddr*>(&peer), &size);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(size, 16);
    EXPECT_EQ(peer.sin_port, LocalAddress(client).sin_port);

    CTTcpConnect server;
    EXPECT_EQ(server.Attach(fd, reinterpret_cast<sockaddr*>(&peer)), 0);
    char buf[8] = {};
    EXPECT_EQ(client.Write(nullptr, 4), 1);
    EXPECT_EQ(client.Write("ping", 0), 1);
    EXPECT_EQ(client.Read(buf, -1), 1);
    EXPECT_EQ(client.Write("ping", 4), 4);
    EXPECT_EQ(server.Read(buf, 4), 4);
    EXPECT_STREQ(buf, "ping");
    EXPECT_EQ(server.Write("pong", 4), 4);
    EXPECT_EQ(client.Recv(buf, 4), 4);
    EXPECT_STREQ(buf, "pong");

    EXPECT_TRUE(client.SetRecvTimeout(20));
    EXPECT_EQ(client.Read(buf, 4), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(server.Shutdown(), 0);
    EXPECT_TRUE(client.SetRecvTimeout(60000));
    EXPECT_EQ(client.Read(buf, 4), 0);
    client.DisConnect();
    EXPECT_EQ(client.GetHandle(), -1);
    server.DisConnect();
    listener.Close();

    CTTcpConnect refused;
    EXPECT_EQ(refused.Connect("127.0.0.1", port), -1);
    refused.DisConnect();
}

}  // namespace
