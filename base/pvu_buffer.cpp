#include "base/pvu_buffer.h"

#include <climits>
#include <cstring>

namespace {

constexpr int kGrowthSlack = 16;  // room left after growing for the next small write

}  // namespace

int CTBuffer::Write(const void* p, int n) {
    if (!p || n < 1) return 0;
    int tail_space = GetSize() - m_write_pos;
    if (tail_space > n) return AppendAtWritePos(p, n);
    bool fits_compacted = tail_space + m_read_pos > n;
    Compact();
    if (!fits_compacted) {
        if (n > INT_MAX - kGrowthSlack - m_write_pos) return 0;
        int grown = ReSize(n + m_write_pos + kGrowthSlack);
        if (grown < 1) return grown;
    }
    return AppendAtWritePos(p, n);
}

int CTBuffer::Read(void* p, int n) {
    if (!p || n < 1 || GetLength() <= n) return 0;
    int count = CTMemBlock::Read(m_read_pos, p, n);
    m_read_pos += count;
    if (m_read_pos == m_write_pos) Reset();
    return count;
}

int CTBuffer::Skip(int n) {
    if (n < 1) return n;
    if (GetLength() <= n) {
        Reset();
    } else {
        m_read_pos += n;
    }
    return n;
}

void* CTBuffer::GetPtr() const {
    char* block = static_cast<char*>(CTMemBlock::GetPtr());
    return block ? block + m_read_pos : nullptr;
}

void CTBuffer::Reset() {
    m_read_pos = 0;
    m_write_pos = 0;
}

void CTBuffer::Compact() {
    int held = GetLength();
    void* block = CTMemBlock::GetPtr();
    if (block && held > 0) memmove(block, GetPtr(), static_cast<size_t>(held));
    m_read_pos = 0;
    m_write_pos = held;
}

int CTBuffer::AppendAtWritePos(const void* p, int n) {
    int count = CTMemBlock::Write(m_write_pos, p, n);
    m_write_pos += count;
    return count;
}
