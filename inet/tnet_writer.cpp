#include "inet/tnet_writer.h"

#include <cstring>

#include "base/pvu_assert.h"

// The lines are those that operators know from the assertion's text, not those of this file.
#define TNET_ASSERT_WRITER(line) PVU_ASSERT(m_ptr, "((m_ptr != __null))", "inet/tnet_npkt", line)

int CTBufferWriter::Attach(void* p, int size) {
    if (!p || size < 1) return 0;
    m_ptr = static_cast<uint8_t*>(p);
    m_size = size;
    m_pos = 0;
    return 1;
}

void CTBufferWriter::Store(const void* p, int n) {
    memcpy(m_ptr + m_pos, p, static_cast<size_t>(n));
    m_pos += n;
}

int CTBufferWriter::Write(uint8_t value) {
    TNET_ASSERT_WRITER(43);
    Store(&value, sizeof value);
    return sizeof value;
}

int CTBufferWriter::Write(uint16_t value) {
    Store(&value, sizeof value);
    return sizeof value;
}

int CTBufferWriter::Write(uint32_t value) {
    TNET_ASSERT_WRITER(61);
    Store(&value, sizeof value);
    return sizeof value;
}

int CTBufferWriter::Write(void* p, int n) {
    TNET_ASSERT_WRITER(71);
    if (!p || n < 1) return 0;
    Store(p, n);
    return n;
}
