#include "base/pvu_memblock.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

// realloc of n bytes and the hidden zero byte; null on failure.
void* AllocateWithTerminator(void* old, int n) {
    size_t size = static_cast<size_t>(n);
    void* p = realloc(old, size + 1);
    if (p) static_cast<char*>(p)[size] = '\0';
    return p;
}

}  // namespace

int CTMemBlock::Create(int n) {
    if (n < 1) return 0;
    if (m_ptr) return m_size;
    m_ptr = AllocateWithTerminator(nullptr, n);
    m_size = m_ptr ? n : 0;
    return m_size;
}

int CTMemBlock::ReSize(int n) {
    if (n < 1) return 0;
    if (!m_ptr) return Create(n);
    void* p = AllocateWithTerminator(m_ptr, n);
    if (!p) return 0;
    m_ptr = p;
    m_size = n;
    return n;
}

void CTMemBlock::Destroy() {
    free(m_ptr);
    m_ptr = nullptr;
    m_size = 0;
}

int CTMemBlock::Write(int offset, const void* p, int n) {
    if (offset > m_size || !p || n <= 0) return 0;
    int count = std::min(n, m_size - offset);
    if (count > 0) memcpy(static_cast<char*>(m_ptr) + offset, p, static_cast<size_t>(count));
    return count;
}

int CTMemBlock::Read(int offset, void* p, int n) const {
    if (offset < 0 || offset > m_size || !p || n <= 0) return 0;
    int count = std::min(n, m_size - offset);
    if (count > 0) memcpy(p, static_cast<const char*>(m_ptr) + offset, static_cast<size_t>(count));
    return count;
}

int CTMemBlock::Clear() {
    if (!m_ptr) return 0;
    memset(m_ptr, 0, static_cast<size_t>(m_size));
    return m_size;
}

void CTMemBlock::Copy(const CTMemBlock& other) {
    if (m_size < other.m_size && ReSize(other.m_size) < 1) return;
    if (&other == this) return;
    Read(other.m_ptr, other.m_size);
}
