#include "offload/burst_reader.h"

#include <cerrno>
#include <cstring>

#include "offload/unfinished_cksum.h"

namespace {

constexpr size_t kMaxBurst = 65536;  // more than an IPv4 packet can be

}  // namespace

CTBurstReader::CTBurstReader(const CTReadCalls& calls) : m_calls(calls), m_bytes(kMaxBurst) {}

void CTBurstReader::Attach(int fd, bool has_header) {
    m_fd = fd;
    m_has_header = has_header;
    m_may_read_nowait = true;
    m_has_packet = false;
}

// A system that cannot read without waiting is asked before each read whether there is anything.
ssize_t CTBurstReader::ReadNow(const iovec* pieces, int count) {
    if (m_may_read_nowait) {
        ssize_t n = m_calls.preadv2(m_fd, pieces, count, -1, RWF_NOWAIT);
        if (n >= 0 || (errno != EOPNOTSUPP && errno != ENOSYS)) return n;
        m_may_read_nowait = false;
    }
    pollfd wait = {m_fd, POLLIN, 0};
    if (m_calls.poll(&wait, 1, 0) <= 0) {
        errno = EAGAIN;
        return -1;
    }
    if ((wait.revents & POLLIN) != 0) return m_calls.readv(m_fd, pieces, count);
    errno = ENODEV;  // ready, but with nothing to read: it is gone
    return -1;
}

// A descriptor whose interface has gone is ready at once, but has nothing to read.
bool CTBurstReader::HasGone() {
    int error = errno;
    pollfd wait = {m_fd, POLLIN, 0};
    bool has_gone = m_calls.poll(&wait, 1, 0) > 0 && (wait.revents & POLLIN) == 0;
    errno = error;
    return has_gone || error == EBADFD;
}

int CTBurstReader::Read() {
    iovec pieces[] = {{&m_hdr, sizeof m_hdr}, {m_bytes.data(), m_bytes.size()}};
    int skipped = m_has_header ? 0 : 1;
    m_has_packet = false;
    ssize_t n;
    do {
        n = ReadNow(pieces + skipped, 2 - skipped);
    } while (n < 0 && errno == EINTR);
    if (n < 0 && errno == EAGAIN) return 0;
    if (n < 0) {
        if (HasGone()) errno = ENODEV;
        return -1;
    }
    if (n == 0) {
        errno = ENODEV;
        return -1;
    }
    Accept(static_cast<int>(n));
    return static_cast<int>(n);
}

void CTBurstReader::Accept(int length) {
    if (!m_has_header || length < kVirtioHdrSize) m_hdr = {};
    m_length = length - (m_has_header ? kVirtioHdrSize : 0);
    m_is_burst = m_hdr.gso_type != kVirtioOnePacket;
    m_has_packet = true;
    m_is_first = true;
    if (m_is_burst && !m_cutter.Attach(m_hdr, m_bytes.data(), m_length)) m_length = 0;
}

int CTBurstReader::Next(uint8_t* out, int size) {
    m_is_first = false;
    if (m_is_burst) return NextOfBurst(out, size);
    m_has_packet = false;
    bool fits = m_length > 0 && m_length <= size;
    if (!fits || !tnet_finish_cksum(m_hdr, m_bytes.data(), m_length)) return 0;
    memcpy(out, m_bytes.data(), static_cast<size_t>(m_length));
    return m_length;
}

int CTBurstReader::NextOfBurst(uint8_t* out, int size) {
    if (m_length <= 0 || m_cutter.MaxLength() > size) {
        m_has_packet = false;
        return 0;
    }
    int length = m_cutter.Next(out);
    m_has_packet = !m_cutter.IsEnd();
    return length;
}
