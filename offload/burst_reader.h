#pragma once

#include <poll.h>
#include <sys/uio.h>

#include <cstdint>
#include <vector>

#include "offload/tcp_cutter.h"
#include "offload/virtio_hdr.h"

// The system calls that the reader makes; tests hand in scripted ones.
struct CTReadCalls {
    ssize_t (*preadv2)(int fd, const iovec* pieces, int count, off_t offset, int flags) = ::preadv2;
    ssize_t (*readv)(int fd, const iovec* pieces, int count) = ::readv;
    int (*poll)(pollfd* fds, nfds_t count, int timeout_ms) = ::poll;
};

// Reads what the host sends into the interface: packet by packet, or, where the interface carries
// the virtio header, whole bursts, which come out as the packets that the host would have sent
// without. One thread.
//
//   while (reader.Read() > 0) while (reader.HasPacket()) length = reader.Next(buffer, size);
class CTBurstReader {
  public:
    explicit CTBurstReader(const CTReadCalls& calls = {});

    // The interface, and whether it puts a header in front of each packet. What was read before is
    // forgotten.
    void Attach(int fd, bool has_header);

    // Takes in what the interface has next, without waiting: the bytes, 0 when there is nothing,
    // -1 on failure (errno; ENODEV where the interface has gone and gives an end instead).
    int Read();

    // Whether packets of the last read are left, and whether they are many: then they are of one
    // flow.
    bool HasPacket() const { return m_has_packet; }
    bool IsBurst() const { return m_is_burst; }
    bool IsFirst() const { return m_is_first; }  // none of them was taken
    // Writes the next packet to the buffer and gives its length; 0 for one that does not fit or
    // whose header is not true, which is then gone, with the rest of its burst.
    int Next(uint8_t* out, int size);

  private:
    bool HasGone();
    ssize_t ReadNow(const iovec* pieces, int count);
    void Accept(int length);
    int NextOfBurst(uint8_t* out, int size);

    const CTReadCalls m_calls;
    int m_fd = -1;
    bool m_has_header = false;
    bool m_may_read_nowait = true;  // the system knows reads that do not wait
    tnet_virtio_hdr m_hdr = {};
    std::vector<uint8_t> m_bytes;  // the packet or burst of the last read
    int m_length = 0;
    bool m_has_packet = false;
    bool m_is_burst = false;
    bool m_is_first = false;
    CTTcpCutter m_cutter;
};
