#pragma once

// A heap block of bytes with bounded reads and writes; base of CTString and CTBuffer. One zero
// byte lies hidden past the size, so that a text that fills the block exactly can still be read
// as a text. One thread at a time; never throws.
class CTMemBlock {
  public:
    static constexpr int kDefaultSize = 512;

    CTMemBlock() { Create(kDefaultSize); }
    explicit CTMemBlock(int n) { Create(n); }
    ~CTMemBlock() { Destroy(); }
    CTMemBlock(const CTMemBlock&) = delete;
    CTMemBlock& operator=(const CTMemBlock&) = delete;

    // Without a block: allocates n bytes and returns n, or 0 on failure or for n below 1. With a
    // block: changes nothing and returns the present size.
    int Create(int n);
    // Makes the block n bytes, keeping its content; returns n. 0 for n below 1, and on failure,
    // which keeps the old block.
    int ReSize(int n);
    void Destroy();

    // Copies min(n, size - offset) bytes to the offset; returns that count, or 0 unless
    // offset <= size, p is set and n > 0. Precondition: offset is not negative (not checked).
    int Write(int offset, const void* p, int n);
    int Write(const void* p, int n) { return Write(0, p, n); }
    // Copies min(n, size - offset) bytes from the offset to p; returns that count, or 0 unless
    // 0 <= offset <= size, p is set and n > 0.
    int Read(int offset, void* p, int n) const;
    int Read(void* p, int n) const { return Read(0, p, n); }
    // Zero-fills the block; returns its size, 0 without a block.
    int Clear();
    // Copies this block's bytes into the other block (this direction is intended), after growing
    // this block to the other's size if it is smaller; does nothing if that fails.
    void Copy(const CTMemBlock& other);

    int GetSize() const { return m_size; }
    void* GetPtr() const { return m_ptr; }

  private:
    void* m_ptr = nullptr;
    int m_size = 0;
};
