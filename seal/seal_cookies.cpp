#include "seal/seal_cookies.h"

#include <cstddef>

namespace {

// A record's header, then a handshake message's:
//
//   0  content type   1  version   3  epoch   5  sequence number   11  length
//  13  type          14  length   17  number  19  fragment offset  22  fragment length
//  25  version       27  random
constexpr uint8_t kHandshake = 22;
constexpr uint8_t kClientHello = 1;
constexpr int kTypeAt = 13;
constexpr int kEpochAt = 3;
constexpr int kRandomAt = 27;

struct Reply {
    const CTSealSession::Sender& send;
    int room;  // bytes that may be sent
};

ssize_t PushReply(gnutls_transport_ptr_t to, const void* data, size_t size) {
    auto* reply = static_cast<Reply*>(to);
    if (static_cast<int>(size) <= reply->room) {
        reply->send(static_cast<const uint8_t*>(data), static_cast<int>(size));
    }
    return static_cast<ssize_t>(size);
}

}  // namespace

bool seal_is_client_hello(const uint8_t* datagram, int length, const uint8_t*& random) {
    if (length < kRandomAt + kSealRandomSize || datagram[0] != kHandshake ||
        datagram[kEpochAt] != 0 || datagram[kEpochAt + 1] != 0 ||
        datagram[kTypeAt] != kClientHello) {
        return false;
    }
    random = datagram + kRandomAt;
    return true;
}

CTSealCookies::CTSealCookies() {
    gnutls_key_generate(&m_key, GNUTLS_COOKIE_KEY_SIZE);
}

CTSealCookies::~CTSealCookies() {
    gnutls_free(m_key.data);
}

bool CTSealCookies::Judge(const CTSockAddr& from, const uint8_t* datagram, int length,
                          gnutls_dtls_prestate_st& prestate, const CTSealSession::Sender& send) {
    const uint8_t* random = nullptr;
    if (!seal_is_client_hello(datagram, length, random)) return false;
    // Address and port alone: the record of the system's has bytes without a meaning.
    uint8_t who[6];
    uint32_t ip = from.GetIPv4();
    uint16_t port = from.GetPort();
    for (size_t i = 0; i < 4; ++i)
        who[i] = static_cast<uint8_t>(ip >> (8 * i));
    who[4] = static_cast<uint8_t>(port);
    who[5] = static_cast<uint8_t>(port >> 8);
    prestate = {};
    if (gnutls_dtls_cookie_verify(&m_key, who, sizeof who, const_cast<uint8_t*>(datagram),
                                  static_cast<size_t>(length), &prestate) == 0) {
        return true;
    }
    Reply reply = {send, length};
    gnutls_dtls_cookie_send(&m_key, who, sizeof who, &prestate, &reply, PushReply);
    return false;
}
