#include "tcr/tcr_socket.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace {

constexpr int kBufferKb = 1024;

}  // namespace

bool TcrSocket::Open(uint32_t ip, uint16_t port, std::string& fault) {
    m_udp.Open();
    CTSockAddr local(ip, port);
    m_receiver.Attach(Handle());
    m_sender.Attach(Handle(), MSG_DONTWAIT);
    bool open =
        m_udp.Bind(reinterpret_cast<sockaddr*>(local.GetSockAddrin()), sizeof(sockaddr_in)) == 0;
    if (!open) fault = strerror(errno);
    // Bursts of all edges meet here; the system may grant less.
    m_udp.SetRecvBufSize(kBufferKb);
    m_udp.SetSendBufSize(kBufferKb);
    return open;
}

bool TcrSocket::Next(TcrPath& from, const uint8_t*& data, int& length) {
    CTReceivedDatagram datagram;
    if (!m_receiver.Next(datagram)) return false;
    from.remote = datagram.from;
    from.local = datagram.to;
    data = datagram.data;
    length = datagram.was_cut ? 0 : datagram.length;
    return true;
}

bool TcrSocket::Send(const TcrPath& to, const void* data, int length) {
    CTDatagram datagram = {static_cast<const uint8_t*>(data), length, to.remote.GetSockAddrin(),
                           to.local};
    return m_sender.Send(&datagram, 1) == 1;
}

void TcrSocket::Queue(const TcrPath& to, const uint8_t* data, int length) {
    size_t at = static_cast<size_t>(m_queued++);
    m_remotes[at] = *to.remote.GetSockAddrin();
    m_queue[at] = {data, length, &m_remotes[at], to.local};
    if (m_queued == CTGroupedSender::kMaxBurst) SendQueued();
}

void TcrSocket::SendQueued() {
    m_refused += m_queued - m_sender.Send(m_queue.data(), m_queued);
    m_queued = 0;
}

int TcrSocket::Flush() {
    if (m_queued > 0) SendQueued();
    return std::exchange(m_refused, 0);
}
