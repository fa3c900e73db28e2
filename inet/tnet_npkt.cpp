#include "inet/tnet_npkt.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

int CTSkBuffer::Create(int capacity) {
    if (capacity < 1) return -EINVAL;
    if (capacity > INT_MAX - m_def_headroom - m_def_tailroom) return -ENOMEM;
    int size = capacity + m_def_headroom + m_def_tailroom;
    m_head.reset(new (std::nothrow) uint8_t[static_cast<size_t>(size)]);
    if (!m_head) {
        Destroy();
        return -ENOMEM;
    }
    m_size = size;
    m_headroom = m_def_headroom;
    m_tailroom = m_def_tailroom;
    m_start = m_head.get();
    Reset();
    return 0;
}

void CTSkBuffer::Destroy() {
    m_head.reset();
    m_start = nullptr;
    m_data = nullptr;
    m_tail = nullptr;
    m_end = nullptr;
    m_headroom = 0;
    m_tailroom = 0;
}

void CTSkBuffer::Reset() {
    m_len = 0;
    if (!m_start) return;  // m_size may still tell the size of a block that is gone
    m_data = m_start + m_headroom;
    m_tail = m_data;
    m_end = m_start + m_size - m_tailroom;
}

int CTSkBuffer::Put(int n) {
    if (n > m_end - m_tail) return -ENOMEM;
    m_tail += n;
    m_len += n;
    return 0;
}

int CTSkBuffer::Push(int n) {
    if (HeadRoom() < n) return -ENOMEM;
    m_data -= n;
    m_len += n;
    return 0;
}

int CTSkBuffer::DropTail(int n) {
    if (n > m_len) return -ENOMEM;
    m_tail -= n;
    m_len -= n;
    return 0;
}

int CTSkBuffer::Pull(int n) {
    if (n > m_len) return -EINVAL;
    m_data += n;
    m_len -= n;
    return 0;
}

int CTSkBuffer::PutData(const void* p, int n) {
    if (!p || n < 1) return -EINVAL;
    uint8_t* at = m_tail;
    if (int result = Put(n); result != 0) return result;
    memcpy(at, p, static_cast<size_t>(n));
    return 0;
}

int CTSkBuffer::PushData(const void* p, int n) {
    if (!p || n < 1) return -EINVAL;
    if (int result = Push(n); result != 0) return result;
    memcpy(m_data, p, static_cast<size_t>(n));
    return 0;
}

void CTSkBuffer::Copy(const void* p, int n) {
    Reset();
    PutData(p, n);
}

void CTSkBuffer::Copy(const CTSkBuffer* other) {
    if (!other || other == this) return;
    Copy(other->GetData(), other->GetDataLength());
}
