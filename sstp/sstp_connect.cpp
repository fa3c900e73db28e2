#include "sstp/sstp_connect.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int kRecvBufKb = 1024;

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
    m_udp.SetRecvBufSize(kRecvBufKb);
    m_central = central;
    return true;
}

int CTSstpConnect::Read(CTSockAddr& from, CTSstpMessage& msg) {
    return m_udp.Read(from.GetSockAddrin(), msg.GetBufferPtr(), msg.GetBufferSize());
}

uint16_t CTSstpConnect::NextSeq(uint8_t type) {
    return type == kSstpNetPacket ? m_packet_seq++ : m_command_seq++;
}

int CTSstpConnect::SendNumbered(CTSockAddr& to, CTSstpMessage& msg, uint16_t seq) {
    msg.SetSeq(seq);
    msg.SetSrc(m_identifier);
    int length = std::min(msg.GetMessageLength(), msg.GetBufferSize());
    return m_udp.Write(to.GetSockAddrin(), msg.GetBufferPtr(), length);
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
    for (int attempt = 0; attempt < count; ++attempt) {
        if (Write(to, request) <= 0) return 1;
        CTSockAddr from;
        int n = Read(from, reply);
        if (n < kSstpHeaderSize) continue;
        // A longer stray datagram may have been in the buffer before.
        memset(reply.GetBufferPtr() + n, 0, static_cast<size_t>(reply.GetBufferSize() - n));
        if (!reply.IsAck(request)) continue;
        if (received) *received = n;
        return 0;
    }
    return 1;
}

int CTSstpConnect::WriteAndWaitReply(CTSstpMessage& request, CTSstpMessage& reply) {
    return WriteAndWaitReply(m_central, request, reply, kAttempts);
}
