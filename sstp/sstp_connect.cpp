#include "sstp/sstp_connect.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace {

constexpr int kBufKb = 1024;
constexpr std::chrono::milliseconds kQuitLook(50);
constexpr int kChannelStepMs = 50;

// The sealed channels' clock: the real one, as their library has that.
int64_t Now() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

CTSstpConnect::CTSstpConnect() {
    m_central.Zero();
}

bool CTSstpConnect::Open(CTSockAddr& central) {
    Close();
    if (!m_udp.Open()) return false;
    SetRecvTimeout(kDefaultRecvTimeoutMs);
    // The system's own size holds under 100 full datagrams: a burst while the receive thread waits
    // for its turn would take heartbeat replies and commands with it. It may grant less.
    m_udp.SetRecvBufSize(kBufKb);
    m_udp.SetSendBufSize(kBufKb);
    m_sender.Attach(m_udp.GetHandle());
    m_receiver.Attach(m_udp.GetHandle());
    m_central = central;
    m_sealed.Attach(m_udp.GetHandle(), central);
    return true;
}

int CTSstpConnect::Read(CTSockAddr& from, CTSstpMessage& msg) {
    return ReadWithin(from, msg, m_udp.GetRecvTimeout());
}

// The kernel may hand over several datagrams as one, so everything is read through the receiver.
bool CTSstpConnect::Receive(CTReceivedDatagram& datagram) {
    if (m_sealed.IsOn()) m_sealed.Step(Now());
    if (NextReceived(datagram)) return true;
    return m_receiver.Receive(m_udp.GetRecvTimeout()) > 0 && NextReceived(datagram);
}

bool CTSstpConnect::NextReceived(CTReceivedDatagram& datagram) {
    while (m_receiver.Next(datagram)) {
        if (!m_sealed.IsOn()) return true;
        if (m_sealed.Take(datagram, Now()) == CTSealedLink::Taken::kMessage) return true;
    }
    return false;
}

bool CTSstpConnect::Receive(CTReceivedDatagram& datagram, int ms) {
    if (NextReceived(datagram)) return true;
    if (m_receiver.Receive() <= 0) {
        if (CTUdp::SelectWait(m_udp.GetHandle(), ms) != 0) return false;
        if (m_receiver.Receive() <= 0) return false;
    }
    return NextReceived(datagram);
}

int CTSstpConnect::ReadWithin(CTSockAddr& from, CTSstpMessage& msg, int ms) {
    CTReceivedDatagram datagram;
    if (!Receive(datagram, ms)) return -1;
    int length = std::min(datagram.length, msg.GetBufferSize());
    memcpy(msg.GetBufferPtr(), datagram.data, static_cast<size_t>(length));
    from = CTSockAddr(datagram.from);
    return length;
}

uint16_t CTSstpConnect::NextSeq(uint8_t type) {
    return type == kSstpNetPacket ? m_packet_seq++ : m_command_seq++;
}

int CTSstpConnect::SendNumbered(CTSockAddr& to, CTSstpMessage& msg, uint16_t seq) {
    msg.SetSeq(seq);
    msg.SetSrc(m_identifier);
    int length = std::min(msg.GetMessageLength(), msg.GetBufferSize());
    if (!m_sealed.IsOn()) return m_udp.Write(to.GetSockAddrin(), msg.GetBufferPtr(), length);
    CTDatagram datagram = {msg.GetBufferPtr(), length, to.GetSockAddrin()};
    if (m_sealed.Seal(&datagram, 1, Now()) == 0) return -1;
    bool sent = m_udp.Write(to.GetSockAddrin(), datagram.data, datagram.length) == datagram.length;
    return sent ? length : -1;
}

int CTSstpConnect::WriteBurst(CTDatagram* datagrams, int count) {
    int left = m_sealed.IsOn() ? m_sealed.Seal(datagrams, count, Now()) : count;
    return m_sender.Send(datagrams, left);
}

bool CTSstpConnect::IsSilent() const {
    return m_sealed.IsOn() && m_sealed.IsSilent(Now());
}

bool CTSstpConnect::OpenChannel() {
    m_sealed.Begin(Now());
    while (!m_sealed.IsReady() && !m_sealed.HasFailed() && !IsGivenUp()) {
        if (m_on_wait) m_on_wait();
        CTReceivedDatagram datagram;
        Receive(datagram, kChannelStepMs);  // what is no step of it is dropped
        m_sealed.Step(Now());
    }
    return m_sealed.IsReady();
}

void CTSstpConnect::Number(CTSstpMessage& msg) {
    if (msg.GetSeq() == 0) msg.SetSeq(NextSeq(msg.GetType()));
    msg.SetSrc(m_identifier);
}

int CTSstpConnect::Write(CTSockAddr& to, CTSstpMessage& msg) {
    uint16_t seq = msg.GetSeq();
    return SendNumbered(to, msg, seq != 0 ? seq : NextSeq(msg.GetType()));
}

int CTSstpConnect::Write(CTSockAddr& to, CTSstpMessage& first, CTSstpMessage& second) {
    uint16_t seq = first.GetSeq();
    if (seq == 0) seq = NextSeq(first.GetType());
    int sent = SendNumbered(to, second, seq);
    return sent + SendNumbered(to, first, seq);
}

int CTSstpConnect::WriteAndWaitReply(CTSockAddr& to, CTSstpMessage& request, CTSstpMessage& reply,
                                     int count, int* received) {
    m_answered = false;
    m_send_error = 0;
    for (int attempt = 0; attempt < count && !IsGivenUp(); ++attempt) {
        if (Write(to, request) <= 0) {
            m_send_error = errno;
            return 1;
        }
        // What came from outside a sealed channel was no datagram to this exchange, either.
        bool waits = m_quit || m_sealed.IsOn();
        int n =
            waits ? AwaitReply(request, reply) : ReadReply(request, reply, m_udp.GetRecvTimeout());
        if (n < 0) continue;
        if (received) *received = n;
        m_answered = true;
        return 0;
    }
    // What another datagram left there is no answer, and no error code either.
    if (m_quit) memset(reply.GetBufferPtr(), 0, static_cast<size_t>(reply.GetBufferSize()));
    return 1;
}

// One datagram: its length if it is the reply, otherwise -1.
int CTSstpConnect::ReadReply(CTSstpMessage& request, CTSstpMessage& reply, int ms) {
    CTSockAddr from;
    int n = ReadWithin(from, reply, ms);
    if (n < kSstpHeaderSize) return -1;
    // A longer stray datagram may have been in the buffer before.
    memset(reply.GetBufferPtr() + n, 0, static_cast<size_t>(reply.GetBufferSize() - n));
    if (m_strict_source && !(from == m_central)) return -1;
    return reply.IsAck(request) ? n : -1;
}

// The reply among whatever else arrives, within one receive time-out. By the real clock, as the
// waits are: a flood ends with the attempt even while a test holds the tick.
int CTSstpConnect::AwaitReply(CTSstpMessage& request, CTSstpMessage& reply) {
    using std::chrono::milliseconds;
    auto end = std::chrono::steady_clock::now() + milliseconds(m_udp.GetRecvTimeout());
    while (!IsGivenUp()) {
        if (m_on_wait) m_on_wait();
        auto left = std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now());
        if (left <= milliseconds(0)) return -1;
        int n = ReadReply(request, reply, static_cast<int>(std::min(left, kQuitLook).count()));
        if (n >= 0) return n;
    }
    return -1;
}

int CTSstpConnect::WriteAndWaitReply(CTSstpMessage& request, CTSstpMessage& reply) {
    return WriteAndWaitReply(m_central, request, reply, kAttempts);
}
