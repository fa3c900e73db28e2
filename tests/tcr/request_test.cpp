#include <gtest/gtest.h>

#include "tcr/tcr_text.h"
#include "tests/support/captured_output.h"
#include "tests/tcr/simulated_edge.h"

namespace {

class Requests : public testing::Test {
  protected:
    OutputCapture output;  // the allocator prints
    CentralRouterRig rig;
    SimulatedEdge a{rig, 1001, 0xA};
    SimulatedEdge b{rig, 1002, 0xB};
};

TEST_F(Requests, EchoIsAnsweredToAnybody) {
    EXPECT_TRUE(a.Exchange(2).body.empty());
    EXPECT_EQ(rig.router.GetCounters().answered, 1u);
}

TEST_F(Requests, LoginsAreJudged) {
    EXPECT_EQ(a.AskLogin("nosuch").error, 1003u);
    EXPECT_EQ(a.AskLogin("QWOP").error, 1003u);
    EXPECT_EQ(a.AskLogin("qwop", "wrong").error, 1002u);
    EXPECT_EQ(a.AskLogin("qwop", "qwop").error, 0u);
    EXPECT_EQ(rig.router.GetCounters().refused_logins, 3u);
    // Refusals are told once a second at most.
    int told = 0;
    for (const std::string& line : rig.lines)
        told += line.find("refused") != std::string::npos;
    EXPECT_EQ(told, 1);

    TcrConfig strict;
    strict.lowest_version = CTVersion(0, 1, 5);
    CentralRouterRig other(strict);
    SimulatedEdge c(other, 1003, 0xC);
    EXPECT_EQ(c.AskLogin("qwop", "qwop", 0x104).error, 1001u);
    EXPECT_EQ(c.AskLogin("qwop", "qwop", 0x105).error, 0u);
    EXPECT_EQ(c.AskLogin("qwop", "bad", 0x104).error, 1002u);
}

TEST_F(Requests, TheSameEdgeGetsItsIdentifierAndAddressAgain) {
    a.Join();
    b.Join();
    uint32_t identifier = a.identifier;
    uint32_t ip = a.ip;
    EXPECT_NE(a.identifier, b.identifier);
    EXPECT_NE(a.ip, b.ip);
    a.Leave();
    SimulatedEdge again(rig, 2001, 0xA);
    again.Join();
    EXPECT_EQ(again.identifier, identifier);
    EXPECT_EQ(again.ip, ip);
    SimulatedEdge killed(rig, 2002, 0xB);  // it never left
    killed.Join();
    EXPECT_EQ(killed.identifier, b.identifier);
    EXPECT_EQ(killed.ip, b.ip);
}

TEST_F(Requests, TheRequestedAddressIsGivenWhenFree) {
    uint32_t wanted = Ip(192, 168, 15, 77);
    SimulatedEdge first(rig, 1, 1, wanted);
    SimulatedEdge second(rig, 2, 2, wanted);
    first.Join();
    second.Join();
    EXPECT_EQ(first.ip, wanted);
    EXPECT_NE(second.ip, wanted);
    // Never an address that no host can have, nor the gateway's.
    for (uint32_t bad : {Ip(192, 168, 15, 0), Ip(192, 168, 15, 255), Ip(192, 168, 15, 5),
                         Ip(10, 0, 0, 1), 0u, 0xFFFFFFFFu}) {
        EXPECT_EQ(second.AskDhcp(bad).ip, second.ip);
    }
    WireDhcpReply reply = second.AskDhcp(Ip(192, 168, 15, 78));  // a new wish is heeded
    EXPECT_EQ(reply.gateway, Ip(192, 168, 15, 5));
    EXPECT_EQ(reply.mask, Ip(255, 255, 255, 0));
    EXPECT_EQ(reply.ip, Ip(192, 168, 15, 78));
    first.Leave();
    SimulatedEdge third(rig, 3, 3, wanted);  // kept for the first one
    third.Join();
    EXPECT_NE(third.ip, wanted);
}

TEST_F(Requests, ATinySubnetIsUsedToItsLastAddress) {
    TcrConfig tiny;
    tiny.subnets = {{"qwop", "qwop", Ip(10, 0, 0, 2), Ip(255, 255, 255, 248)}};  // hosts 1 to 6
    CentralRouterRig small(tiny);
    std::vector<uint32_t> given;
    for (uint16_t i = 1; i <= 6; ++i) {
        SimulatedEdge edge(small, i, i);
        edge.Login();
        WireDhcpReply reply = edge.AskDhcp(0);
        if (i == 6) {
            EXPECT_NE(reply.error, 0u);
        } else {
            given.push_back(reply.ip);
        }
    }
    std::sort(given.begin(), given.end());
    EXPECT_EQ(given, (std::vector<uint32_t>{Ip(10, 0, 0, 1), Ip(10, 0, 0, 3), Ip(10, 0, 0, 4),
                                            Ip(10, 0, 0, 5), Ip(10, 0, 0, 6)}));
}

TEST_F(Requests, AFullSubnetRefusesUntilAnEdgeIsGone) {
    std::vector<std::unique_ptr<SimulatedEdge>> edges;
    for (uint16_t i = 0; i < 16; ++i) {
        edges.push_back(std::make_unique<SimulatedEdge>(rig, 100 + i, 100u + i));
        edges.back()->Join();
        rig.sent.clear();
    }
    EXPECT_EQ(a.AskLogin().error, 1003u);
    edges[3]->Leave();
    rig.Pass(100);
    edges[7]->Leave();
    a.Join();  // in the place of the one that has been away longest
    EXPECT_EQ(a.identifier, edges[3]->identifier);
    b.Join();
    EXPECT_EQ(b.identifier, edges[7]->identifier);
}

TEST_F(Requests, SubnetAndListsAreAnswered) {
    a.Join();
    b.Login();
    b.Dhcp();
    WireSubnetReply subnet = b.Exchange<WireSubnetReply>(6, EncodeWire(WireSubnet{"qwop"}));
    EXPECT_EQ(subnet.name, "qwop");
    EXPECT_EQ(subnet.gateway, Ip(192, 168, 15, 5));
    EXPECT_EQ(subnet.mask, Ip(255, 255, 255, 0));
    // The others, not itself: stat, type, layer, where it was seen, identifier, serial.
    WireMessage routers = b.Exchange(14);
    EXPECT_EQ(routers.body, Hex("0001 0002 03 00 03E9 0A000001 00000000 0000000A"));
    b.FetchOthers();
    EXPECT_TRUE(b.Sees(a));
    EXPECT_TRUE(a.GetRouters().empty());
}

TEST_F(Requests, ForeignWrongAndMalformedRequestsAreCountedAndDropped) {
    a.Join();
    uint64_t answered = rig.router.GetCounters().answered;
    b.identifier = a.identifier;  // from elsewhere
    b.Ask(14);
    b.HeartBeat();
    b.identifier = 0x100;  // no such subnet
    b.Ask(14);
    b.identifier = 0xFF;
    b.Ask(14);
    EXPECT_EQ(rig.router.GetCounters().foreign, 4u);

    a.Ask(99);
    a.Ask(6, EncodeWire(WireSubnet{"other"}));
    WireBytes not_its_own = a.DeviceBody();
    not_its_own[3] ^= 1;
    a.Ask(16, not_its_own);
    EXPECT_EQ(rig.router.GetCounters().wrong, 3u);

    for (uint8_t sub : std::initializer_list<uint8_t>{3, 5, 6, 10, 16, 17, 18})
        a.Ask(sub, {1, 2});
    WireMessage lying = a.last;
    lying.body = WireBytes(20, 0);
    for (int length : {0, 15, 37, 0xFFFF}) {
        lying.length_field = length;
        rig.Receive(a.port, lying);
    }
    rig.ReceiveBytes(a.port, WireBytes(15, 3));
    rig.ReceiveBytes(a.port, {});
    rig.ReceiveBytes(a.port, WireBytes(4000, 3));
    EXPECT_EQ(rig.router.GetCounters().malformed, 7u + 4 + 3);
    EXPECT_EQ(rig.router.GetCounters().answered, answered);
    EXPECT_FALSE(a.HasMail());
}

TEST_F(Requests, AnotherEdgesAddressCannotBeRegistered) {
    a.Join();
    b.Login();
    b.Dhcp();
    b.FetchOthers();
    EXPECT_EQ(b.Exchange<WireRouterAddReply>(10, b.RegistrationBody()).error, 0u);
    uint32_t own = b.ip;
    for (uint32_t bad : {a.ip, Ip(192, 168, 15, 5), Ip(10, 9, 9, 9)}) {
        b.ip = bad;
        b.Exchange(16, b.DeviceBody());
    }
    b.ip = own;
    EXPECT_TRUE(a.GetDevices(1).empty());
    b.Exchange(16, b.DeviceBody());
    EXPECT_EQ(a.GetDevices(1).size(), 1u);
}

TEST_F(Requests, ARepeatedRequestGetsTheSameReplyAndChangesNothing) {
    a.Join();
    rig.lines.clear();
    WireMessage repeated = a.last;
    rig.Receive(a.port, repeated);
    EXPECT_EQ(a.Next().seq, repeated.seq);
    a.Leave();
    repeated = a.last;  // the logout, whose reply was lost
    rig.Receive(a.port, repeated);
    EXPECT_TRUE(a.Next().Is(4, 4));
    EXPECT_EQ(rig.router.GetCounters().foreign, 0u);
    a.Ask(14);
    EXPECT_FALSE(a.HasMail());
    EXPECT_EQ(rig.router.GetCounters().wrong, 1u);
}

TEST_F(Requests, ALoginRepeatedByTheNetworkDoesNotUndoTheJoin) {
    a.Login();
    WireMessage login = a.last;
    a.Dhcp();
    a.FetchOthers();
    a.Register();
    rig.Pass(1000);
    rig.Receive(a.port, login);
    EXPECT_EQ(ExpectBody<WireLoginReply>(a.Next()).identifier, a.identifier);
    b.Login();
    b.FetchOthers();
    EXPECT_EQ(b.others.size(), 1u);
    rig.Pass(10000);
    rig.Receive(a.port, login);  // so much later it is a new one
    b.FetchOthers();
    EXPECT_TRUE(b.GetRouters().empty());
}

TEST_F(Requests, TheTableShowsSubnetsEdgesAndDevices) {
    SimulatedEdge named(rig, 4000, 0x77, Ip(192, 168, 15, 77));
    named.Join();
    rig.Pass(1000);
    rig.lines.clear();
    rig.router.PrintTable(rig.now + 2000);
    ASSERT_EQ(rig.lines.size(), 5u);
    EXPECT_EQ(rig.lines[0], "subnet 0 \"qwop\" gateway 192.168.15.5 mask 255.255.255.0");
    EXPECT_EQ(rig.lines[1],
              "  edge 0x00000000 joined  serial 0x00000077 from 10.0.0.1:4000         heard 3 s "
              "ago \"edge 119\"");
    EXPECT_EQ(rig.lines[2], "    device 192.168.15.77, 02:00:00:00:00:77, on(1), ipv4(1)");
    EXPECT_EQ(tcr_printable("a\x1b[31m\tb"), "a.[31m.b");
}

}  // namespace
