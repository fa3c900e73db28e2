// Writes the seeds of the corpus, made by the product's own encoders: fuzz-seeds FOLDER makes
// FOLDER/TARGET/NAME for every target.

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cfg/sys_cfg.h"
#include "sstp/sstp_add_device.h"
#include "sstp/sstp_add_router.h"
#include "sstp/sstp_del_device.h"
#include "sstp/sstp_del_router.h"
#include "sstp/sstp_dhcp.h"
#include "sstp/sstp_echo.h"
#include "sstp/sstp_get_device.h"
#include "sstp/sstp_get_router.h"
#include "sstp/sstp_heartbeat.h"
#include "sstp/sstp_login.h"
#include "sstp/sstp_logout.h"
#include "sstp/sstp_p2p_heartbeat.h"
#include "sstp/sstp_subnet.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kIp = 0xC0A80F0B;       // 192.168.15.11
constexpr uint32_t kGateway = 0xC0A80F05;  // 192.168.15.5
constexpr uint32_t kMask = 0xFFFFFF00;
constexpr uint8_t kMac[] = {2, 0, 0, 0, 0, 1};
constexpr uint32_t kSerial = 1001;
constexpr uint32_t kVersion = 0x00000105;

std::filesystem::path g_root;

void WriteSeed(const std::string& target, const std::string& name, const Bytes& bytes) {
    std::filesystem::create_directories(g_root / target);
    std::ofstream file(g_root / target / name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

void Append(Bytes& to, const Bytes& bytes) {
    to.insert(to.end(), bytes.begin(), bytes.end());
}

Bytes Record(const Bytes& bytes) {
    Bytes record = {static_cast<uint8_t>(bytes.size() >> 8), static_cast<uint8_t>(bytes.size())};
    Append(record, bytes);
    return record;
}

Bytes Encoded(CTSstpMessage& msg, uint32_t src, uint16_t seq) {
    msg.SetSrc(src);
    msg.SetSeq(seq);
    return Bytes(msg.GetBufferPtr(), msg.GetBufferPtr() + msg.GetMessageLength());
}

// A message of that class, with what fill sets.
template <typename Message, typename Fill>
Bytes Make(uint32_t src, uint16_t seq, Fill fill) {
    Message msg;
    msg.Create();
    fill(msg);
    return Encoded(msg, src, seq);
}
template <typename Message>
Bytes Make(uint32_t src, uint16_t seq) {
    return Make<Message>(src, seq, [](Message&) {});
}

void FillDevices(CTSstpGetDeviceAckParamList& list) {
    list.Create(2);
    for (uint32_t ip : {kIp, kIp + 1}) {
        list.Append();
        list.SetStat(1);
        list.SetType(1);
        list.SetIPv4Addr(ip);
        list.SetEtherAddr(kMac);
    }
}

Bytes IPv4Packet(uint32_t dst, size_t payload) {
    Bytes packet = {0x45, 0, 0, 0, 0, 0, 0x40, 0, 64, 17, 0, 0, 192, 168, 15, 12};
    for (int shift = 24; shift >= 0; shift -= 8)
        packet.push_back(static_cast<uint8_t>(dst >> shift));
    packet.resize(20 + payload, 'p');
    packet[2] = static_cast<uint8_t>(packet.size() >> 8);
    packet[3] = static_cast<uint8_t>(packet.size());
    return packet;
}

Bytes NetPacket(const Bytes& packet, uint8_t total, uint8_t index, uint32_t dst) {
    CTSstpMessage msg;
    msg.Create(static_cast<int>(packet.size()) + 1);
    msg.Write(const_cast<uint8_t*>(packet.data()), static_cast<int>(packet.size()));
    msg.SetType(kSstpNetPacket);
    msg.SetFrameTotal(total);
    msg.SetFrameIndex(index);
    msg.SetDst(dst);
    return Encoded(msg, 1, 7);
}

Bytes AddRouter(uint32_t src, uint16_t seq, uint32_t identifier) {
    return Make<CTSstpAddRouterMsg>(src, seq, [&](auto& msg) {
        msg.SetIdentifier(identifier);
        msg.SetSerialNumber(kSerial);
        msg.SetRouterLabel("edge-c");
    });
}

Bytes AddDevice(uint32_t src, uint16_t seq, uint32_t identifier) {
    return Make<CTSstpAddDeviceMsg>(src, seq, [&](auto& msg) {
        CTSstpGetDeviceAckParamList list;
        FillDevices(list);
        msg.SetIdentifier(identifier);
        msg.FillParamList(list);
    });
}

Bytes DelDevice(uint32_t src, uint16_t seq, uint32_t identifier) {
    return Make<CTSstpDelDeviceMsg>(src, seq, [&](auto& msg) {
        uint32_t addr = htonl(kIp);
        msg.SetIdentifier(identifier);
        msg.FillParamList(&addr, 1);
    });
}

void TunnelSeeds() {
    Bytes commands = {1};
    Append(commands, Record(AddRouter(kSstpCentralRouter, 1, 2)));
    Append(commands, Record(AddDevice(kSstpCentralRouter, 2, 2)));
    Append(commands, Record(DelDevice(kSstpCentralRouter, 3, 2)));
    Append(commands, Record(Make<CTSstpDelRouterMsg>(kSstpCentralRouter, 4,
                                                     [](auto& msg) { msg.SetIdentifier(2); })));
    Append(commands, Record(Make<CTSstpP2PHeartbeatMsg>(1, 5)));
    Append(commands, Record(Make<CTSstpP2PHeartbeatAck>(1, 6)));
    Append(commands, Record(Make<CTSstpHeartBeatAck>(kSstpCentralRouter, 7)));
    WriteSeed("tunnel", "commands", commands);

    Bytes packet = IPv4Packet(kIp, 60);
    Bytes packets = {0};
    Append(packets, Record(NetPacket(packet, 0, 0, 1)));
    for (uint8_t index : std::initializer_list<uint8_t>{1, 0, 0, 0, 1})
        Append(packets, Record(NetPacket(packet, 2, index, 1)));
    WriteSeed("tunnel", "packets", packets);
}

Bytes RouterList() {
    return Make<CTSstpGetRouterAck>(kSstpCentralRouter, 0, [](auto& msg) {
        CTSstpGetRouterAckParamList list;
        list.Create(2);
        for (uint32_t identifier : {0U, 2U}) {
            list.Append();
            list.SetIdentifier(identifier);
            list.SetSerialNumber(kSerial + identifier);
        }
        msg.FillParamList(list);
    });
}

Bytes DeviceList() {
    return Make<CTSstpGetDeviceAck>(kSstpCentralRouter, 0, [](auto& msg) {
        CTSstpGetDeviceAckParamList list;
        FillDevices(list);
        msg.FillParamList(list);
    });
}

void JoinSeed() {
    Bytes replies;
    auto add = [&](const Bytes& reply) { Append(replies, Record(reply)); };
    add(Make<CTSstpEchoAck>(kSstpCentralRouter, 0));
    add(Make<CTSstpLoginAck>(kSstpCentralRouter, 0, [](auto& msg) { msg.SetIdentifier(1); }));
    add(Make<CTSstpDhcpAck>(kSstpCentralRouter, 0, [](auto& msg) {
        msg.SetIP(kIp);
        msg.SetGateway(kGateway);
        msg.SetMask(kMask);
    }));
    add(Make<CTSstpSubnetAck>(kSstpCentralRouter, 0, [](auto& msg) { msg.SetSubnetName("qwop"); }));
    add(RouterList());
    add(DeviceList());
    add(DeviceList());
    add(Make<CTSstpAddRouterAck>(kSstpCentralRouter, 0));
    add(Make<CTSstpAddDeviceAck>(kSstpCentralRouter, 0));
    add(Make<CTSstpDelDeviceAck>(kSstpCentralRouter, 0));
    add(Make<CTSstpLogoutAck>(kSstpCentralRouter, 0));
    WriteSeed("join", "whole", replies);
}

// Two edges join, one after the other, exchange packets, and one leaves.
void CentralRouterSeed() {
    Bytes steps;
    auto from = [&](uint8_t source, const Bytes& datagram) {
        steps.push_back(source);
        Append(steps, Record(datagram));
    };
    for (uint8_t edge : std::initializer_list<uint8_t>{0, 1}) {
        from(edge, Make<CTSstpEchoMsg>(kSstpCentralRouter, 0));
        from(edge, Make<CTSstpLoginMsg>(kSstpCentralRouter, 1, [&](auto& msg) {
                 msg.SetSubnetName("qwop");
                 msg.SetUserPwd("qwop");
                 msg.SetSerialNumber(kSerial + edge);
                 msg.SetVersion(kVersion);
             }));
        from(edge, Make<CTSstpDhcpMsg>(edge, 2, [&](auto& msg) {
                 msg.SetIPAddr(kIp + edge);
                 msg.SetEtherAddr(kMac);
             }));
        from(edge, Make<CTSstpSubnetMsg>(edge, 3, [](auto& msg) { msg.SetSubnetName("qwop"); }));
        from(edge, Make<CTSstpGetRouterMsg>(edge, 4));
        from(edge, Make<CTSstpGetDeviceMsg>(edge, 5));
        from(edge, AddRouter(edge, 6, edge));
        from(edge, AddDevice(edge, 7, edge));
        from(edge, Make<CTSstpHeartBeatMsg>(edge, 8));
    }
    constexpr uint8_t kPrintTable = 16;
    constexpr uint8_t kOneSecond = 26;
    steps.push_back(kOneSecond);
    steps.push_back(kPrintTable);
    from(1, NetPacket(IPv4Packet(kIp, 8), 0, 0, 0));
    from(1, NetPacket(IPv4Packet(kGateway, 8), 0, 0, kSstpCentralRouter));
    from(0, Make<CTSstpAddRouterAck>(0, 1));
    from(0, Make<CTSstpAddDeviceAck>(0, 2));
    from(1, DelDevice(1, 9, 1));
    from(1, Make<CTSstpLogoutMsg>(1, 10));
    steps.push_back(kOneSecond);
    WriteSeed("central_router", "two_edges", steps);
}

void OutgressSeed() {
    Bytes packets = {3};
    for (size_t payload : std::initializer_list<size_t>{0, 20, 1480})
        Append(packets, Record(IPv4Packet(kIp, payload)));
    Append(packets, Record(IPv4Packet(kGateway, 64)));
    WriteSeed("outgress", "packets", packets);
}

void TextSeeds() {
    std::string address = "192.168.15.5";
    WriteSeed("address", "ip", Bytes(address.begin(), address.end()));
    std::string mac = "02:00:00:00:00:01";
    WriteSeed("address", "mac", Bytes(mac.begin(), mac.end()));
    std::string path = g_root / "config" / "default";
    std::filesystem::create_directories(g_root / "config");
    CTSysCfg config;
    config.WriteToJsonFile(path.c_str());
    const char central[] =
        R"({ "lowest version": "0.1.0", "silent after": 60, "subnets": [ { "name": "a",)"
        R"( "password": "b", "gateway": "192.168.15.5", "netmask": "255.255.255.0" } ] })";
    WriteSeed("config", "central_router", Bytes(central, central + sizeof central - 1));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "Usage: fuzz-seeds FOLDER\n");
        return 2;
    }
    g_root = argv[1];
    TunnelSeeds();
    JoinSeed();
    CentralRouterSeed();
    OutgressSeed();
    TextSeeds();
    return 0;
}
