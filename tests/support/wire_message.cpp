#include "tests/support/wire_message.h"

#include <gtest/gtest.h>

void Put8(WireBytes& bytes, uint32_t value) {
    bytes.push_back(static_cast<uint8_t>(value));
}

void Put16(WireBytes& bytes, uint32_t value) {
    Put8(bytes, value >> 8);
    Put8(bytes, value);
}

void Put32(WireBytes& bytes, uint32_t value) {
    Put16(bytes, value >> 16);
    Put16(bytes, value);
}

void PutText(WireBytes& bytes, const std::string& text) {
    for (size_t i = 0; i < 32; ++i)
        Put8(bytes, i < text.size() ? static_cast<uint8_t>(text[i]) : 0);
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
    for (size_t i = offset; i < offset + 32 && At8(bytes, i) != 0; ++i)
        text += static_cast<char>(bytes[i]);
    return text;
}

WireBytes WireMessage::Encode() const {
    WireBytes bytes;
    Put8(bytes, type);
    Put8(bytes, sub);
    Put16(bytes, seq);
    Put16(bytes, length_field >= 0 ? static_cast<uint32_t>(length_field)
                                   : static_cast<uint32_t>(16 + body.size()));
    Put8(bytes, frame_total);
    Put8(bytes, frame_index);
    Put32(bytes, src);
    Put32(bytes, dst);
    bytes.insert(bytes.end(), body.begin(), body.end());
    return bytes;
}

WireMessage WireMessage::Decode(const WireBytes& datagram) {
    WireMessage message;
    EXPECT_GE(datagram.size(), 16u);
    if (datagram.size() < 16) return message;
    message.type = datagram[0];
    message.sub = datagram[1];
    message.seq = static_cast<uint16_t>(At16(datagram, 2));
    EXPECT_EQ(At16(datagram, 4), datagram.size());
    message.frame_total = datagram[6];
    message.frame_index = datagram[7];
    message.src = At32(datagram, 8);
    message.dst = At32(datagram, 12);
    message.body.assign(datagram.begin() + 16, datagram.end());
    return message;
}
