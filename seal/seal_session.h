#pragma once

#include <gnutls/dtls.h>
#include <gnutls/gnutls.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "seal/seal_fingerprint.h"
#include "seal/seal_key.h"

// One end of one DTLS 1.2 association (RFC 6347), without socket and without waits: datagrams come
// in and go out as bytes. AEAD suites with ephemeral keys only; no renegotiation, no resumption;
// records that come twice or are older than 64 others are dropped.
//
//   Advance    with each datagram and whenever GetTimeout is over, until kDone or kFailed
//   Seal/Open  from then on
//
// Owned by its channel. The handshake is one thread's; then one thread may seal while another
// opens, as the library allows that of a session that never shakes hands again.
class CTSealSession {
  public:
    enum class Role { kEdge, kCentralRouter };
    enum class Step { kGoesOn, kDone, kFailed };

    // The largest message that is sealed, and how many bytes sealing adds at most.
    static constexpr int kMaxMessage = 1400;
    static constexpr int kMaxOverhead = 37;  // header 13, nonce 8, tag 16
    static constexpr int kMaxRecord = kMaxMessage + kMaxOverhead;
    static constexpr int kRetransmitMs = 200;  // the first time; doubles
    static constexpr int kHandshakeMs = 5000;  // given up after so long

    // Whether the other end's key may be spoken to; asked once, before anything secret is sent.
    using Judge = std::function<bool(const CTSealFingerprint&)>;
    // Takes a datagram that has to leave now.
    using Sender = std::function<void(const uint8_t* data, int length)>;

    CTSealSession() = default;
    ~CTSealSession();
    CTSealSession(const CTSealSession&) = delete;
    CTSealSession& operator=(const CTSealSession&) = delete;

    // Before anything else, once. The key must stay. False without memory. What the cookies gave
    // for the first message, at the central router (see CTSealCookies).
    bool Start(Role role, const CTSealKey& key, Judge judge,
               const gnutls_dtls_prestate_st* prestate = nullptr);

    // One step of the handshake, with a datagram or with null because time has passed.
    Step Advance(const uint8_t* datagram, int length, const Sender& send);
    // Milliseconds until Advance is due without a datagram.
    int GetTimeout() const;
    // Why it failed, for operators.
    const std::string& GetFault() const { return m_fault; }
    // The other end's key, once done; null when it showed none, as an edge need not.
    const CTSealFingerprint* GetPeer() const { return m_has_peer ? &m_peer : nullptr; }
    // The suite, once done, as in "AES-128-GCM".
    const char* GetCipher() const;

    // The message as a record of at most kMaxRecord bytes; its length, 0 when it cannot be sealed.
    int Seal(const uint8_t* message, int length, uint8_t* record);
    // Opens a datagram of one record in place: the length of its message, 0 for anything that is
    // not to be listened to (forged, changed, repeated, of another association, no message, more
    // than one record). A datagram that did not open is as it was. What the last flight of a
    // handshake whose reply was lost asks for leaves by send, at the central router.
    int Open(uint8_t* datagram, int length, const Sender& send);

  private:
    // Where the library's input comes from and its output goes, for the time of one call.
    struct Exchange;
    static thread_local Exchange* t_exchange;
    static ssize_t Push(gnutls_transport_ptr_t, const void* data, size_t size);
    static ssize_t Pull(gnutls_transport_ptr_t session, void* data, size_t size);
    static int PullTimeout(gnutls_transport_ptr_t, unsigned int ms);
    static int VerifyPeer(gnutls_session_t handle);
    bool TakePeer();

    gnutls_session_t m_handle = nullptr;
    Role m_role = Role::kEdge;
    Judge m_judge;
    CTSealFingerprint m_peer;
    bool m_has_peer = false;
    std::string m_fault;
};
