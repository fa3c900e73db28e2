#pragma once

#include <gnutls/dtls.h>
#include <gnutls/gnutls.h>

#include <cstdint>

#include "base/pvu_sockaddr.h"
#include "seal/seal_session.h"

// The central router's answer to the first message of a handshake: a cookie that only who receives
// at that address can send back (RFC 6347, 4.2.1). Nothing is kept for it, and nobody is sent more
// bytes than came. Owned by the central router's channels; one thread.
class CTSealCookies {
  public:
    CTSealCookies();
    ~CTSealCookies();
    CTSealCookies(const CTSealCookies&) = delete;
    CTSealCookies& operator=(const CTSealCookies&) = delete;

    // Whether the datagram begins a handshake and brings the cookie of that address; prestate is
    // then for the session's start. Otherwise the cookie leaves, if the datagram is a first
    // message.
    bool Judge(const CTSockAddr& from, const uint8_t* datagram, int length,
               gnutls_dtls_prestate_st& prestate, const CTSealSession::Sender& send);

  private:
    gnutls_datum_t m_key = {};
};

// Whether the datagram begins a handshake: of a client's first message, random is its random bytes,
// which the same handshake's further attempts have too.
constexpr int kSealRandomSize = 32;
bool seal_is_client_hello(const uint8_t* datagram, int length, const uint8_t*& random);
