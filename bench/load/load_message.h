#pragma once

#include <cstdint>
#include <cstring>

// What sender and sink exchange, in the host's byte order: both run on one machine.

// Data: filled up to the wanted size. A question, sent after the data of a run, has the same header
// and is answered with what arrived of that run.
struct LoadHeader {
    uint32_t magic;
    uint32_t run;  // drawn by the sender for each run
    uint64_t kind;
};
constexpr uint32_t kLoadMagic = 0x7A3D91C5;
constexpr uint64_t kLoadData = 1;
constexpr uint64_t kLoadQuestion = 2;

struct LoadAnswer {
    uint32_t magic;
    uint32_t run;
    uint64_t received;     // data messages of the run
    uint64_t nanoseconds;  // between the first and the last of them
};

constexpr int kLoadSmallest = sizeof(LoadHeader);
constexpr int kLoadLargest = 1472;

// False for what is no such message.
template <typename Message>
bool ReadLoad(const uint8_t* data, size_t size, Message& message) {
    if (size < sizeof message) return false;
    memcpy(&message, data, sizeof message);
    return message.magic == kLoadMagic;
}
