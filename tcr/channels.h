#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "seal/seal_cookies.h"
#include "seal/seal_key.h"
#include "seal/seal_session.h"
#include "tcr/tcr_path.h"
#include "tcr/tcr_time.h"

// The central router's ends of all sealed channels. A channel is one DTLS association with one
// place (address and port); its number is part of the path of what comes through it, so that the
// rest of the central router needs to know no more of it.
//
//   handshake   from a place that showed that it receives there (CTSealCookies); at most
//               kMaxStrangers at a time, kMaxOfAddress of one address, each for some seconds
//   stranger    the handshake is over, no edge has logged in: likewise
//   kept        an edge logged in through it (Keep): until no session is bound to it (EndBut)
//
// What strangers do never ends a kept channel. A place has several while an edge changes from one
// to the next. Owned by the process around the central router; one thread.
class TcrChannels {
  public:
    static constexpr size_t kMaxStrangers = 256;
    static constexpr int kMaxOfAddress = 64;
    static constexpr int kMaxStartsPerTick = 32;   // handshakes, each costs a signature
    static constexpr TcrTime kStrangerMs = 10000;  // to log in

    // Sends a datagram now.
    using Sender = std::function<void(const TcrPath& to, const uint8_t* data, int length)>;

    struct Counters {
        uint64_t handshakes = 0;  // that were completed
        uint64_t failed = 0;      // that were not, or were given up
        uint64_t refused = 0;     // for want of room
        uint64_t unopened = 0;    // records that nobody's channel opens
    };

    // The key must stay.
    TcrChannels(const CTSealKey& key, Sender send) : m_key(key), m_send(std::move(send)) {}
    TcrChannels(const TcrChannels&) = delete;
    TcrChannels& operator=(const TcrChannels&) = delete;

    // Whether the first byte of a datagram is that of a sealed one: no message begins so.
    static bool IsSealed(const uint8_t* data, int length) {
        return length > 0 && data[0] >= kFirstType && data[0] <= kLastType;
    }

    // One sealed datagram. True when it holds a message, which is in its place then: length is the
    // message's, and the path names the channel.
    bool Receive(TcrPath& from, uint8_t* data, int& length, TcrTime now);
    // The message as a record for that channel, of at most CTSealSession::kMaxRecord bytes; its
    // length, 0 when there is no such channel or the message is too long.
    int Seal(uint64_t channel, const uint8_t* message, int length, uint8_t* record);
    // The key at the other end; null without one.
    const CTSealFingerprint* PeerOf(uint64_t channel) const;
    // An edge has logged in through it.
    void Keep(uint64_t channel);
    // Ends the kept channels that are not among these.
    void EndBut(const std::unordered_set<uint64_t>& in_use);
    // Handshakes whose messages were lost, and what has been there for too long.
    void Tick(TcrTime now);

    const Counters& GetCounters() const { return m_counters; }
    size_t CountKept() const { return m_channels.size() - m_strangers.size(); }
    size_t CountStrangers() const { return m_strangers.size(); }
    const CTSealFingerprint& GetKey() const { return m_key.GetFingerprint(); }

  private:
    static constexpr uint8_t kFirstType = 20;
    static constexpr uint8_t kLastType = 25;

    struct Channel {
        uint64_t number = 0;
        TcrPath path;
        CTSealSession session;
        bool done = false;  // its handshake
        bool kept = false;
        TcrTime ends = 0;                      // while it is not kept
        TcrTime retry = 0;                     // of the handshake's messages
        uint8_t random[kSealRandomSize] = {};  // of the first message
        std::list<uint64_t>::iterator place;   // among the strangers, oldest first
    };
    static uint64_t PlaceOf(const CTSockAddr& remote) {
        return uint64_t{remote.GetIPv4()} << 16 | remote.GetPort();
    }
    bool Begin(const TcrPath& from, const uint8_t* data, int length, const uint8_t* random,
               TcrTime now);
    void Advance(Channel& channel, const uint8_t* data, int length, TcrTime now);
    bool Open(const std::vector<Channel*>& channels, TcrPath& from, uint8_t* data, int& length);
    bool MakeRoom(uint32_t ip);
    void Leave(Channel& channel);
    Channel* Find(uint64_t number) const;
    void End(uint64_t number);
    CTSealSession::Sender SenderTo(const TcrPath& path) const;

    const CTSealKey& m_key;
    const Sender m_send;
    CTSealCookies m_cookies;
    uint64_t m_last_number = 0;
    int m_starts = 0;                                                   // since the last tick
    std::unordered_map<uint64_t, std::unique_ptr<Channel>> m_channels;  // by number
    std::unordered_map<uint64_t, std::vector<Channel*>> m_places;  // the newest first, never empty
    std::unordered_map<uint32_t, int> m_strangers_of;              // by address
    std::list<uint64_t> m_strangers;                               // the oldest first
    Counters m_counters;
};
