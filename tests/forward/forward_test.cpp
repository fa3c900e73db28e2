#include <gtest/gtest.h>

#include "forward/forward_ingress.h"
#include "forward/forward_outgress.h"
#include "forward/net_device.h"
#include "sdwan/sdwan_subnet.h"
#include "sstp/p2p_connect_list.h"
#include "sstp/sstp_port.h"
#include "tests/support/captured_output.h"
#include "tests/support/expect_wire.h"
#include "tests/support/moved_clock.h"
#include "tests/support/packet_end.h"
#include "tests/support/udp_peer.h"

namespace {

using namespace wire_sub;

constexpr uint32_t kOwnAddr = Ip(192, 168, 15, 11);
constexpr uint32_t kFarAddr = Ip(192, 168, 15, 12);
constexpr uint32_t kGateway = Ip(192, 168, 15, 5);
constexpr uint32_t kFarIdentifier = 1;

// Both forwarders between a host's end of an interface and a peer that plays the central router.
class Forwarders : public testing::Test {
  protected:
    Forwarders() {
        CTSockAddr central("127.0.0.1", peer.Port());
        conn.Open(central);
        conn.SetRecvTimeout(20);
        conn.SetIdentify(0);
        adapter.Adopt(host.TakeOther());
        adapter.Open("Tamvo");
        device.Open(adapter, pool);
        port.Open(pool, conn);
        subnet.SetSubnetName("qwop");
        outgress.SetCentralRouterAddr(central);
        outgress.SetExternalSubnet(subnet);
        outgress.SetP2PConnectList(peers);
        outgress.SetModelLock(lock);
        ingress.SetExternalSubnet(subnet);
        ingress.SetP2PConnectList(peers);
        ingress.SetModelLock(lock);
    }
    ~Forwarders() override {
        device.Close();
        port.Close();
        outgress.Stop();
        ingress.Stop();
        port.ClearTxFifo();
        EXPECT_EQ(pool.GetLoans(), 0);
    }
    void Start() {
        AddFarRouter();
        EXPECT_EQ(outgress.Start(device, port), 1);
        EXPECT_EQ(ingress.Start(device, port), 1);
        // The edge's socket has a port once it has sent something.
        host.Write(IPv4Packet(kOwnAddr, kGateway, 10));
        EXPECT_EQ(peer.Receive().dst, kWireCentral);
    }
    void AddFarRouter() {
        CTSdwanRouter* router = subnet.ReplaceRouter(kFarIdentifier);
        router->SetIdentifier(kFarIdentifier);
        subnet.AddDevice(router, kFarAddr, static_cast<const unsigned char*>(nullptr));
    }
    WireMessage FromCentral(uint8_t type, uint8_t sub, const WireBytes& body = {}) {
        return {.type = type, .sub = sub, .seq = ++seq, .src = kWireCentral, .body = body};
    }
    // Sends a command; the body of the edge's answer, which must fit it.
    WireBytes Command(uint8_t sub, const WireBytes& body) {
        WireMessage command = FromCentral(3, sub, body);
        peer.Reply(command);
        WireMessage answer = peer.Receive();
        EXPECT_EQ(answer.Encode(), command.Reply(answer.body).Encode());
        return answer.body;
    }
    WireBytes AddRouter(uint32_t identifier, const std::string& label, uint16_t udp_port) {
        return Command(kAddRouter, EncodeWire(WireRouterAdd{identifier, 0x77, label,
                                                            Ip(127, 0, 0, 1), udp_port}));
    }
    void AddDevices(uint32_t identifier, std::initializer_list<uint32_t> addrs) {
        WireDeviceAdd add{identifier, {}};
        for (uint32_t ip : addrs)
            add.devices.push_back({ip, {2, 0, 0, 0, 0, 7}, 1, 3});
        EXPECT_TRUE(Command(kAddDevice, EncodeWire(add)).empty());
    }
    void DelRouter(uint32_t identifier) {
        EXPECT_TRUE(Command(kDelRouter, EncodeWire(WireIdentifier{identifier})).empty());
    }
    // Whether a packet of the host to that address leaves, and the identifier that it is sent to.
    std::optional<uint32_t> RouteOf(uint32_t dst) {
        host.Write(IPv4Packet(kOwnAddr, dst, 4));
        host.Write(IPv4Packet(kOwnAddr, kGateway, 5));  // a marker that always leaves
        WireMessage sent = peer.Receive();
        if (sent.body.size() == 25) return std::nullopt;
        EXPECT_EQ(peer.Receive().body.size(), 25u);
        return sent.dst;
    }

    OutputCapture output;
    PacketEnd host;
    UdpPeer peer;
    CTXmitPktPool pool{2048, 128};
    CTNetAdapter adapter;
    CTNetDevice device;
    CTSstpConnect conn;
    CTSstpPort port;
    CTSdwanSubnet subnet;
    CTP2pConnectList peers;
    CTReadWriteLock lock;
    CTForwardIngress ingress;
    CTForwardOutgress outgress;
    uint16_t seq = 0;
};

TEST_F(Forwarders, WrapPacketsForTheRouterThatServesTheirDestinationAndDeliverWhateverArrives) {
    Start();
    WireBytes packet = IPv4Packet(kOwnAddr, kFarAddr, 100);
    packet.insert(packet.end(), 6, 0);  // padding travels along
    host.Write(packet);
    WireMessage sent = peer.Receive();
    WireMessage want{.type = 5, .seq = sent.seq, .dst = kFarIdentifier, .body = packet};
    EXPECT_EQ(sent.Encode(), want.Encode());

    WireMessage message{.type = 5, .src = 99, .dst = 4242};
    message.body = IPv4Packet(kFarAddr, kOwnAddr, 1400);
    peer.Reply(message);
    EXPECT_EQ(*host.Read(), message.body);
}

TEST_F(Forwarders, DropWhatTheyCannotPlace) {
    Start();
    WireBytes six = IPv4Packet(kOwnAddr, kFarAddr, 20);
    six[0] = 0x60;
    WireBytes cut = IPv4Packet(kOwnAddr, kFarAddr, 20);
    cut.pop_back();
    for (const WireBytes& bad : {six, cut})
        host.Write(bad);
    AddDevices(kFarIdentifier, {0});  // an edge that was given no address
    for (uint32_t dst : {0u, Ip(192, 168, 15, 99), 0xFFFFFFFFu, Ip(224, 0, 0, 1)})
        EXPECT_EQ(RouteOf(dst), std::nullopt);
    EXPECT_EQ(RouteOf(kFarAddr), kFarIdentifier);
    const CTForwardOutgress::Counters& counters = outgress.GetCounters();
    EXPECT_EQ(counters.not_ipv4.Get(), 1u);
    EXPECT_EQ(counters.length_lie.Get(), 1u);
    EXPECT_EQ(counters.unknown_destination.Get(), 4u);
}

TEST_F(Forwarders, OnlyLayer3LeavesAndOtherLayersHaveNoDestination) {
    CTXmitPkt pkt(200);
    WireBytes packet = IPv4Packet(kOwnAddr, kFarAddr, 20);
    packet.insert(packet.begin(), 14, 0);
    pkt.Write(packet.data(), static_cast<int>(packet.size()));
    pkt.SetNetLayer(2);
    EXPECT_EQ(outgress.Verify(pkt), 0);
    EXPECT_EQ(outgress.GetNetPktDstIPv4(pkt), kFarAddr);
    pkt.SetNetLayer(4);
    EXPECT_EQ(outgress.Verify(pkt), 0);
    EXPECT_EQ(outgress.GetNetPktDstIPv4(pkt), 0u);
    pkt.GetSkb()->Pull(14);
    pkt.SetNetLayer(3);
    unsigned int identifier = 0;
    EXPECT_EQ(outgress.FindDstIdentifier(pkt, identifier), 0);
    EXPECT_EQ(outgress.FindDDstIdentifier(pkt), -1);
    AddFarRouter();
    EXPECT_EQ(outgress.FindDstIdentifier(pkt, identifier), 1);
    EXPECT_EQ(identifier, kFarIdentifier);
    EXPECT_EQ(outgress.FindDDstIdentifier(pkt), static_cast<int>(kFarIdentifier));
}

TEST_F(Forwarders, TheSendAddressFollowsThePeersState) {
    AddFarRouter();
    CTSockAddr endpoint("127.0.0.1", 4711);
    CTP2PConnect* connect = peers.Insert(kFarIdentifier, endpoint);
    WireBytes packet = IPv4Packet(kOwnAddr, kFarAddr, 20);
    auto send_address = [&] {
        CTXmitPkt pkt(200);
        pkt.Write(packet.data(), static_cast<int>(packet.size()));
        pkt.SetNetLayer(3);
        outgress.NetPacketHandle(pkt);
        EXPECT_EQ(pkt.GetStatus(), 2);
        return pkt.GetSendAddr()->GetPort();
    };
    EXPECT_EQ(send_address(), peer.Port());
    connect->HeartBeatAckDone(*std::make_unique<CTXmitPkt>(10));
    EXPECT_EQ(send_address(), 4711);
}

TEST_F(Forwarders, AnAddedRouterWithItsDevicesIsReachableUntilItEnds) {
    Start();
    uint32_t ip = Ip(192, 168, 15, 30);
    EXPECT_EQ(AddRouter(3, "three", 4000), Hex("00000000"));
    AddDevices(3, {ip, ip + 1});
    EXPECT_EQ(RouteOf(ip), 3u);
    EXPECT_EQ(RouteOf(ip + 1), 3u);

    Command(kDelDevice, Hex("000003E7 C0A80F1F C0A80F0C 0001"));  // two and half a third one
    EXPECT_EQ(RouteOf(ip + 1), std::nullopt);
    EXPECT_EQ(RouteOf(kFarAddr), std::nullopt);

    AddRouter(3, "again", 4001);  // replaced: its devices are gone
    EXPECT_EQ(RouteOf(ip), std::nullopt);
    AddDevices(3, {ip});
    EXPECT_EQ(RouteOf(ip), 3u);
    DelRouter(3);
    EXPECT_EQ(RouteOf(ip), std::nullopt);
    DelRouter(3);  // unknown by now, acknowledged all the same
    for (uint32_t beyond_the_table : {16u, 0xFFu}) {
        EXPECT_EQ(AddRouter(beyond_the_table, "x", 1), Hex("00000001"));
        AddDevices(beyond_the_table, {ip});
        EXPECT_EQ(RouteOf(ip), std::nullopt);
    }
}

// The rest of what is printed stands in the stored output of a whole run.
TEST_F(Forwarders, ADeviceThatIsToldAgainIsChangedAndItsEndIsPrinted) {
    Start();
    AddRouter(0, "a label of exactly 32 characters", 4000);
    Command(kAddDevice, Hex("00000000 0001 0003 0A000001 020000000007"
                            "         0000 0003 0A000001 020000000007"));
    {
        CTReadGuard guard(lock);
        CTSdwanRouter* router = subnet.GetRouterList().At(0);  // what no print-out shows
        EXPECT_EQ(router->GetType(), 2);
        EXPECT_EQ(router->GetNetLayer(), 3);
    }
    Command(kDelDevice, Hex("00000000 0A000001"));
    std::string printed = output.Take();
    const std::string router =
        "    1. a label of exactly 32 characters: ident=0x00000000, index=0, sn=0x00000077, "
        "sstp: 127.0.0.1:4000\n";
    EXPECT_NE(printed.find(router + "        1. 10.0.0.1, 02:00:00:00:00:07, off(0), echo(3)\n"),
              std::string::npos);
    printed.erase(0, printed.find("\nDel Device:"));
    EXPECT_EQ(printed.find(R"(
Del Device: mt=cmm(3), st=del device(17), seq=3, len=24(0,0), src=4294967295, dst=0
 Ident: 0x00000000
 0. 10.0.0.1
qwop net: index=0, gw=192.168.15.5, mask=255.255.255.0, router count=2
)" + router + "    2. : ident="),
              0u);
}

TEST_F(Forwarders, ACommandWithoutItsFixedPartIsDroppedUnanswered) {
    Start();
    for (uint8_t sub : {kPeerHeartbeat, kAddRouter, kDelRouter, kAddDevice, kDelDevice})
        peer.Reply(FromCentral(3, sub, WireBytes(sub == kAddRouter ? 51 : 3, 1)));
    DelRouter(0xFF);  // the first answer is this one's
    EXPECT_EQ(ingress.GetMalformedCount(), 5u);
}

TEST_F(Forwarders, AnswersGoToWhereTheCommandCameFromAndAPeerThatAnswersIsConnected) {
    Start();
    UdpPeer other;
    WireMessage command{.type = 3, .sub = kPeerHeartbeat, .seq = 44, .src = 0x209};
    command.body = Hex("01020304");
    other.SendBytes(command.Encode(), peer.LastPort());
    EXPECT_EQ(other.Receive().Encode(), command.Reply(command.body).Encode());
    command.sub = kDelRouter;
    other.SendBytes(command.Encode(), peer.LastPort());
    EXPECT_EQ(other.Receive().Encode(), command.Reply().Encode());

    AddRouter(2, "two", other.Port());
    WireMessage heartbeat = other.Receive();
    EXPECT_TRUE(heartbeat.Is(3, kPeerHeartbeat));
    EXPECT_EQ(heartbeat.dst, 2u);
    other.Reply(heartbeat.Reply(heartbeat.body));
    DelRouter(0xFF);  // handled after the answer
    CTReadGuard guard(lock);
    EXPECT_TRUE(peers.GetConnect(2)->IsConnect());
}

TEST_F(Forwarders, StrangersCommandsPrintABurstOfLinesAndTheCentralRoutersAllOfThem) {
    constexpr int kCommands = 250;
    constexpr int kLinesEach = 8;                     // three of the message, five of the map
    MovedClock clock(pvu_get_current_tick() + 1000);  // stands; no heartbeat falls due
    Start();
    UdpPeer stranger;
    WireMessage command{.type = 3, .sub = kDelRouter, .src = 777};
    command.body = EncodeWire(WireIdentifier{14});
    for (int i = 0; i < kCommands; ++i) {
        stranger.SendBytes(command.Encode(), peer.LastPort());
        EXPECT_EQ(stranger.Receive().type, 4);
    }
    for (int i = 0; i < 10; ++i)
        DelRouter(14);
    ingress.Stop();
    std::string printed = output.Take();
    auto count = [&](const std::string& text) {
        int found = 0;
        for (size_t at = 0; (at = printed.find(text, at)) != std::string::npos; ++at)
            ++found;
        return found;
    };
    EXPECT_EQ(count("src=777,"), 1000 / kLinesEach);
    EXPECT_EQ(count("src=4294967295,"), 10);
    EXPECT_EQ(port.GetPrintLimit().GetLeftOut(), kLinesEach * (kCommands - 1000u / kLinesEach));
    EXPECT_EQ(count(" lines left out, caused by others than the central router, last from "
                    "127.0.0.1:" +
                    std::to_string(stranger.Port()) + "\n"),
              2)
        << "when it began, and at the end";
}

TEST_F(Forwarders, WithAStrictSourceHeartbeatsCountFromAnnouncedPeersOnly) {
    port.Close();
    port.SetStrictSource(true);
    port.Open(pool, conn);
    Start();
    UdpPeer announced;
    UdpPeer stranger;
    AddRouter(2, "two", announced.Port());
    WireMessage probe = announced.Receive();
    WireMessage command{.type = 3, .sub = kPeerHeartbeat, .seq = 44, .src = 2};
    command.body = Hex("01020304");
    stranger.SendBytes(probe.Reply(probe.body).Encode(), peer.LastPort());
    stranger.SendBytes(command.Encode(), peer.LastPort());
    DelRouter(0xFF);  // handled after them
    {
        CTReadGuard guard(lock);
        EXPECT_FALSE(peers.GetConnect(2)->IsConnect());
    }
    EXPECT_EQ(ingress.GetForeignCount(), 2u);
    EXPECT_FALSE(stranger.HasWaiting());

    announced.SendBytes(command.Encode(), peer.LastPort());
    WireMessage answer = announced.Receive();
    while (answer.type == 3)  // further probes
        answer = announced.Receive();
    EXPECT_EQ(answer.Encode(), command.Reply(command.body).Encode());
    announced.Reply(probe.Reply(probe.body));
    DelRouter(0xFF);
    EXPECT_EQ(ingress.GetForeignCount(), 2u);
    CTReadGuard guard(lock);
    EXPECT_TRUE(peers.GetConnect(2)->IsConnect());
}

TEST_F(Forwarders, UnknownTypesAreToldAndUnknownSubTypesDroppedSilently) {
    Start();
    for (uint8_t type : std::initializer_list<uint8_t>{0, 1, 2, 6, 7, 255})
        peer.Reply(FromCentral(type, 77));
    for (uint8_t type : std::initializer_list<uint8_t>{3, 4}) {
        for (uint8_t sub : {kLogin, kHeartbeat, uint8_t{99}})
            peer.Reply(FromCentral(type, sub));
    }
    DelRouter(0xFF);
    EXPECT_NE(output.Take().find("unknow sstp message type 0\n"
                                 "unknow sstp message type 7\n"
                                 "unknow sstp message type 255\n"
                                 "\nDel Router: "),
              std::string::npos);
}

}  // namespace
