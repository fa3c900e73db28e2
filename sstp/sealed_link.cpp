#include "sstp/sealed_link.h"

#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "sstp/sstp_login.h"
#include "sstp/sstp_message.h"

namespace {

constexpr uint8_t kFirstType = 20;
constexpr uint8_t kLastType = 25;
constexpr uint8_t kApplicationData = 23;
constexpr uint8_t kAlert = 21;
constexpr uint32_t kNoError = 0;

}  // namespace

void CTSealedLink::TurnOn(const CTSealKey& key, std::vector<CTSealFingerprint> accepted) {
    m_key = &key;
    m_accepted = std::move(accepted);
    m_records.resize(CTGroupedSender::kMaxBurst);
}

void CTSealedLink::Attach(int fd, const CTSockAddr& central) {
    m_fd = fd;
    m_central = central;
    m_before.reset();
    m_next.reset();
    m_fault.clear();
    CTMutexGuard guard(m_mutex);
    m_in_use.reset();
}

void CTSealedLink::SendNow(const uint8_t* data, int length) {
    // Lost like any datagram where the system refuses it: the handshake repeats it.
    sendto(m_fd, data, static_cast<size_t>(length), MSG_DONTWAIT,
           reinterpret_cast<const sockaddr*>(m_central.GetSockAddrin()), sizeof(sockaddr_in));
}

CTSealSession::Sender CTSealedLink::Sender() {
    return [this](const uint8_t* data, int length) { SendNow(data, length); };
}

CTSealedLink::Session CTSealedLink::InUse() const {
    CTMutexGuard guard(m_mutex);
    return m_in_use;
}

bool CTSealedLink::IsReady() const {
    return !m_next && InUse();
}

CTSealFingerprint CTSealedLink::GetCentralKey() const {
    Session session = InUse();
    return session && session->GetPeer() ? *session->GetPeer() : CTSealFingerprint();
}

const char* CTSealedLink::GetCipher() const {
    Session session = InUse();
    return session ? session->GetCipher() : "";
}

void CTSealedLink::Begin(int64_t now) {
    m_is_first = true;
    m_fault.clear();
    Start(now);
}

void CTSealedLink::Start(int64_t now) {
    m_next = std::make_shared<CTSealSession>();
    m_state = Next::kHandshake;
    auto accepts = [this](const CTSealFingerprint& key) {
        return std::find(m_accepted.begin(), m_accepted.end(), key) != m_accepted.end();
    };
    if (!m_next->Start(CTSealSession::Role::kEdge, *m_key, accepts)) {
        return GiveUp("no memory", now);
    }
    Advance(nullptr, 0, now);
}

void CTSealedLink::Advance(const uint8_t* data, int length, int64_t now) {
    switch (m_next->Advance(data, length, Sender())) {
        case CTSealSession::Step::kGoesOn:
            m_due = now + std::max(m_next->GetTimeout(), 1);
            return;
        case CTSealSession::Step::kFailed:
            return GiveUp(m_next->GetFault(), now);
        case CTSealSession::Step::kDone:
            break;
    }
    if (m_is_first || m_login.empty()) return Use(now);
    m_state = Next::kLogin;
    m_logins = 0;
    ++m_login_seq;
    SendLogin(now);
}

void CTSealedLink::GiveUp(const std::string& reason, int64_t now) {
    m_counters.failed.Add();
    m_fault = reason;
    m_next.reset();
    m_is_first = false;
    m_not_before = now + kRetryMs;
}

// The login of the session that goes on: with the identifier as its src, which it was given then.
void CTSealedLink::SendLogin(int64_t now) {
    if (m_logins++ >= kLogins) return GiveUp("login timed out", now);
    CTSstpMessage message;
    message.Attach(m_login.data(), static_cast<int>(m_login.size()));
    message.SetSeq(m_login_seq);
    std::array<uint8_t, CTSealSession::kMaxRecord> record;
    int sealed = m_next->Seal(m_login.data(), static_cast<int>(m_login.size()), record.data());
    if (sealed > 0) SendNow(record.data(), sealed);
    m_due = now + kLoginRetryMs;
}

void CTSealedLink::Use(int64_t now) {
    m_before = InUse();
    m_before_until = now + kBeforeMs;
    m_renewal = now + kRenewMs;
    m_renew = false;
    m_is_first = false;
    m_counters.channels.Add();
    CTMutexGuard guard(m_mutex);
    m_in_use = std::exchange(m_next, nullptr);
    m_sent_since = kNothingSent;
}

void CTSealedLink::Step(int64_t now) {
    if (m_before && now >= m_before_until) m_before.reset();
    if (m_next) {
        if (now < m_due) return;
        return m_state == Next::kLogin ? SendLogin(now) : Advance(nullptr, 0, now);
    }
    bool is_due = m_renew || (InUse() && now >= m_renewal);
    if (is_due && !m_login.empty() && now >= m_not_before) Start(now);
}

bool CTSealedLink::IsSealed(const CTReceivedDatagram& datagram) {
    return datagram.length > 0 && datagram.data[0] >= kFirstType && datagram.data[0] <= kLastType;
}

// All that is listened to from outside a channel: it changes what is shown of a peer, nothing else.
bool CTSealedLink::IsPeerHeartBeat(const uint8_t* message, int length) {
    CTSstpMessage msg;
    if (length < kSstpHeaderSize || !msg.Attach(const_cast<uint8_t*>(message), length))
        return false;
    return (msg.GetType() == kSstpCommand || msg.GetType() == kSstpCommandAck) &&
           msg.GetSubType() == kSstpCmmP2PHeartbeat;
}

CTSealedLink::Taken CTSealedLink::Take(CTReceivedDatagram& datagram, int64_t now) {
    bool from_central = m_central == datagram.from;
    if (!IsSealed(datagram)) {
        // The central router says nothing in the open: somebody uses its address.
        bool may_pass = !from_central && IsPeerHeartBeat(datagram.data, datagram.length);
        if (!may_pass) m_counters.outside.Add();
        return may_pass ? Taken::kMessage : Taken::kNothing;
    }
    if (!from_central) {
        m_counters.unopened.Add();
        return Taken::kNothing;
    }
    if (datagram.data[0] != kApplicationData) {
        // Alerts are not looked at: anybody can send those that end a handshake.
        bool is_step = m_next && m_state == Next::kHandshake && datagram.data[0] != kAlert;
        if (is_step) {
            Advance(datagram.data, datagram.length, now);
        } else {
            m_counters.unopened.Add();
        }
        return Taken::kNothing;
    }
    Session in_use = InUse();
    if (m_next && m_state == Next::kLogin && Open(*m_next, datagram)) {
        // Its reply is the first thing that comes through it.
        bool is_message = TakeReply(datagram.data, datagram.length, now);
        return is_message ? Taken::kMessage : Taken::kNothing;
    }
    if (in_use && Open(*in_use, datagram)) return Taken::kMessage;
    if (m_before && Open(*m_before, datagram)) return Taken::kMessage;
    m_counters.unopened.Add();
    return Taken::kNothing;
}

bool CTSealedLink::Open(CTSealSession& session, CTReceivedDatagram& datagram) {
    int opened = session.Open(datagram.data, datagram.length, Sender());
    if (opened == 0) return false;
    datagram.length = opened;
    if (m_sent_since != kNothingSent) m_sent_since = kNothingSent;
    return true;
}

// Whether what came through the next channel is something else, for the port: the central router
// sends through it as soon as it has accepted the login, whose reply may be lost or overtaken.
bool CTSealedLink::TakeReply(const uint8_t* message, int length, int64_t now) {
    CTSstpMessage msg;
    bool is_reply = length >= kSstpHeaderSize + CTSstpLoginAck::GetContextLength() &&
                    msg.Attach(const_cast<uint8_t*>(message), length) &&
                    msg.GetType() == kSstpCommandAck && msg.GetSubType() == kSstpCmmLogin;
    if (is_reply) {
        CTSstpLoginAck reply;
        CTSkBuffer buffer(length);
        buffer.Copy(message, length);
        if (!reply.Attach(buffer)) return false;
        if (reply.GetError() != kNoError) {
            // The session is gone; who cannot come back need not cost handshakes meanwhile.
            GiveUp("login refused", now);
            m_not_before = now + kRefusedMs;
            return false;
        }
    }
    Use(now);
    return !is_reply;
}

bool CTSealedLink::IsSilent(int64_t now) const {
    int64_t since = m_sent_since;
    return since != kNothingSent && now - since >= kSilenceMs;
}

int CTSealedLink::Seal(CTDatagram* datagrams, int count, int64_t now) {
    Session session = InUse();
    int left = 0;
    for (int i = 0; i < count; ++i) {
        CTDatagram datagram = datagrams[i];
        if (!(m_central == datagram.to)) {
            if (IsPeerHeartBeat(datagram.data, datagram.length)) datagrams[left++] = datagram;
            continue;
        }
        if (!session) continue;
        uint8_t* record = m_records[static_cast<size_t>(i)].data();
        datagram.length = session->Seal(datagram.data, datagram.length, record);
        datagram.data = record;
        if (datagram.length > 0) datagrams[left++] = datagram;
    }
    int64_t nothing = kNothingSent;
    if (left > 0) m_sent_since.compare_exchange_strong(nothing, now);
    return left;
}
