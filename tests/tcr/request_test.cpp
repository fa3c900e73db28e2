#include <gmock/gmock.h>

#include "tcr/tcr_text.h"
#include "tests/support/captured_output.h"
#include "tests/tcr/simulated_edge.h"

namespace {

using namespace wire_sub;

constexpr uint32_t kGateway = Ip(192, 168, 15, 5);
constexpr TcrTime kDay = 24LL * 60 * 60 * 1000;
constexpr uint32_t kMask = Ip(255, 255, 255, 0);

class Requests : public testing::Test {
  protected:
    OutputCapture output;  // the allocator prints
    CentralRouterRig rig;
    SimulatedEdge a{rig, 1001, 0xA};
    SimulatedEdge b{rig, 1002, 0xB};
};

TEST_F(Requests, EchoIsAnsweredToAnybody) {
    EXPECT_TRUE(a.Exchange(kEcho).body.empty());
    EXPECT_EQ(rig.router->GetCounters().answered, 1u);
}

TEST_F(Requests, LoginsAreJudgedAndRefusalsToldOnceASecond) {
    TcrConfig config;
    config.lowest_version = CTVersion(0, 1, 5);
    CentralRouterRig strict{config};
    SimulatedEdge edge{strict, 1003, 0xC};
    EXPECT_EQ(edge.AskLogin("qwop", "qwop", 0x105).error, 0u);
    EXPECT_EQ(edge.AskLogin("qwop", "qwop", 0x104).error, 1001u);
    EXPECT_EQ(edge.AskLogin("qwop", "wrong", 0x104).error, 1002u);
    EXPECT_EQ(edge.AskLogin("QWOP", "qwop").error, 1003u);
    strict.Pass(1000);
    EXPECT_EQ(edge.AskLogin("nosuch").error, 1003u);
    EXPECT_EQ(strict.router->GetCounters().refused_logins, 4u);
    EXPECT_THAT(
        strict.lines,
        testing::ElementsAre("edge 0x00000000 logged in from 10.0.0.1:1003, serial 0x0000000c, "
                             "version 0.1.5, subnet \"qwop\"",
                             "login from 10.0.0.1:1003 refused, error 1001 (0 more not shown)",
                             "login from 10.0.0.1:1003 refused, error 1003 (2 more not shown)"));
}

TEST_F(Requests, TheSameEdgeGetsItsIdentifierAndAddressAgain) {
    a.Join();
    b.Join();
    EXPECT_NE(a.identifier, b.identifier);
    EXPECT_NE(a.ip, b.ip);
    a.Leave();  // the other one was killed
    for (const SimulatedEdge* old : {&a, &b}) {
        SimulatedEdge again{rig, 2001, old->serial};
        again.Join();
        EXPECT_EQ(again.identifier, old->identifier);
        EXPECT_EQ(again.ip, old->ip);
    }
}

TEST_F(Requests, TheRequestedAddressIsGivenWhenFree) {
    // Addresses that no draw gives.
    a.wanted_ip = b.wanted_ip = Ip(192, 168, 15, 7);
    a.Join();
    b.Join();
    EXPECT_EQ(a.ip, a.wanted_ip);
    EXPECT_NE(b.ip, a.wanted_ip);
    // Never an address that no host can have, nor the gateway's.
    for (uint32_t bad :
         {Ip(192, 168, 15, 0), Ip(192, 168, 15, 255), kGateway, Ip(10, 0, 0, 1), 0u, 0xFFFFFFFFu})
        EXPECT_EQ(b.AskDhcp(bad).ip, b.ip);
    uint32_t wish = Ip(192, 168, 15, 8);  // a new one is heeded
    EXPECT_EQ(b.Exchange(kDhcp, EncodeWire(WireDhcp{wish})).body,
              EncodeWire(WireDhcpReply{0, kGateway, kMask, wish}));
    a.AddDevice(Ip(192, 168, 15, 9));
    a.Login();
    a.Leave();
    // What an edge has given up is free for others, not what it left with.
    for (uint32_t ip : {b.ip, Ip(192, 168, 15, 9), a.ip}) {
        SimulatedEdge other{rig, 1003, ip, ip};
        other.Login();
        EXPECT_EQ(other.ip == ip, ip != a.ip);
    }
}

TEST_F(Requests, ATinySubnetIsUsedToItsLastAddress) {
    TcrConfig tiny;
    tiny.subnets = {{"qwop", "qwop", Ip(10, 0, 0, 2), Ip(255, 255, 255, 248)}};  // hosts 1 to 6
    CentralRouterRig small{tiny};
    std::set<uint32_t> given;
    for (uint16_t i = 1; i <= 5; ++i) {
        SimulatedEdge edge{small, i, i};
        edge.Login();
        given.insert(edge.ip);
    }
    EXPECT_EQ(given, (std::set<uint32_t>{Ip(10, 0, 0, 1), Ip(10, 0, 0, 3), Ip(10, 0, 0, 4),
                                         Ip(10, 0, 0, 5), Ip(10, 0, 0, 6)}));
    SimulatedEdge sixth{small, 6, 6};
    sixth.identifier = sixth.AskLogin().identifier;
    EXPECT_EQ(sixth.AskDhcp(0).error, 1u);
}

TEST_F(Requests, AFullSubnetRefusesUntilAnEdgeIsGone) {
    std::deque<SimulatedEdge> edges;
    for (uint16_t i = 1; i <= 16; ++i) {
        edges.push_back({rig, i, 100u + i});
        edges.back().Join();
    }
    EXPECT_EQ(a.AskLogin().error, 1003u);
    edges[7].Leave();
    rig.now += 25 * kDay;  // more than half of what 32 bits of milliseconds hold
    edges[3].Leave();
    a.Join();  // in the place of the one that has been away longest
    EXPECT_EQ(a.identifier, edges[7].identifier);
    b.Join();
    EXPECT_EQ(b.identifier, edges[3].identifier);
}

TEST_F(Requests, SubnetAndRoutersAreAnswered) {
    a.Join();
    EXPECT_TRUE(a.GetRouters().empty());
    rig.Pass(600);
    b.Login();
    EXPECT_EQ(b.Exchange(kSubnet, EncodeWire(WireSubnet{"qwop"})).body,
              EncodeWire(WireSubnetReply{"qwop", kGateway, kMask}));
    // The others, not itself: stat, type, layer, where it was seen, identifier, serial.
    EXPECT_EQ(b.Exchange(kGetRouter).body, Hex("0001 0002 03 00 03E9 0A000001 00000000 0000000A"));
    EXPECT_EQ(b.GetDevices(a.identifier), std::vector{a.Device(a.ip)});
}

TEST_F(Requests, ForeignWrongAndMalformedRequestsAreCountedAndDropped) {
    a.Join();
    b.identifier = a.identifier;  // from elsewhere
    b.HeartBeat();
    for (uint32_t identifier : {a.identifier, 0x100u, 0xFFu}) {  // no such subnet, no such slot
        b.identifier = identifier;
        b.Ask(kGetRouter);
    }
    a.Ask(99);
    a.Ask(99, {}, 1);
    a.Ask(0, {}, 9);
    a.Ask(kSubnet, EncodeWire(WireSubnet{"other"}));
    a.Ask(kGetDevice, EncodeWire(WireIdentifier{0x100}));
    a.Ask(kAddDevice, EncodeWire(WireDeviceAdd{a.identifier + 1, {a.Device(a.ip)}}));
    a.Ask(kDelDevice, EncodeWire(WireDeviceDel{a.identifier + 1, {{a.ip}}}));
    for (uint8_t sub : {kLogin, kDhcp, kSubnet, kAddRouter, kAddDevice, kDelDevice, kGetDevice})
        a.Ask(sub, {1, 2});
    a.Ask(kHeartbeat, {1, 2}, 1);
    WireMessage lying = a.last;
    lying.body = WireBytes(20, 0);
    for (int length : {0, 15, 37, 0xFFFF}) {
        lying.length_field = length;
        rig.Receive(a.port, lying);
    }
    for (size_t size : {15u, 0u, 4000u})
        rig.Receive(a.port, WireBytes(size, 3));
    EXPECT_FALSE(a.HasMail() || b.HasMail());
    rig.lines.clear();
    rig.router->PrintTable(rig.now);
    EXPECT_THAT(rig.lines,
                testing::Contains("dropped: malformed 15 foreign 4 wrong 7 unknown destination 0"));
}

TEST_F(Requests, WhatIsAnotherEdgesCannotBeRegistered) {
    a.Join();
    b.Login();
    EXPECT_EQ(b.Exchange(kAddRouter, EncodeWire(WireRouterAdd{a.identifier, 0, ""})).body,
              Hex("00000001"));
    b.AddRouter();
    for (uint32_t bad : {a.ip, kGateway, Ip(10, 9, 9, 9)})
        b.AddDevice(bad);
    rig.Pass(600);
    a.Obey();
    b.Obey();
    EXPECT_TRUE(a.GetDevices(b.identifier).empty());
    b.AddDevice(b.ip);
    EXPECT_EQ(a.GetDevices(b.identifier), std::vector{b.Device(b.ip)});
    EXPECT_EQ(b.GetDevices(a.identifier), std::vector{a.Device(a.ip)});
}

TEST_F(Requests, ARepeatedRequestGetsTheSameReplyAndChangesNothing) {
    a.Join();
    rig.lines.clear();
    rig.Receive(a.port, a.last);
    EXPECT_EQ(a.Next().Encode(), a.last.Reply().Encode());
    EXPECT_TRUE(rig.lines.empty());
    a.Leave();
    rig.Receive(a.port, a.last);  // the logout, whose reply was lost
    EXPECT_EQ(a.Next().Encode(), a.last.Reply().Encode());
    a.Ask(kGetRouter);
    a.HeartBeat();
    EXPECT_FALSE(a.HasMail());
    EXPECT_EQ(rig.router->GetCounters().wrong, 2u);
}

TEST_F(Requests, ALoginRepeatedByTheNetworkDoesNotUndoTheJoin) {
    a.Login();
    a.AskLogin();
    WireMessage login = a.last;
    a.Register();
    b.Login();
    rig.Pass(4900);
    rig.Receive(a.port, login);
    EXPECT_EQ(a.Next().body, EncodeWire(WireLoginReply{0, a.identifier}));
    EXPECT_EQ(b.GetRouters().size(), 1u);
    rig.Pass(100);
    rig.Receive(a.port, login);  // so much later it is a new one
    EXPECT_TRUE(b.GetRouters().empty());
}

TEST_F(Requests, TheTableShowsSubnetsEdgesAndDevices) {
    SimulatedEdge edge{rig, 4000, 0x77, Ip(192, 168, 15, 77)};
    edge.Join();
    rig.Pass(1000);
    rig.lines.clear();
    rig.router->PrintTable(rig.now - 1000 + 60 * kDay);
    EXPECT_THAT(rig.lines,
                testing::ElementsAre("subnet 0 \"qwop\" gateway 192.168.15.5 mask 255.255.255.0",
                                     "  edge 0x00000000 joined  serial 0x00000077 from "
                                     "10.0.0.1:4000         heard 5184000 s "
                                     "ago \"edge 119\"",
                                     "    device 192.168.15.77, 02:00:00:00:00:77, on(1), ipv4(1)",
                                     "received 5 relayed 0 answered 5 pings 0",
                                     "dropped: malformed 0 foreign 0 wrong 0 unknown destination 0",
                                     "logins refused 0 logins not looked at 0 send refused 0 "
                                     "replies without state 0"));
    EXPECT_EQ(tcr_printable("a\x1b[31m\tb"), "a.[31m.b");
    EXPECT_EQ(tcr_printable("\xC2\x9B"
                            "2J\xC2\xA9\xC3\x9B\xC2"),
              "..2J\xC2\xA9\xC3\x9B\xC2")
        << "a control character of two bytes";
}

}  // namespace
