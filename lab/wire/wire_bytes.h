#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// In a block of exactly their length, so that a sanitizer sees every read past it.
using WireBytes = std::vector<uint8_t>;

// "4500 0073" in bytes; blanks separate as the reader likes.
inline WireBytes Hex(const std::string& digits) {
    WireBytes bytes;
    std::string pair;
    for (char c : digits) {
        if (c == ' ') continue;
        pair += c;
        if (pair.size() < 2) continue;
        bytes.push_back(static_cast<uint8_t>(std::stoi(pair, nullptr, 16)));
        pair.clear();
    }
    bytes.shrink_to_fit();
    return bytes;
}

inline void Put8(WireBytes& bytes, uint32_t value) {
    bytes.push_back(static_cast<uint8_t>(value));
}
inline void Put16(WireBytes& bytes, uint32_t value) {
    Put8(bytes, value >> 8);
    Put8(bytes, value);
}
inline void Put32(WireBytes& bytes, uint32_t value) {
    Put16(bytes, value >> 16);
    Put16(bytes, value);
}

// Of bytes that are not there, 0.
inline uint32_t At8(const WireBytes& bytes, size_t offset) {
    return offset < bytes.size() ? bytes[offset] : 0;
}
inline uint32_t At16(const WireBytes& bytes, size_t offset) {
    return At8(bytes, offset) << 8 | At8(bytes, offset + 1);
}
inline uint32_t At32(const WireBytes& bytes, size_t offset) {
    return At16(bytes, offset) << 16 | At16(bytes, offset + 2);
}

// A packed wire record laid over the bytes.
template <typename Record>
Record* RecordAt(WireBytes& bytes, size_t offset = 0) {
    return reinterpret_cast<Record*>(bytes.data() + offset);
}
