#pragma once

#include "base/pvu_memblock.h"

// A byte queue in one heap block: written at the end, read from the front, compacted or grown
// when the end is reached. One thread at a time.
class CTBuffer : public CTMemBlock {
  public:
    CTBuffer() = default;
    explicit CTBuffer(int n) : CTMemBlock(n) {}

    // Appends n bytes, growing the block if need be; returns the bytes written, 0 for a null p,
    // for n below 1 or when growing fails. A write that would exactly fill the space behind the
    // data compacts or grows first.
    int Write(const void* p, int n);
    // Takes n bytes from the front; returns n. 0 for a null p or n below 1, and 0 as well unless
    // strictly more than n bytes are held.
    int Read(void* p, int n);
    // Drops n bytes from the front, or everything when no more are held; returns n. An n below 1
    // changes nothing.
    int Skip(int n);

    int GetLength() const { return m_write_pos - m_read_pos; }
    void* GetPtr() const;
    bool IsEmpty() const { return m_write_pos == m_read_pos; }
    void Reset();

  private:
    void Compact();
    int AppendAtWritePos(const void* p, int n);

    int m_read_pos = 0;
    int m_write_pos = 0;
};
