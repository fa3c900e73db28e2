#include "lab/capture/conversation.h"

// What holds for network packets alone.

namespace {

constexpr size_t kMostWhole = 1400;  // bytes of a message, header included
constexpr size_t kIPv4Header = 20;
constexpr uint32_t kProtocolIcmp = 1;

}  // namespace

void Conversation::FollowPacket() {
    bool up = m_way == kWireUp;
    bool of_gateway = !up && m_message.src == kWireCentral;
    const Edge* target = EdgeWith(m_message.dst);
    Want(m_edge->phase == Phase::kJoined || (!up && m_edge->phase == Phase::kLeaving),
         "of an edge that has not joined");
    if (up) {
        Want(m_message.src == m_edge->identifier, "src is not the sender");
        Want(target || m_message.dst == kWireCentral, "to nobody");
        if (target) ++m_on_the_way[m_datagram.bytes];
    } else {
        Want(target == m_edge, "dst is another edge");
        Want(of_gateway || m_on_the_way[m_datagram.bytes]-- > 0, "is not what an edge has sent");
        Want(of_gateway || IsQuietOver(), "too soon after the join");
    }
    // The second fragment, which comes first, takes the number of both.
    bool again = m_message.frame_total != 0 && m_message.frame_index == 0;
    if (up || of_gateway) Number(up ? m_edge->next_packet : m_next_packet, again);
    if (WireBytes packet = JoinPacket(); !packet.empty()) CheckPacket(packet);
}

// The packet that has arrived whole with this message; empty while its other half is missing.
WireBytes Conversation::JoinPacket() {
    size_t size = m_datagram.bytes.size();
    Want(size <= kMostWhole || m_message.frame_total != 0, "too long to go out whole");
    if (m_message.frame_total == 0) return m_message.body;
    std::tuple key(m_datagram.from, m_datagram.to, m_message.src, m_message.dst, m_message.seq);
    if (m_message.frame_index == 1) {
        Want(m_seconds.emplace(key, m_message.body).second, "a second fragment again");
        return {};
    }
    Want(size == kMostWhole, "a first fragment of " + std::to_string(size));
    auto second = m_seconds.extract(key);
    Want(!second.empty(), "a first fragment without the second one before it");
    if (second.empty()) return {};
    WireBytes packet = m_message.body;
    packet.insert(packet.end(), second.mapped().begin(), second.mapped().end());
    return packet;
}

void Conversation::CheckPacket(const WireBytes& packet) {
    size_t header = (At8(packet, 0) & 0x0F) * 4;
    Want(At8(packet, 0) >> 4 == 4 && header >= kIPv4Header, "not IPv4");
    Want(At16(packet, 2) == packet.size(), "not of its total length");
    Want(ChecksumOf(packet, 0, header) == 0, "a wrong IPv4 header checksum");
    Want(At8(packet, 9) != kProtocolIcmp || ChecksumOf(packet, header, packet.size()) == 0,
         "a wrong ICMP checksum");
    const Edge* source = m_way == kWireUp ? m_edge : EdgeWith(m_message.src);
    const Edge* target = EdgeWith(m_message.dst);
    Want(At32(packet, 12) == (source ? source->plan.device.ip : m_plan.gateway),
         "its source address is not the sender's");
    Want(At32(packet, 16) == (target ? target->plan.device.ip : m_plan.gateway),
         "its destination address is not that of dst");
}
