#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "base/pvu_tick.h"
#include "tcr/central_router.h"
#include "tcr/channels.h"
#include "tests/support/udp_peer.h"

// The real central router behind sealed channels, on a port of 127.0.0.1, in a thread of this
// process; what comes there is kept as it came.
class LiveSealedRouter : public TcrLink {
  public:
    LiveSealedRouter() {
        std::string fault;
        EXPECT_TRUE(m_key.Make(fault)) << fault;
        ForgetChannels();
        m_thread = std::jthread([this](std::stop_token stop) { Run(stop); });
    }

    uint16_t Port() const { return m_peer.Port(); }
    std::string Key() const { return m_key.GetFingerprint().Text(); }
    // As after a restart with the state kept: sessions are there, channels are not.
    void ForgetChannels() {
        std::lock_guard lock(m_mutex);
        m_channels.emplace(m_key, [this](const TcrPath& to, const uint8_t* data, int length) {
            m_peer.SendBytes(WireBytes(data, data + length), to.remote.GetPort());
        });
    }
    // Whether any datagram has held the text.
    bool HasSeen(const std::string& text) {
        std::lock_guard lock(m_mutex);
        return std::ranges::any_of(m_seen, [&](const WireBytes& bytes) {
            return std::search(bytes.begin(), bytes.end(), text.begin(), text.end()) != bytes.end();
        });
    }
    // Sends an open message under its own address.
    void SendOpen(const WireMessage& message) {
        std::lock_guard lock(m_mutex);
        m_peer.Reply(message);
    }
    size_t CountKept() {
        std::lock_guard lock(m_mutex);
        return m_channels->CountKept();
    }

    bool Send(const TcrPath& to, const void* data, int length) override {
        uint8_t record[CTSealSession::kMaxRecord];
        int sealed =
            m_channels->Seal(to.channel, static_cast<const uint8_t*>(data), length, record);
        if (sealed > 0) m_peer.SendBytes(WireBytes(record, record + sealed), to.remote.GetPort());
        return sealed > 0;
    }
    const CTSealFingerprint* PeerOf(const TcrPath& path) const override {
        return m_channels->PeerOf(path.channel);
    }
    void Keep(const TcrPath& path) override { m_channels->Keep(path.channel); }
    void Tell(const char* line) override { printf("%s\n", line); }

  private:
    static constexpr int kTickMs = 20;

    static TcrConfig Served() {
        TcrConfig config;
        config.subnets[0].seal = TcrSeal::kRequired;
        return config;
    }
    void Run(std::stop_token stop) {
        while (!stop.stop_requested()) {
            std::optional<WireBytes> bytes = m_peer.ReceiveBytes(kTickMs);
            std::lock_guard lock(m_mutex);
            TcrTime now = static_cast<TcrTime>(pvu_get_current_tick());
            if (bytes) Receive(*bytes, now);
            m_router.Tick(now);
            m_channels->Tick(now);
            std::unordered_set<uint64_t> in_use;
            m_router.AddChannels(in_use, now);
            m_channels->EndBut(in_use);
        }
    }
    void Receive(WireBytes& bytes, TcrTime now) {
        m_seen.push_back(bytes);
        TcrPath from{CTSockAddr("127.0.0.1", m_peer.LastPort())};
        int length = static_cast<int>(bytes.size());
        bool sealed = TcrChannels::IsSealed(bytes.data(), length);
        if (sealed && m_channels->Receive(from, bytes.data(), length, now)) {
            m_router.Receive(from, bytes.data(), length, now);
        }
    }

    UdpPeer m_peer;
    CTSealKey m_key;
    std::mutex m_mutex;
    std::vector<WireBytes> m_seen;
    std::optional<TcrChannels> m_channels;
    CTCentralRouter m_router{Served(), *this};
    std::jthread m_thread;
};
