#pragma once

#include <cstddef>

// A heap block from the system allocator, and that allocator's calls with our conventions. One
// thread at a time; never throws.
class CTMemory {
  public:
    static constexpr int kDefaultSize = 512;

    CTMemory() { Create(kDefaultSize); }
    explicit CTMemory(int n) { Create(n); }
    ~CTMemory() { Destroy(); }
    CTMemory(const CTMemory&) = delete;
    CTMemory& operator=(const CTMemory&) = delete;

    // Allocates n bytes; returns n, or 0 if none could be had. A previous block is not freed:
    // Destroy() comes first.
    int Create(int n);
    void Destroy();
    // Reallocates to n bytes and returns n. On failure returns 0 and leaves pointer and size as
    // they were; so does Resize(0), although it frees the block: GetPtr() is then stale.
    int Resize(int n);

    void* GetPtr() const { return m_ptr; }
    int GetSize() const { return m_size; }

    static void* Malloc(size_t size);
    // Size 0 frees p and gives null; a null p gives a zero-filled block; otherwise realloc.
    static void* Realloc(void* p, size_t size);
    // Zero-filled count x size bytes; null if either is 0.
    static void* Calloc(size_t count, size_t size);
    // Frees *pp and nulls it; does nothing if either is null.
    static void Free(void** pp);

  private:
    int m_size = 0;
    void* m_ptr = nullptr;
    // False once Resize(0) has freed the block that m_ptr still names, so that it is neither
    // freed nor reallocated again.
    bool m_live = false;
};
