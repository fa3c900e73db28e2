#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/pvu_counter.h"
#include "base/pvu_mutex.h"
#include "base/pvu_sockaddr.h"
#include "base/pvu_thread_safety.h"
#include "offload/grouped_receiver.h"
#include "offload/grouped_sender.h"
#include "seal/seal_key.h"
#include "seal/seal_session.h"

// The edge's end of its sealed channels with the central router. One is in use; a next one comes
// beside it and takes its place once the central router has accepted a login in it: every hour, and
// when the port finds the central router silent. The one before goes on being listened to for some
// seconds, so that nothing that is on its way is lost.
//
//   in use   messages in both directions
//   next     handshake -> a login with the edge's identifier -> in use
//   before   what still arrives
//
// Owned by the connection. Its reader (the port's receive thread, or the main thread while the port
// stands) takes what arrives and makes the steps; its writer (likewise the transmit thread) seals.
class CTSealedLink {
  public:
    static constexpr int64_t kRenewMs = 3600 * 1000;
    static constexpr int64_t kRetryMs = 1000;      // between attempts at a next one
    static constexpr int64_t kRefusedMs = 30000;   // after a login that was refused
    static constexpr int64_t kLoginRetryMs = 200;  // for its login's reply
    static constexpr int64_t kBeforeMs = 10000;
    static constexpr int kLogins = 5;
    static constexpr int64_t kSilenceMs = 1000;

    // What arrived, for the port: a message, or nothing to be looked at.
    enum class Taken { kMessage, kNothing };

    struct Counters {
        CTCounter channels;  // that came into use
        CTCounter failed;    // handshakes and logins that led to none
        CTCounter unopened;  // sealed datagrams of no channel of ours: forged, repeated, too late
        CTCounter outside;   // messages from outside a channel, but for peers' heartbeats
    };

    // ---- Main thread, before anything is exchanged

    // Speaks sealed only from now on, to a central router with one of these keys. The own key must
    // stay.
    void TurnOn(const CTSealKey& key, std::vector<CTSealFingerprint> accepted);
    bool IsOn() const { return m_key != nullptr; }
    // A new socket, or another central router: no channel is there.
    void Attach(int fd, const CTSockAddr& central);

    // ---- Main thread, while the port stands

    // A first step of a handshake whose channel comes into use as soon as it is done, without a
    // login: that is the caller's, as for a new session.
    void Begin(int64_t now);
    bool IsReady() const PVU_EXCLUDES(m_mutex);
    // Whether it was given up; why.
    bool HasFailed() const { return !m_next && !m_fault.empty(); }
    const std::string& GetFault() const { return m_fault; }
    // The login that was accepted, with which next channels are taken into use.
    void SetLogin(const uint8_t* message, int length) { m_login.assign(message, message + length); }

    // ---- The reader's

    // One datagram. With kMessage the datagram is the message, in its place.
    Taken Take(CTReceivedDatagram& datagram, int64_t now) PVU_EXCLUDES(m_mutex);
    // What is due by now: a renewal, repetitions. Several times a second.
    void Step(int64_t now) PVU_EXCLUDES(m_mutex);
    // The central router is silent: a next channel as soon as may be.
    void Renew() { m_renew = true; }

    // Whether something was sent a second ago and nothing has come since.
    bool IsSilent(int64_t now) const;

    // ---- The writer's

    // Puts records in the place of messages to the central router, in as many of up to
    // CTGroupedSender::kMaxBurst datagrams; what may not leave in the open is taken out. How many
    // are left. The bytes last until the next call.
    int Seal(CTDatagram* datagrams, int count, int64_t now) PVU_EXCLUDES(m_mutex);

    // ---- Any thread

    const Counters& GetCounters() const { return m_counters; }
    CTSealFingerprint GetCentralKey() const PVU_EXCLUDES(m_mutex);
    const char* GetCipher() const PVU_EXCLUDES(m_mutex);

  private:
    using Session = std::shared_ptr<CTSealSession>;
    enum class Next { kHandshake, kLogin };

    void SendNow(const uint8_t* data, int length);
    CTSealSession::Sender Sender();
    void Start(int64_t now);
    void Advance(const uint8_t* data, int length, int64_t now);
    void GiveUp(const std::string& reason, int64_t now);
    void SendLogin(int64_t now);
    bool TakeReply(const uint8_t* message, int length, int64_t now);
    void Use(int64_t now) PVU_EXCLUDES(m_mutex);
    bool Open(CTSealSession& session, CTReceivedDatagram& datagram);
    Session InUse() const PVU_EXCLUDES(m_mutex);
    static bool IsSealed(const CTReceivedDatagram& datagram);
    static bool IsPeerHeartBeat(const uint8_t* message, int length);

    const CTSealKey* m_key = nullptr;  // null: off
    std::vector<CTSealFingerprint> m_accepted;
    int m_fd = -1;
    CTSockAddr m_central;

    mutable CTMutex m_mutex;
    Session m_in_use PVU_GUARDED_BY(m_mutex);

    // The reader's.
    Session m_before;
    int64_t m_before_until = 0;
    Session m_next;
    Next m_state = Next::kHandshake;
    bool m_is_first = false;  // the main thread logs in
    int64_t m_due = 0;        // of its next step
    int64_t m_renewal = 0;    // when one is due
    int64_t m_not_before = 0;
    int m_logins = 0;
    uint16_t m_login_seq = 0;
    std::vector<uint8_t> m_login;
    std::string m_fault;
    std::atomic<bool> m_renew{false};
    // When the first record left since one came; kNothingSent where none did.
    static constexpr int64_t kNothingSent = -1;
    std::atomic<int64_t> m_sent_since{kNothingSent};

    // The writer's.
    std::vector<std::array<uint8_t, CTSealSession::kMaxRecord>> m_records;

    Counters m_counters;
};
