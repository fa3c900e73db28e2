#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/captured_output.h"
#include "tests/support/scripted_router.h"
#include "tests/support/whole_edge.h"

namespace {

// Which messages are shown, which are not, and in what order. No thread runs between a successful
// Init and DeInit, so every line has its place. What is learnt differs from every default.
TEST(Joining, IsPrintedStepByStep) {
    ScriptedRouter router;
    router.AddRouter(1, 0x2001, 4001);
    router.AnswerWith(5, Hex("00000000 C0A80F01 FFFF0000 C0A80F39"));
    router.AnswerWith(18, Hex("0000 0003 C0A80F15 020000000002"));
    WholeEdge edge(router.Port());
    edge.sys.GetAdapter().Adopt(edge.host.TakeOther());
    std::string path = edge.ConfigPath();
    std::string config = ReadWholeFile(path);
    config.insert(config.find("\"label\""), R"("type": "TAP", "layer": "L4", )");
    WriteWholeFile(path, config);
    std::string size = std::to_string(std::filesystem::file_size(path));
    std::string printed = CapturedOutput([&] {
        EXPECT_TRUE(edge.sys.Init());
        edge.sys.DeInit();
    });
    CTSdwanRouter* other = edge.sys.GetExternalSubnet().GetRouterList().At(1);
    EXPECT_EQ(other->GetStatus(), 1);
    EXPECT_EQ(other->GetType(), 2);
    EXPECT_EQ(other->GetNetLayer(), 3);
    EXPECT_EQ(printed, "read config file: " + path + "\nFile size: " + size + R"( bytes
TUN/TAP device Tamvo opened
tap driver version, major=1, minor=1
tap device mtu = 1500
Net Adapter MAC: 00:00:00:00:00:00
CTUdp set rect timeout: 200
CTUdp set rect timeout: 100

Login ACK: mt=cmm ack(4), st=login(3), seq=1, len=24(0,0), src=4294967295, dst=4294967295
    err: 0
    identifier: 0x00000002

Dhcp msg: mt=cmm(3), st=dhcp(5), seq=0, len=28(0,0), src=0, dst=4294967295
 MAC: 02:00:00:00:00:01
 IP: 0.0.0.0

Dhcp Ack: mt=cmm ack(4), st=dhcp(5), seq=2, len=32(0,0), src=4294967295, dst=2
 err: 0
 IP:192.168.15.57
 Gateway: 192.168.15.1
 Mask: 255.255.0.0

Subnet Ack: mt=cmm ack(4), st=subnet(6), seq=3, len=56(0,0), src=4294967295, dst=2
 Subnet: qwop
 gateway: 192.168.15.1
 network mask:255.255.255.0


---------------------------------- Local Router Map ----------------------------------
edge: ident=0x00000002, index=2, sn=0x00001001, sstp: 127.0.0.1:)" +
                           std::to_string(router.Port()) + R"(
        1. 192.168.15.57, 02:00:00:00:00:01, on(1), ipv4(1)


Get Router: mt=cmm(3), st=router get(14), seq=0, len=16(0,0), src=0, dst=4294967295

Get Router Ack: mt=cmm ack(4), st=router get(14), seq=4, len=36(0,0), src=4294967295, dst=2
GetRouterParam list: count: 1, length: 20
serial:0x00002001, ident: 1, stat: 1, type: 2, layer: 3, ext addr: 127.0.0.1:4001

Get Device: mt=cmm(3), st=get device(18), seq=0, len=20(0,0), src=0, dst=4294967295
 Ident: 0x00000001

Get Device Ack: mt=cmm ack(4), st=get device(18), seq=5, len=30(0,0), src=4294967295, dst=2

---------------------------------- External Network Map ----------------------------------
qwop net: index=0, gw=192.168.15.1, mask=255.255.0.0, router count=2
    1. NULL
    2. : ident=0x00000001, index=1, sn=0x00002001, sstp: 127.0.0.1:4001
        1. 192.168.15.21, 02:00:00:00:00:02, off(0), echo(3)

P2P connects:
    1. NULL
    2. ident: 0x00000001, stat: OFF, p2p addr: 127.0.0.1:4001

Add Router: mt=cmm(3), st=router add(10), seq=0, len=68(0,0), src=0, dst=4294967295
 label: edge
 Serial Number: 0x00001001
 type: 2
 layer:  3

Add Device: mt=cmm(3), st=add device(16), seq=0, len=34(0,0), src=0, dst=4294967295
 Ident: 0x00000002

Del Device: mt=cmm(3), st=del device(17), seq=0, len=24(0,0), src=0, dst=4294967295
 Ident: 0x00000002
 0. 192.168.15.57

Logout: mt=cmm(3), st=logout(4), seq=0, len=16(0,0), src=0, dst=4294967295

Logout Ack: mt=cmm ack(4), st=logout(4), seq=9, len=16(0,0), src=4294967295, dst=2
write config file: )" + path +
                           "\n");
}

}  // namespace
