#pragma once

#include <cstdint>

// A cursor that writes integers and byte runs one after another into a caller's memory, which it
// does not own. Values are written in host byte order, unchanged: convert first where network
// order is wanted. The writer never compares its position with the size: the caller sizes the
// memory for everything that it will write.
class CTBufferWriter {
  public:
    // 1, or 0 if p is null or size below 1.
    int Attach(void* p, int size);

    // The bytes written. The writer must be attached; all but the 16-bit form assert it.
    int Write(uint8_t value);
    int Write(uint16_t value);
    int Write(uint32_t value);
    // 0 if p is null or n below 1. The bytes are only read; the signature stands in the assertion's
    // text, where "const" would show.
    int Write(void* p, int n);

  private:
    void Store(const void* p, int n);

    int m_size = 0;
    int m_pos = 0;
    uint8_t* m_ptr = nullptr;
};
