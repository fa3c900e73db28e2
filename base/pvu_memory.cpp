#include "base/pvu_memory.h"

#include <cstdlib>

int CTMemory::Create(int n) {
    void* p = n > 0 ? Malloc(static_cast<size_t>(n)) : nullptr;
    m_ptr = p;
    m_live = p != nullptr;
    m_size = p ? n : 0;
    return m_size;
}

void CTMemory::Destroy() {
    if (m_live) free(m_ptr);
    m_ptr = nullptr;
    m_live = false;
    m_size = 0;
}

int CTMemory::Resize(int n) {
    if (n < 0) return 0;
    void* p = Realloc(m_live ? m_ptr : nullptr, static_cast<size_t>(n));
    if (n == 0) m_live = false;
    if (!p) return 0;
    m_ptr = p;
    m_live = true;
    m_size = n;
    return n;
}

void* CTMemory::Malloc(size_t size) {
    return malloc(size);
}

void* CTMemory::Realloc(void* p, size_t size) {
    if (size == 0) {
        free(p);
        return nullptr;
    }
    return p ? realloc(p, size) : calloc(1, size);
}

void* CTMemory::Calloc(size_t count, size_t size) {
    return count == 0 || size == 0 ? nullptr : calloc(count, size);
}

void CTMemory::Free(void** pp) {
    if (!pp || !*pp) return;
    free(*pp);
    *pp = nullptr;
}
