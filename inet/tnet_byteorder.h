#pragma once

#include <arpa/inet.h>

#include <cstdint>
#include <cstring>

// The one pair of load/store helpers per width for fields in network byte order, which may stand
// at any alignment. Records with packed members use them too; nothing else touches byte order.

inline uint16_t tnet_load16(const void* at) {
    uint16_t word;
    memcpy(&word, at, sizeof word);
    return ntohs(word);
}

inline uint32_t tnet_load32(const void* at) {
    uint32_t word;
    memcpy(&word, at, sizeof word);
    return ntohl(word);
}

inline void tnet_store16(void* at, uint16_t value) {
    uint16_t word = htons(value);
    memcpy(at, &word, sizeof word);
}

inline void tnet_store32(void* at, uint32_t value) {
    uint32_t word = htonl(value);
    memcpy(at, &word, sizeof word);
}
