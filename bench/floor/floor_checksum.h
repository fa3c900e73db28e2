#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// The Internet checksum in memory order: 32-bit words are added, which is the same once folded.
inline uint64_t FloorSum(const uint8_t* data, size_t size, uint64_t sum = 0) {
    uint32_t word;
    for (; size >= sizeof word; data += sizeof word, size -= sizeof word) {
        memcpy(&word, data, sizeof word);
        sum += word;
    }
    word = 0;
    memcpy(&word, data, size);
    return sum + word;
}

inline uint16_t FloorFold(uint64_t sum) {
    sum = (sum & 0xFFFFFFFF) + (sum >> 32);
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<uint16_t>(sum);
}
