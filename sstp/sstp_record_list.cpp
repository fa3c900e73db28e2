#include "sstp/sstp_record_list.h"

#include <algorithm>
#include <new>

#include "base/pvu_assert.h"

namespace {

constexpr int kGrowth = 8;
constexpr char kFile[] = "sstp/sstp_pkt";

}  // namespace

// A zeroed array in the place of the present one; false, and nothing changed, without memory.
bool CTSstpRecordList::Allocate(int capacity) {
    PVU_ASSERT(capacity >= 0, "(capacity >= 0): bad array length", kFile, __LINE__);
    size_t size = static_cast<size_t>(capacity) * static_cast<size_t>(m_record_size);
    std::unique_ptr<uint8_t[]> array(new (std::nothrow) uint8_t[size]());
    if (!array) return false;
    m_own = std::move(array);
    m_data = m_own.get();
    m_capacity = capacity;
    m_cursor = 0;
    m_count = 0;
    return true;
}

int CTSstpRecordList::Create(int n) {
    return Allocate(std::min(n, m_maximum)) ? 0 : 1;
}

void CTSstpRecordList::Destroy() {
    if (m_data == m_own.get()) m_data = nullptr;
    m_own.reset();
    m_cursor = 0;
    m_count = 0;
    m_capacity = 0;
}

bool CTSstpRecordList::Attach(void* ptr, int len) {
    if (!ptr || len <= 0) return false;
    m_data = static_cast<uint8_t*>(ptr);
    m_cursor = 0;
    m_count = len / m_record_size;
    m_capacity = m_count;
    m_maximum = m_count;
    return true;
}

int CTSstpRecordList::Expand(int add) {
    if (m_data == m_own.get() || m_capacity >= m_maximum) return 1;
    // Borrowed records fill their list to its maximum, so only Destroy leads here: there is no
    // record to keep, and the capacity is 0.
    return Allocate(std::min(m_capacity + add, m_maximum)) ? 0 : 1;
}

bool CTSstpRecordList::Append() {
    if (m_data != m_own.get()) return false;
    if (m_count == m_capacity && Expand(kGrowth) != 0) return false;
    m_cursor = m_count++;
    return true;
}

CTSstpRecord CTSstpRecordList::Current() const {
    if (!m_data || IsEnd()) return CTSstpRecord();
    return CTSstpRecord(m_data + static_cast<ptrdiff_t>(m_cursor) * m_record_size);
}
