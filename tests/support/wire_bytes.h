#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Wire bytes as a test writes them down, in a block of exactly their length, so that a sanitizer
// sees every read past it.
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

// A packed wire record laid over the bytes.
template <typename Record>
Record* RecordAt(WireBytes& bytes, size_t offset = 0) {
    return reinterpret_cast<Record*>(bytes.data() + offset);
}
