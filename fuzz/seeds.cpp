// Writes the seeds of the corpus: fuzz-seeds FOLDER makes FOLDER/TARGET/NAME for every target.

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "cfg/sys_cfg.h"
#include "lab/wire/wire_bodies.h"
#include "lab/wire/wire_kinds.h"
#include "offload/tcp_cutter.h"

namespace {

using namespace wire_sub;

constexpr uint32_t kIp = Ip(192, 168, 15, 11);
constexpr uint32_t kGateway = Ip(192, 168, 15, 5);
constexpr uint32_t kMask = Ip(255, 255, 255, 0);
constexpr uint32_t kSerial = 1001;
constexpr WireMac kMac = {2, 0, 0, 0, 0, 1};
const std::vector<WireDevice> kDevices = {{.ip = kIp, .mac = kMac}, {.ip = kIp + 1, .mac = kMac}};

std::filesystem::path g_root;

void WriteSeed(const std::string& target, const std::string& name, const WireBytes& bytes) {
    std::filesystem::create_directories(g_root / target);
    std::ofstream(g_root / target / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

void WriteSeed(const std::string& target, const std::string& name, const std::string& text) {
    WriteSeed(target, name, WireBytes(text.begin(), text.end()));
}

void AddRecord(WireBytes& input, const WireBytes& bytes) {
    Put16(input, static_cast<uint32_t>(bytes.size()));
    input.insert(input.end(), bytes.begin(), bytes.end());
}

// From the central router to the edge with identifier 1.
void AddDown(WireBytes& input, uint8_t type, uint8_t sub, const WireBytes& body = {}) {
    WireMessage message{.type = type, .sub = sub, .src = kWireCentral, .dst = 1, .body = body};
    AddRecord(input, message.Encode());
}

WireBytes AddRouterBody(uint32_t identifier) {
    return EncodeWire(
        WireRouterAdd{.identifier = identifier, .serial = kSerial, .label = "edge-c"});
}

WireBytes IPv4Packet(uint32_t dst, size_t payload) {
    WireBytes packet = Hex("4500 0000 0000 4000 4011 0000");
    Put32(packet, kIp + 1);
    Put32(packet, dst);
    packet.resize(20 + payload, 'p');
    packet[2] = static_cast<uint8_t>(packet.size() >> 8);
    packet[3] = static_cast<uint8_t>(packet.size());
    return packet;
}

void TunnelSeeds() {
    WireBytes commands = {1};
    AddDown(commands, 3, kAddRouter, AddRouterBody(2));
    AddDown(commands, 3, kAddDevice, EncodeWire(WireDeviceAdd{2, kDevices}));
    AddDown(commands, 3, kDelDevice, EncodeWire(WireDeviceDel{2, {{kIp}}}));
    AddDown(commands, 3, kDelRouter, EncodeWire(WireIdentifier{2}));
    WireMessage heartbeat{.type = 3, .sub = kPeerHeartbeat, .src = 1, .body = WireBytes(4)};
    AddRecord(commands, heartbeat.Encode());
    AddRecord(commands, heartbeat.Reply(heartbeat.body).Encode());
    AddDown(commands, 2, kHeartbeat, EncodeWire(WireTick()));
    WriteSeed("tunnel", "commands", commands);

    WireBytes packets = {0};
    WireMessage message{.type = 5, .seq = 7, .src = 1, .dst = 1, .body = IPv4Packet(kIp, 60)};
    AddRecord(packets, message.Encode());
    message.frame_total = 2;
    for (uint8_t index : std::initializer_list<uint8_t>{1, 0, 0, 0, 1}) {
        message.frame_index = index;
        AddRecord(packets, message.Encode());
    }
    WriteSeed("tunnel", "packets", packets);
}

void JoinSeed() {
    WireBytes replies;
    WireBytes devices = EncodeWire(WireDeviceList{kDevices});
    AddDown(replies, 4, kEcho);
    AddDown(replies, 4, kLogin, EncodeWire(WireLoginReply{0, 1}));
    AddDown(replies, 4, kDhcp, EncodeWire(WireDhcpReply{0, kGateway, kMask, kIp}));
    AddDown(replies, 4, kSubnet, EncodeWire(WireSubnetReply{"qwop", kGateway, kMask}));
    AddDown(replies, 4, kGetRouter,
            EncodeWire(WireRouterList{{{.serial = kSerial}, {.identifier = 2, .serial = 1003}}}));
    AddDown(replies, 4, kGetDevice, devices);
    AddDown(replies, 4, kGetDevice, devices);
    AddDown(replies, 4, kAddRouter, EncodeWire(WireRouterAddReply()));
    for (uint8_t sub : {kAddDevice, kDelDevice, kLogout})
        AddDown(replies, 4, sub);
    WriteSeed("join", "whole", replies);
}

// Two edges join, one after the other, exchange packets, and one leaves.
void CentralRouterSeed() {
    constexpr uint8_t kPrintTable = 16;
    constexpr uint8_t kOneSecond = 26;
    WireBytes steps;
    uint16_t seq = 0;
    auto from = [&](uint8_t edge, WireMessage message) {
        if (!message.IsReply()) message.seq = seq++;
        message.src = message.Is(3, kEcho) || message.Is(3, kLogin) ? kWireCentral : edge;
        steps.push_back(edge);
        AddRecord(steps, message.Encode());
    };
    auto ask = [&](uint8_t edge, uint8_t sub, const WireBytes& body = {}) {
        from(edge, {.type = 3, .sub = sub, .dst = kWireCentral, .body = body});
    };
    for (uint8_t edge : std::initializer_list<uint8_t>{0, 1}) {
        ask(edge, kEcho);
        ask(edge, kLogin, EncodeWire(WireLogin{"qwop", "", "qwop", kSerial + edge, 0x105}));
        ask(edge, kDhcp, EncodeWire(WireDhcp{kIp + edge, kMac}));
        ask(edge, kSubnet, EncodeWire(WireSubnet{"qwop"}));
        ask(edge, kGetRouter);
        ask(edge, kGetDevice, EncodeWire(WireIdentifier()));
        ask(edge, kAddRouter, AddRouterBody(edge));
        ask(edge, kAddDevice, EncodeWire(WireDeviceAdd{edge, kDevices}));
        from(edge, {.type = 1, .sub = kHeartbeat, .dst = kWireCentral, .body = WireBytes(4)});
    }
    steps.insert(steps.end(), {kOneSecond, kPrintTable});
    from(1, {.type = 5, .dst = 0, .body = IPv4Packet(kIp, 8)});
    from(1, {.type = 5, .dst = kWireCentral, .body = IPv4Packet(kGateway, 8)});
    from(0, {.type = 4, .sub = kAddRouter, .seq = 1, .body = EncodeWire(WireRouterAddReply())});
    from(0, {.type = 4, .sub = kAddDevice, .seq = 2});
    ask(1, kDelDevice, EncodeWire(WireDeviceDel{1, {{kIp}}}));
    ask(1, kLogout);
    steps.push_back(kOneSecond);
    WriteSeed("central_router", "two_edges", steps);

    // A change is lost, the central router is killed and started again, and reads its file again.
    constexpr uint8_t kHold = 240;
    constexpr uint8_t kLose = 241;
    constexpr uint8_t kRestart = 242;
    constexpr uint8_t kReload = 243;
    steps.push_back(kHold);
    ask(0, kDhcp, EncodeWire(WireDhcp{kIp + 9, kMac}));
    steps.insert(steps.end(), {kLose, kOneSecond, kOneSecond, kHold, kOneSecond, kRestart});
    from(0, {.type = 1, .sub = kHeartbeat, .dst = kWireCentral, .body = WireBytes(4)});
    ask(0, kGetRouter);
    steps.insert(steps.end(), {kReload + 1, kOneSecond, kReload + 4, kOneSecond, kRestart});
    WriteSeed("central_router", "restarts", steps);
}

void OutgressSeed() {
    WireBytes packets = {3};
    for (size_t payload : {0U, 20U, 1480U})
        AddRecord(packets, IPv4Packet(kIp, payload));
    AddRecord(packets, IPv4Packet(kGateway, 64));
    WriteSeed("outgress", "packets", packets);
}

// Three segments of a flow, in order and with right checksums; and a burst as the host hands it
// over.
void BurstSeeds() {
    constexpr int kMss = 100;
    WireBytes packet =
        Hex("45000000000040004006000007000001070000020001000200000000000000005010000000000000");
    packet.resize(40 + 3 * kMss, 't');
    tnet_virtio_hdr hdr = {kVirtioNeedsCsum, kVirtioTcp4Burst, 40, kMss, 20, kTcpCksumOffset};
    WireBytes record(reinterpret_cast<uint8_t*>(&hdr), reinterpret_cast<uint8_t*>(&hdr + 1));
    record.insert(record.end(), packet.begin(), packet.end());
    WireBytes host = {0};
    AddRecord(host, record);
    WriteSeed("burst", "host", host);
    WireBytes network = {1};
    CTTcpCutter cutter;
    cutter.Attach(hdr, packet.data(), static_cast<int>(packet.size()));
    while (!cutter.IsEnd()) {
        WireBytes segment(static_cast<size_t>(cutter.MaxLength()));
        segment.resize(static_cast<size_t>(cutter.Next(segment.data())));
        network.push_back(0);
        AddRecord(network, segment);
    }
    WriteSeed("burst", "network", network);
}

// A handshake whole, messages both ways, a change to a next channel; and one on a bad road.
void SealedSeeds() {
    constexpr uint8_t kPassAll = 2, kSendUp = 20, kSendDown = 21, kRenew = 22;
    constexpr uint8_t kOne = 4, kChange = 6, kCut = 8, kTwice = 10, kLose = 12, kAgain = 14;
    constexpr uint8_t kElsewhere = 16, kWait = 18;
    WireBytes whole = {kPassAll, kSendUp};
    AddRecord(whole, WireBytes(100, 'u'));
    whole.push_back(kPassAll);
    whole.push_back(kSendDown);
    AddRecord(whole, WireBytes(1400, 'd'));
    whole.insert(whole.end(), {kPassAll, kRenew, kPassAll, kWait, 3, kPassAll, kSendUp});
    AddRecord(whole, WireBytes(20, 'v'));
    whole.push_back(kPassAll);
    WriteSeed("sealed", "whole", whole);
    WriteSeed("sealed", "bad_handshake",
              WireBytes{kOne, kOne + 1, kChange, 0, 30, 1, kTwice, kWait, 5, kPassAll});
    WireBytes bad = {kPassAll, kSendUp};
    AddRecord(bad, WireBytes(100, 'u'));
    bad.insert(bad.end(), {kChange, 0, 20, 1, kAgain, 2, kSendUp});
    AddRecord(bad, WireBytes(90, 'w'));
    bad.insert(bad.end(), {kCut, 128, kSendUp});
    AddRecord(bad, WireBytes(80, 'x'));
    bad.insert(bad.end(), {kElsewhere, 1, kLose, kWait, 200, kPassAll, 0});
    AddRecord(bad, Hex("16 fefd 0000 000000000000 0010 01 000004 0000 000000 000004 fefd 0000"));
    WriteSeed("sealed", "bad_road", bad);
}

void TextSeeds() {
    WriteSeed("address", "ip", std::string("192.168.15.5"));
    WriteSeed("address", "mac", std::string("02:00:00:00:00:01"));
    WriteSeed("config", "central_router",
              std::string(R"({ "lowest version": "0.1.0", "silent after": 60, "subnets": [ )"
                          R"({ "name": "a", "password": "b", "gateway": "192.168.15.5", )"
                          R"("netmask": "255.255.255.0" } ] })"));
    CTSysCfg().WriteToJsonFile((g_root / "config" / "default").c_str());
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
    BurstSeeds();
    SealedSeeds();
    TextSeeds();
    return 0;
}
