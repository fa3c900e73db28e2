#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/pvu_list.h"

// The one kind of buffer that every packet and tunnel message lives in: a heap block with reserved
// space in front of and behind the payload, so that headers are put in front of it and taken off
// again without copying.
//
//   m_start      m_data          m_tail          m_end
//   |            |               |               |
//   v            v               v               v
//   +------------+---------------+---------------+------------+
//   | front      | valid data    | free          | back       |
//   | reserve 32 | (m_len)       |               | reserve 32 |
//   +------------+---------------+---------------+------------+
//
// The whole front reserve is usable for headers; the back reserve is never written by Put or
// PutData. One thread at a time: the stage that holds it.
//
// Results are 0 or a negative error number: -22 (EINVAL), -12 (ENOMEM).
class CTSkBuffer : public CTLinkedNode {
  public:
    static constexpr int kReserve = 32;

    // No block.
    CTSkBuffer() = default;
    explicit CTSkBuffer(int capacity) { Create(capacity); }
    ~CTSkBuffer() = default;
    CTSkBuffer(const CTSkBuffer&) = delete;
    CTSkBuffer& operator=(const CTSkBuffer&) = delete;

    // A block of capacity + 64 bytes, empty; -22 if capacity is below 1, -12 without memory.
    int Create(int capacity);
    // Frees the block; size and length fields stay as they were.
    void Destroy();
    // Empty again, with full reserves; without a block it stays without.
    void Reset();

    // Bytes in front of the data, reserve included.
    int64_t HeadRoom() const { return m_data - m_start; }
    // The back reserve, whatever the data length: deliberately not the free space.
    int64_t TailRoom() const { return m_size - (m_end - m_start); }
    // The capacity asked for.
    int GetBufferSize() const { return m_size - m_headroom - m_tailroom; }
    int GetFreeSize() const { return GetBufferSize() - m_len; }
    uint8_t* GetData() const { return m_data; }
    int GetDataLength() const { return m_len; }

    // Append n bytes of room; -12 past the end. n is not checked to be positive.
    int Put(int n);
    // Prepend n bytes of room; -12 when the head room is smaller.
    int Push(int n);
    // Remove n bytes at the back; -12 if fewer are held.
    int DropTail(int n);
    // Remove n bytes at the front; -22 if fewer are held (not -12: part of the contract).
    int Pull(int n);
    // Append or prepend bytes; -22 if p is null or n below 1, -12 without room.
    int PutData(const void* p, int n);
    int PushData(const void* p, int n);
    // Reset, then the bytes; empty if they do not fit.
    void Copy(const void* p, int n);
    // Nothing for null or for the buffer itself.
    void Copy(const CTSkBuffer* other);
    void Copy(const CTSkBuffer& other) { Copy(&other); }

  private:
    static constexpr int m_def_headroom = kReserve;
    static constexpr int m_def_tailroom = kReserve;

    int m_size = 0;
    int m_len = 0;
    std::unique_ptr<uint8_t[]> m_head;
    uint8_t* m_start = nullptr;
    uint8_t* m_data = nullptr;
    uint8_t* m_tail = nullptr;
    uint8_t* m_end = nullptr;
    int m_headroom = 0;
    int m_tailroom = 0;
};
