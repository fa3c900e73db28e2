#include "tests/support/wire_message.h"

namespace {

constexpr size_t kHeaderSize = 16;

struct Header {
    WireMessage& message;
    uint16_t length = 0;
    void Walk(auto& fields) {
        fields.Number(message.type, {1, 2, 3, 4, 5});
        fields.Number(message.sub);
        fields.Number(message.seq);
        fields.Number(length);
        fields.Number(message.frame_total, {0, 2});
        fields.Number(message.frame_index, {0, 1});
        fields.Number(message.src);
        fields.Number(message.dst);
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
    WireReader reader(datagram, faults);
    header.Walk(reader);
    if (datagram.size() < kHeaderSize) return {};
    message.body.assign(datagram.begin() + kHeaderSize, datagram.end());
    if (header.length != datagram.size()) faults.push_back("the length is not the datagram's");
    if (message.frame_index != 0 && message.frame_total == 0)
        faults.push_back("an index of no fragment");
    if (message.frame_total != 0 && !message.IsPacket())
        faults.push_back("a fragment of no packet");
    if (!IsParty(message.src) || !IsParty(message.dst)) faults.push_back("an identifier of nobody");
    return message;
}

WireMessage WireMessage::Reply(const WireBytes& reply_body) const {
    WireMessage reply;
    reply.type = static_cast<uint8_t>(type + 1);
    reply.sub = sub;
    reply.seq = seq;
    reply.src = dst;
    reply.dst = src;
    reply.body = reply_body;
    return reply;
}

void Put8(WireBytes& bytes, uint32_t value) {
    bytes.push_back(static_cast<uint8_t>(value));
}

void Put16(WireBytes& bytes, uint32_t value) {
    WireWriter(bytes).Number(static_cast<uint16_t>(value));
}

void Put32(WireBytes& bytes, uint32_t value) {
    WireWriter(bytes).Number(value);
}

void PutText(WireBytes& bytes, const std::string& text) {
    WireWriter(bytes).Text(text);
}

uint32_t At8(const WireBytes& bytes, size_t offset) {
    return offset < bytes.size() ? bytes[offset] : 0;
}

uint32_t At16(const WireBytes& bytes, size_t offset) {
    return At8(bytes, offset) << 8 | At8(bytes, offset + 1);
}

uint32_t At32(const WireBytes& bytes, size_t offset) {
    return At16(bytes, offset) << 16 | At16(bytes, offset + 2);
}

std::string TextAt(const WireBytes& bytes, size_t offset) {
    std::string text;
    for (size_t i = offset; i < offset + kWireTextSize && At8(bytes, i) != 0; ++i)
        text += static_cast<char>(bytes[i]);
    return text;
}

uint16_t ChecksumOf(const WireBytes& bytes, size_t from, size_t to) {
    uint32_t sum = 0;
    for (size_t i = from; i < to; i += 2)
        sum += At8(bytes, i) << 8 | (i + 1 < to ? At8(bytes, i + 1) : 0);
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<uint16_t>(~sum);
}
