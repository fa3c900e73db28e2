#include "seal/seal_session.h"

#include <gnutls/abstract.h>
#include <gnutls/x509.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace {

// Nothing else is offered or taken: one version, ephemeral Diffie-Hellman, ECDSA, AEAD.
constexpr char kPriorities[] =
    "NONE:+VERS-DTLS1.2:+ECDHE-ECDSA:+AES-128-GCM:+AES-256-GCM:+CHACHA20-POLY1305:+AEAD:"
    "+GROUP-X25519:+GROUP-SECP256R1:+SIGN-ECDSA-SHA256:+SIGN-ECDSA-SECP256R1-SHA256:+CTYPE-X509:"
    "+COMP-NULL:%SAFE_RENEGOTIATION:%NO_TICKETS";

// A handshake's datagrams, as those of messages, fit 1500 bytes with room for what is below.
constexpr unsigned kHandshakeMtu = 1400;

// A record's header ends with the length of what follows.
constexpr int kRecordHeader = 13;
constexpr int kLengthAt = 11;

bool IsOneRecord(const uint8_t* datagram, int length) {
    return length > kRecordHeader &&
           (datagram[kLengthAt] << 8 | datagram[kLengthAt + 1]) == length - kRecordHeader;
}

gnutls_priority_t Priorities() {
    static const gnutls_priority_t priorities = [] {
        gnutls_priority_t made = nullptr;
        gnutls_priority_init(&made, kPriorities, nullptr);
        return made;
    }();
    return priorities;
}

}  // namespace

struct CTSealSession::Exchange {
    const uint8_t* in = nullptr;  // null when it was read
    int in_length = 0;
    uint8_t* record = nullptr;  // takes what is sent, instead of send
    int record_length = 0;
    const Sender* send = nullptr;

    Exchange() { t_exchange = this; }
    ~Exchange() { t_exchange = nullptr; }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
};

thread_local CTSealSession::Exchange* CTSealSession::t_exchange = nullptr;

CTSealSession::~CTSealSession() {
    if (m_handle) gnutls_deinit(m_handle);
}

bool CTSealSession::Start(Role role, const CTSealKey& key, Judge judge,
                          const gnutls_dtls_prestate_st* prestate) {
    unsigned flags = GNUTLS_DATAGRAM | GNUTLS_NONBLOCK | GNUTLS_NO_TICKETS | GNUTLS_NO_SIGNAL;
    flags |= role == Role::kEdge ? GNUTLS_CLIENT : GNUTLS_SERVER;
    if (!Priorities() || gnutls_init(&m_handle, flags) != 0) return false;
    m_judge = std::move(judge);
    m_role = role;
    gnutls_session_set_ptr(m_handle, this);
    if (gnutls_priority_set(m_handle, Priorities()) != 0) return false;
    if (gnutls_credentials_set(m_handle, GNUTLS_CRD_CERTIFICATE, key.GetCredentials()) != 0) {
        return false;
    }
    if (role == Role::kCentralRouter) {
        // Asked for, not demanded: a subnet may let edges in by its password alone.
        gnutls_certificate_server_set_request(m_handle, GNUTLS_CERT_REQUEST);
    }
    gnutls_session_set_verify_function(m_handle, VerifyPeer);
    gnutls_transport_set_ptr(m_handle, this);
    gnutls_transport_set_push_function(m_handle, Push);
    gnutls_transport_set_pull_function(m_handle, Pull);
    gnutls_transport_set_pull_timeout_function(m_handle, PullTimeout);
    gnutls_dtls_set_timeouts(m_handle, kRetransmitMs, kHandshakeMs);
    gnutls_dtls_set_mtu(m_handle, kHandshakeMtu);
    if (prestate) {
        gnutls_dtls_prestate_st copy = *prestate;
        gnutls_dtls_prestate_set(m_handle, &copy);
    }
    return true;
}

ssize_t CTSealSession::Push(gnutls_transport_ptr_t, const void* data, size_t size) {
    Exchange* exchange = t_exchange;
    if (!exchange || size > kMaxRecord + size_t{kMaxOverhead}) return static_cast<ssize_t>(size);
    if (!exchange->record) {
        if (exchange->send && *exchange->send) {
            (*exchange->send)(static_cast<const uint8_t*>(data), static_cast<int>(size));
        }
    } else if (size <= kMaxRecord) {
        memcpy(exchange->record, data, size);
        exchange->record_length = static_cast<int>(size);
    }
    return static_cast<ssize_t>(size);
}

ssize_t CTSealSession::Pull(gnutls_transport_ptr_t session, void* data, size_t size) {
    Exchange* exchange = t_exchange;
    if (!exchange || !exchange->in) {
        gnutls_transport_set_errno(static_cast<CTSealSession*>(session)->m_handle, EAGAIN);
        return -1;
    }
    size_t length = std::min(size, static_cast<size_t>(exchange->in_length));
    memcpy(data, exchange->in, length);
    exchange->in = nullptr;
    return static_cast<ssize_t>(length);
}

int CTSealSession::PullTimeout(gnutls_transport_ptr_t, unsigned int) {
    return t_exchange && t_exchange->in ? 1 : 0;
}

// The key alone counts. It says nothing yet of whether the other end has it: that the handshake
// proves, which ends after this.
int CTSealSession::VerifyPeer(gnutls_session_t handle) {
    auto* session = static_cast<CTSealSession*>(gnutls_session_get_ptr(handle));
    unsigned count = 0;
    bool shows_key = gnutls_certificate_get_peers(handle, &count) && count > 0;
    // An edge need not show one. What a subnet asks of it is looked at when it logs in.
    if (session->m_role == Role::kCentralRouter && !shows_key) return 0;
    if (!session->TakePeer()) {
        session->m_fault = "the other end's certificate holds no key";
        return 1;
    }
    if (!session->m_judge || session->m_judge(session->m_peer)) return 0;
    session->m_fault = "the other end's key is " + session->m_peer.Text();
    return 1;
}

bool CTSealSession::TakePeer() {
    unsigned count = 0;
    const gnutls_datum_t* certificates = gnutls_certificate_get_peers(m_handle, &count);
    if (!certificates || count == 0) return false;
    gnutls_x509_crt_t certificate = nullptr;
    if (gnutls_x509_crt_init(&certificate) != 0) return false;
    std::array<uint8_t, CTSealFingerprint::kSize> id;
    size_t size = id.size();
    bool good =
        gnutls_x509_crt_import(certificate, certificates, GNUTLS_X509_FMT_DER) == 0 &&
        gnutls_x509_crt_get_key_id(certificate, GNUTLS_KEYID_USE_SHA256, id.data(), &size) == 0;
    gnutls_x509_crt_deinit(certificate);
    if (good) m_peer = CTSealFingerprint(id);
    m_has_peer = good;
    return good;
}

CTSealSession::Step CTSealSession::Advance(const uint8_t* datagram, int length,
                                           const Sender& send) {
    Exchange exchange;
    exchange.in = datagram;
    exchange.in_length = length;
    exchange.send = &send;
    int result = GNUTLS_E_AGAIN;
    // A warning, or a message that is not the handshake's, ends a call before its time.
    do {
        result = gnutls_handshake(m_handle);
    } while (result != 0 && gnutls_error_is_fatal(result) == 0 && exchange.in);
    if (result == 0) {
        gnutls_dtls_set_data_mtu(m_handle, kMaxMessage);
        return Step::kDone;
    }
    if (gnutls_error_is_fatal(result) == 0) return Step::kGoesOn;
    if (m_fault.empty()) m_fault = gnutls_strerror(result);
    return Step::kFailed;
}

int CTSealSession::GetTimeout() const {
    return static_cast<int>(std::min<unsigned>(gnutls_dtls_get_timeout(m_handle), kHandshakeMs));
}

const char* CTSealSession::GetCipher() const {
    return gnutls_cipher_get_name(gnutls_cipher_get(m_handle));
}

int CTSealSession::Seal(const uint8_t* message, int length, uint8_t* record) {
    if (length < 1 || length > kMaxMessage) return 0;
    Exchange exchange;
    exchange.record = record;
    ssize_t sealed = gnutls_record_send(m_handle, message, static_cast<size_t>(length));
    return sealed == length ? exchange.record_length : 0;
}

int CTSealSession::Open(uint8_t* datagram, int length, const Sender& send) {
    if (!IsOneRecord(datagram, length)) return 0;
    Exchange exchange;
    exchange.in = datagram;
    exchange.in_length = length;
    exchange.send = &send;
    // Where the datagram lay there is room for its message, as the library has read all of it.
    ssize_t opened = gnutls_record_recv(m_handle, datagram, static_cast<size_t>(length));
    // What a handshake's datagram had left over came first: neither counts.
    if (exchange.in) return 0;
    return opened > 0 ? static_cast<int>(opened) : 0;
}
