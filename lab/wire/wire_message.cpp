#include "lab/wire/wire_message.h"

namespace {

constexpr size_t kHeaderSize = 16;

struct Header {
    WireMessage& message;
    uint16_t length = 0;
    void Walk(WireWalk& walk) {
        walk.OneOf(message.type, {1, 2, 3, 4, 5})(message.sub, message.seq, length);
        walk.OneOf(message.frame_total, {0, 2}).OneOf(message.frame_index, {0, 1});
        walk(message.src, message.dst);
    }
};

bool IsParty(uint32_t identifier) {
    return identifier == kWireCentral || identifier % 256 < kWireSlots;
}

}  // namespace

WireBytes WireMessage::Encode() const {
    WireMessage copy = *this;
    size_t length =
        length_field < 0 ? kHeaderSize + body.size() : static_cast<size_t>(length_field);
    WireBytes bytes = EncodeWire(Header{copy, static_cast<uint16_t>(length)});
    bytes.insert(bytes.end(), body.begin(), body.end());
    return bytes;
}

WireMessage WireMessage::Decode(const WireBytes& datagram, WireFaults& faults) {
    WireMessage message;
    Header header{message};
    WireWalk reader(datagram, faults);
    header.Walk(reader);
    if (datagram.size() < kHeaderSize) return {};
    message.body.assign(datagram.begin() + kHeaderSize, datagram.end());
    if (header.length != datagram.size()) faults.push_back("the length is not the datagram's");
    if (message.frame_index > message.frame_total) faults.push_back("an index of no fragment");
    if (message.frame_total != 0 && !message.IsPacket())
        faults.push_back("a fragment of no packet");
    if (!IsParty(message.src) || !IsParty(message.dst)) faults.push_back("an identifier of nobody");
    return message;
}

WireMessage WireMessage::Reply(const WireBytes& reply_body) const {
    WireMessage reply{.sub = sub, .seq = seq, .src = dst, .dst = src, .body = reply_body};
    reply.type = static_cast<uint8_t>(type + 1);
    return reply;
}

uint16_t ChecksumOf(const WireBytes& bytes, size_t from, size_t to) {
    uint32_t sum = 0;
    for (size_t i = from; i < to; i += 2)
        sum += At8(bytes, i) << 8 | (i + 1 < to ? At8(bytes, i + 1) : 0);
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<uint16_t>(~sum);
}
