#include <gtest/gtest.h>

#include "forward/forward_ingress.h"
#include "forward/forward_outgress.h"
#include "forward/net_device.h"
#include "sdwan/sdwan_subnet.h"
#include "sstp/p2p_connect_list.h"
#include "sstp/sstp_port.h"
#include "tests/support/captured_output.h"
#include "tests/support/expect_wire.h"
#include "tests/support/packet_end.h"
#include "tests/support/udp_peer.h"

namespace {

const uint32_t kOwnAddr = Ip(192, 168, 15, 11);
const uint32_t kFarAddr = Ip(192, 168, 15, 12);
const uint32_t kGateway = Ip(192, 168, 15, 5);
constexpr uint32_t kOwnIdentifier = 0;
constexpr uint32_t kFarIdentifier = 1;

// Both forwarders between a host's end of an interface and a peer that plays the central router.
class Forwarders : public testing::Test {
  protected:
    Forwarders() {
        CTSockAddr central("127.0.0.1", peer.Port());
        conn.Open(central);
        conn.SetRecvTimeout(20);
        conn.SetIdentify(kOwnIdentifier);
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
    // Sends a command; the edge's answer.
    WireMessage Command(uint8_t sub, const WireBytes& body) {
        WireMessage command = FromCentral(3, sub, body);
        peer.Reply(command);
        WireMessage answer = peer.Receive();
        EXPECT_EQ(answer.Encode(), command.Reply(answer.body).Encode());
        return answer;
    }
    uint32_t AddRouter(uint32_t identifier, const std::string& label, uint16_t udp_port) {
        WireBytes body = EncodeWire(WireRouterAdd{.identifier = identifier,
                                                  .serial = 0x77,
                                                  .label = label,
                                                  .ip = Ip(127, 0, 0, 1),
                                                  .port = udp_port});
        return ExpectBody<WireRouterAddReply>(Command(10, body)).error;
    }
    void AddDevice(uint32_t identifier, const std::vector<std::pair<uint32_t, uint16_t>>& devices) {
        WireDeviceAdd add{identifier, {}};
        for (auto [ip, stat] : devices)
            add.devices.push_back({.ip = ip, .mac = {2, 0, 0, 0, 0, 7}, .stat = stat, .type = 3});
        Command(16, EncodeWire(add));
    }
    void DelRouter(uint32_t identifier) { Command(12, EncodeWire(WireIdentifier{identifier})); }
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

TEST_F(Forwarders, WrapsAPacketForTheRouterThatServesItsDestination) {
    Start();
    WireBytes packet = IPv4Packet(kOwnAddr, kFarAddr, 100);
    WireBytes padded = packet;
    padded.insert(padded.end(), 6, 0);  // travels along
    host.Write(padded);
    WireMessage want{.type = 5, .dst = kFarIdentifier, .body = padded};
    WireMessage sent = peer.Receive();
    want.seq = sent.seq;
    EXPECT_EQ(sent.Encode(), want.Encode());
}

TEST_F(Forwarders, DropsWhatItCannotPlace) {
    Start();
    WireBytes six = IPv4Packet(kOwnAddr, kFarAddr, 20);
    six[0] = 0x60;
    WireBytes cut = IPv4Packet(kOwnAddr, kFarAddr, 20);
    cut.pop_back();
    WireBytes tiny(19, 0x45);
    for (const WireBytes& bad : {six, cut, tiny})
        host.Write(bad);
    AddDevice(kFarIdentifier, {{0, 1}});  // an edge that was given no address
    EXPECT_EQ(RouteOf(0), std::nullopt);
    EXPECT_EQ(RouteOf(Ip(192, 168, 15, 99)), std::nullopt);
    EXPECT_EQ(RouteOf(0xFFFFFFFF), std::nullopt);
    EXPECT_EQ(RouteOf(Ip(224, 0, 0, 1)), std::nullopt);
    EXPECT_EQ(RouteOf(kFarAddr), kFarIdentifier);
}

TEST_F(Forwarders, OnlyLayer3LeavesAndOtherLayersHaveNoDestination) {
    CTXmitPkt pkt(200);
    WireBytes packet = WireBytes(14, 0);
    WireBytes inner = IPv4Packet(kOwnAddr, kFarAddr, 20);
    packet.insert(packet.end(), inner.begin(), inner.end());
    pkt.Write(packet.data(), static_cast<int>(packet.size()));
    pkt.SetNetLayer(2);
    EXPECT_EQ(outgress.Verify(pkt), 0);
    EXPECT_EQ(outgress.GetNetPktDstIPv4(pkt), kFarAddr);
    pkt.SetNetLayer(4);
    EXPECT_EQ(outgress.Verify(pkt), 0);
    EXPECT_EQ(outgress.GetNetPktDstIPv4(pkt), 0u);
    pkt.GetSkb()->Pull(14);
    EXPECT_EQ(outgress.FindDDstIdentifier(pkt), -1);
    AddFarRouter();
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

TEST_F(Forwarders, WritesWhateverArrivesAsANetworkPacketToTheInterface) {
    Start();
    WireMessage message{.type = 5, .src = 99, .dst = 4242};
    message.body = IPv4Packet(kFarAddr, kOwnAddr, 1400);
    peer.Reply(message);
    EXPECT_EQ(*host.Read(), message.body);
}

TEST_F(Forwarders, AnAddedRouterWithItsDevicesIsReachableUntilItEnds) {
    Start();
    uint32_t ip = Ip(192, 168, 15, 30);
    EXPECT_EQ(RouteOf(ip), std::nullopt);
    EXPECT_EQ(AddRouter(3, "three", 4000), 0u);
    AddDevice(3, {{ip, 1}, {Ip(192, 168, 15, 31), 0}});
    EXPECT_EQ(RouteOf(ip), 3u);
    EXPECT_EQ(RouteOf(Ip(192, 168, 15, 31)), 3u);

    Command(17, Hex("000003E7 C0A80F1F C0A80F0C 0001"));  // two addresses and half a third one
    EXPECT_EQ(RouteOf(Ip(192, 168, 15, 31)), std::nullopt);
    EXPECT_EQ(RouteOf(kFarAddr), std::nullopt);

    AddRouter(3, "again", 4001);  // replaced: its devices are gone
    EXPECT_EQ(RouteOf(ip), std::nullopt);
    AddDevice(3, {{ip, 1}});
    EXPECT_EQ(RouteOf(ip), 3u);
    DelRouter(3);
    EXPECT_EQ(RouteOf(ip), std::nullopt);
    DelRouter(3);  // unknown by now, acknowledged all the same
}

TEST_F(Forwarders, EachCommandIsPrintedAndThenTheModelThatItLeaves) {
    Start();
    DelRouter(1);
    AddRouter(0, "a label of exactly 32 characters", 4000);
    AddDevice(0, {{Ip(10, 0, 0, 1), 1}, {Ip(10, 0, 0, 1), 0}});
    {
        CTReadGuard guard(lock);
        CTSdwanRouter* router = subnet.GetRouterList().At(0);  // what no print-out shows
        EXPECT_EQ(router->GetType(), 2);
        EXPECT_EQ(router->GetNetLayer(), 3);
    }
    Command(17, Hex("00000000 0A000001"));
    std::string printed = output.Take();
    printed.erase(0, printed.find("\nDel Router:"));
    EXPECT_EQ(printed, R"(
Del Router: mt=cmm(3), st=router del(12), seq=1, len=20(0,0), src=4294967295, dst=0
 identifier: 0x00000001
qwop net: index=0, gw=192.168.15.5, mask=255.255.255.0, router count=0


Add Router: mt=cmm(3), st=router add(10), seq=2, len=68(0,0), src=4294967295, dst=0
 label: a label of exactly 32 characters
 Serial Number: 0x00000077
 type: 2
 layer:  3
qwop net: index=0, gw=192.168.15.5, mask=255.255.255.0, router count=1
    1. a label of exactly 32 characters: ident=0x00000000, index=0, sn=0x00000077, sstp: 127.0.0.1:4000

P2P connects:
    1. ident: 0x00000000, stat: OFF, p2p addr: 127.0.0.1:4000

Add Device: mt=cmm(3), st=add device(16), seq=3, len=48(0,0), src=4294967295, dst=0
 Ident: 0x00000000
GetDeviceParam list: count: 2, length: 28
IP: 10.0.0.1, MAC: 02:00:00:00:00:07, stat: 1, type: 3
IP: 10.0.0.1, MAC: 02:00:00:00:00:07, stat: 0, type: 3
qwop net: index=0, gw=192.168.15.5, mask=255.255.255.0, router count=1
    1. a label of exactly 32 characters: ident=0x00000000, index=0, sn=0x00000077, sstp: 127.0.0.1:4000
        1. 10.0.0.1, 02:00:00:00:00:07, off(0), echo(3)


Del Device: mt=cmm(3), st=del device(17), seq=4, len=24(0,0), src=4294967295, dst=0
 Ident: 0x00000000
 0. 10.0.0.1
qwop net: index=0, gw=192.168.15.5, mask=255.255.255.0, router count=1
    1. a label of exactly 32 characters: ident=0x00000000, index=0, sn=0x00000077, sstp: 127.0.0.1:4000

)");
}

TEST_F(Forwarders, ARouterBeyondTheTableIsRefused) {
    Start();
    EXPECT_EQ(AddRouter(16, "x", 1), 1u);
    EXPECT_EQ(AddRouter(0xFF, "x", 1), 1u);
    AddDevice(16, {{Ip(10, 0, 0, 1), 1}});
    EXPECT_EQ(RouteOf(Ip(10, 0, 0, 1)), std::nullopt);
}

TEST_F(Forwarders, ACommandWithoutItsFixedPartIsDroppedUnanswered) {
    Start();
    for (uint8_t sub : std::initializer_list<uint8_t>{8, 10, 12, 16, 17}) {
        peer.Reply(FromCentral(3, sub, WireBytes(sub == 10 ? 51 : 3, 1)));
    }
    DelRouter(0xFF);  // the first answer is this one's
    EXPECT_EQ(ingress.GetMalformedCount(), 5u);
}

TEST_F(Forwarders, AnswersGoToWhereTheCommandCameFrom) {
    Start();
    UdpPeer other;
    WireMessage heartbeat{.type = 3, .sub = 8, .seq = 44, .src = 0x209, .body = Hex("01020304")};
    other.SendBytes(heartbeat.Encode(), peer.LastPort());
    EXPECT_EQ(other.Receive().Encode(), heartbeat.Reply(heartbeat.body).Encode());
    heartbeat.sub = 12;
    other.SendBytes(heartbeat.Encode(), peer.LastPort());
    EXPECT_TRUE(other.Receive().Is(4, 12));
}

TEST_F(Forwarders, APeerThatAnswersIsConnected) {
    Start();
    UdpPeer other;
    AddRouter(2, "two", other.Port());
    WireMessage heartbeat = other.Receive();
    EXPECT_TRUE(heartbeat.Is(3, 8));
    EXPECT_EQ(heartbeat.dst, 2u);
    other.Reply(heartbeat.Reply(heartbeat.body));
    DelRouter(0xFF);  // handled after the answer
    CTReadGuard guard(lock);
    EXPECT_TRUE(peers.GetConnect(2)->IsConnect());
}

TEST_F(Forwarders, UnknownTypesAreToldAndUnknownSubTypesDroppedSilently) {
    Start();
    for (uint8_t type : std::initializer_list<uint8_t>{0, 1, 2, 6, 7, 255})
        peer.Reply(FromCentral(type, 77));
    for (uint8_t sub : std::initializer_list<uint8_t>{2, 3, 99}) {
        peer.Reply(FromCentral(3, sub));
        peer.Reply(FromCentral(4, sub));
    }
    DelRouter(0xFF);
    EXPECT_NE(output.Take().find("unknow sstp message type 0\n"
                                 "unknow sstp message type 7\n"
                                 "unknow sstp message type 255\n"
                                 "\nDel Router: "),
              std::string::npos);
}

}  // namespace
