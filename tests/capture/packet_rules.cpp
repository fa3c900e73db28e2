#include "tests/capture/packet_rules.h"

namespace {

constexpr size_t kMostWhole = 1400;  // bytes of a message, header included
constexpr size_t kIPv4Header = 20;
constexpr uint32_t kProtocolIcmp = 1;

}  // namespace

WireBytes PacketRules::Join(const Datagram& datagram, const WireMessage& message,
                            WireFaults& faults) {
    size_t size = datagram.bytes.size();
    if (message.frame_total == 0) {
        if (size > kMostWhole) faults.push_back("too long to go out whole");
        return message.body;
    }
    Key key(datagram.from, datagram.to, message.src, message.seq);
    if (message.frame_index == 1) {
        if (!m_second.emplace(key, message).second) faults.push_back("a second fragment again");
        return {};
    }
    if (size != kMostWhole) faults.push_back("a first fragment of " + std::to_string(size));
    auto second = m_second.find(key);
    if (second == m_second.end()) {
        faults.push_back("a first fragment without the second one before it");
        return {};
    }
    if (second->second.dst != message.dst) faults.push_back("fragments to different edges");
    WireBytes packet = message.body;
    packet.insert(packet.end(), second->second.body.begin(), second->second.body.end());
    m_second.erase(second);
    return packet;
}

bool PacketRules::IsHandedOn(const Datagram& datagram) {
    auto same = m_on_the_way.find(datagram.bytes);
    if (same == m_on_the_way.end()) return false;
    m_on_the_way.erase(same);
    return true;
}

void CheckIPv4(const WireBytes& packet, WireFaults& faults) {
    size_t header = (At8(packet, 0) & 0x0F) * 4;
    if (At8(packet, 0) >> 4 != 4) faults.push_back("not IPv4");
    if (At16(packet, 2) != packet.size()) faults.push_back("not of its total length");
    if (header < kIPv4Header || ChecksumOf(packet, 0, header) != 0)
        faults.push_back("a wrong IPv4 header checksum");
    if (At8(packet, 9) == kProtocolIcmp && ChecksumOf(packet, header, packet.size()) != 0)
        faults.push_back("a wrong ICMP checksum");
}
