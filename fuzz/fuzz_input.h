#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

// What a fuzz target makes of its input: numbers and records, taken from the front. A record is a
// length of two bytes, big-endian, and as many bytes as there are of it.
class FuzzInput {
  public:
    FuzzInput(const uint8_t* data, size_t size) : m_at(data), m_left(size) {}

    bool Empty() const { return m_left == 0; }
    uint8_t Take8() {
        if (m_left == 0) return 0;
        --m_left;
        return *m_at++;
    }
    uint16_t Take16() {
        uint16_t high = Take8();
        return static_cast<uint16_t>(high << 8 | Take8());
    }
    // In memory of its own, so that a read past its end is seen.
    std::vector<uint8_t> TakeRecord() {
        size_t size = std::min<size_t>(Take16(), m_left);
        std::vector<uint8_t> record(m_at, m_at + size);
        m_at += size;
        m_left -= size;
        return record;
    }

  private:
    const uint8_t* m_at;
    size_t m_left;
};

// Each target defines this; every input must come back.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
