#include "tcr/channels.h"

#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <string>
#include <thread>

namespace {

using Bytes = std::vector<uint8_t>;

// Somebody at an address and port who shakes hands.
struct Client {
    Client(const CTSealKey& key, const char* ip, uint16_t port) : path{CTSockAddr(ip, port)} {
        session.Start(CTSealSession::Role::kEdge, key, nullptr);
    }
    TcrPath path;
    CTSealSession session;
    CTSealSession::Step step = CTSealSession::Step::kGoesOn;
    std::deque<Bytes> sent;
    std::deque<Bytes> received;

    CTSealSession::Sender Sender() {
        return [this](const uint8_t* data, int length) { sent.emplace_back(data, data + length); };
    }
    void Advance(const Bytes& datagram) {
        if (step != CTSealSession::Step::kGoesOn) return;
        step = session.Advance(datagram.empty() ? nullptr : datagram.data(),
                               static_cast<int>(datagram.size()), Sender());
    }
};

class Channels : public testing::Test {
  protected:
    void SetUp() override {
        std::string fault;
        ASSERT_TRUE(m_key.Make(fault) && m_edge_key.Make(fault)) << fault;
    }
    // What comes back goes to the client that is there.
    void Deliver(const TcrPath& to, const uint8_t* data, int length) {
        m_bytes_sent += length;
        ++m_sent;
        if (m_client && to.remote == m_client->path.remote) {
            m_client->received.emplace_back(data, data + length);
        }
    }
    bool Receive(TcrPath& from, Bytes& datagram) {
        int length = static_cast<int>(datagram.size());
        bool is_message = m_channels.Receive(from, datagram.data(), length, m_now);
        datagram.resize(static_cast<size_t>(length));
        return is_message;
    }
    // Until nothing more is said.
    bool Shake(Client& client) {
        m_client = &client;
        client.Advance({});
        for (int i = 0; i < 50 && !(client.sent.empty() && client.received.empty()); ++i) {
            for (; !client.sent.empty(); client.sent.pop_front()) {
                TcrPath from = client.path;
                Receive(from, client.sent.front());
            }
            for (; !client.received.empty(); client.received.pop_front())
                client.Advance(client.received.front());
        }
        return client.step == CTSealSession::Step::kDone;
    }
    // A message through the client's channel: its number, 0 when it does not come through.
    uint64_t ChannelOf(Client& client) {
        Bytes record(CTSealSession::kMaxRecord);
        const uint8_t message[] = {3, 2, 0, 0};
        record.resize(
            static_cast<size_t>(client.session.Seal(message, sizeof message, record.data())));
        TcrPath from = client.path;
        bool comes = Receive(from, record);
        EXPECT_EQ(comes, record.size() == sizeof message);
        return comes ? from.channel : 0;
    }
    void Pass(TcrTime ms) {
        for (TcrTime end = m_now + ms; m_now < end;)
            m_channels.Tick(m_now += 100);
    }

    CTSealKey m_key;
    CTSealKey m_edge_key;
    Client* m_client = nullptr;
    TcrTime m_now = 1000;
    int m_bytes_sent = 0;
    int m_sent = 0;
    TcrChannels m_channels{m_key, [this](const TcrPath& to, const uint8_t* data, int length) {
                               Deliver(to, data, length);
                           }};
};

TEST_F(Channels, CarryMessagesOfWhoHasShakenHands) {
    Client client(m_edge_key, "10.0.0.1", 4000);
    ASSERT_TRUE(Shake(client)) << client.session.GetFault();
    uint64_t channel = ChannelOf(client);
    ASSERT_NE(channel, 0u);
    EXPECT_EQ(*m_channels.PeerOf(channel), m_edge_key.GetFingerprint());
    uint8_t record[CTSealSession::kMaxRecord];
    const uint8_t message[] = {4, 2, 0, 0};
    int length = m_channels.Seal(channel, message, sizeof message, record);
    EXPECT_EQ(client.session.Open(record, length, nullptr), 4);
    EXPECT_EQ(m_channels.Seal(channel + 1, message, sizeof message, record), 0);
}

// A client that cannot receive costs nothing, and gets no more than it sent.
TEST_F(Channels, KeepNothingForWhoHasNotShownThatItReceives) {
    int bytes = 0;
    for (uint16_t port = 1; port <= 2000; ++port) {
        Client forged(m_edge_key, "10.9.9.9", port);
        forged.Advance({});
        bytes += static_cast<int>(forged.sent.front().size());
        TcrPath from = forged.path;
        Receive(from, forged.sent.front());
    }
    EXPECT_EQ(m_channels.CountStrangers(), 0u);
    EXPECT_EQ(m_sent, 2000);
    EXPECT_LE(m_bytes_sent, bytes);
    for (Bytes odd : {Bytes{22}, Bytes(14, 22), Bytes(100, 22), Bytes(60, 20), Bytes(60, 25)}) {
        TcrPath from = {CTSockAddr("10.9.9.9", 1)};
        EXPECT_FALSE(Receive(from, odd));
    }
    EXPECT_EQ(m_sent, 2000);
}

TEST_F(Channels, StrangersPushNoEdgeOut) {
    Client edge(m_edge_key, "10.0.0.1", 4000);
    ASSERT_TRUE(Shake(edge));
    uint64_t channel = ChannelOf(edge);
    m_channels.Keep(channel);
    for (uint16_t port = 1; port <= 100; ++port) {
        for (const char* ip : {"10.0.1.1", "10.0.1.2", "10.0.1.3", "10.0.1.4", "10.0.1.5"}) {
            Client stranger(m_edge_key, ip, port);
            Shake(stranger);
        }
        Pass(100);
    }
    EXPECT_LE(m_channels.CountStrangers(), TcrChannels::kMaxStrangers);
    EXPECT_GT(m_channels.CountStrangers(), TcrChannels::kMaxStrangers / 2);
    EXPECT_GT(m_channels.GetCounters().failed + m_channels.GetCounters().refused, 0u);
    EXPECT_EQ(ChannelOf(edge), channel);
    Pass(2 * TcrChannels::kStrangerMs);
    EXPECT_EQ(m_channels.CountStrangers(), 0u);
    EXPECT_EQ(ChannelOf(edge), channel);
}

TEST_F(Channels, APlaceHasTheNextOneBesideTheOneInUse) {
    Client before(m_edge_key, "10.0.0.1", 4000);
    ASSERT_TRUE(Shake(before));
    uint64_t first = ChannelOf(before);
    m_channels.Keep(first);
    Client next(m_edge_key, "10.0.0.1", 4000);
    ASSERT_TRUE(Shake(next));
    uint64_t second = ChannelOf(next);
    EXPECT_NE(second, first);
    EXPECT_EQ(ChannelOf(before), first) << "both count";
    m_channels.Keep(second);
    m_channels.EndBut({second});
    EXPECT_EQ(ChannelOf(before), 0u);
    EXPECT_EQ(ChannelOf(next), second);
    EXPECT_EQ(m_channels.CountKept(), 1u);
}

TEST_F(Channels, AHandshakeSurvivesTheLossOfAnyOneDatagram) {
    for (int lost = 0; lost < 12; ++lost) {
        Client client(m_edge_key, "10.0.0.1", static_cast<uint16_t>(5000 + lost));
        m_client = &client;
        client.Advance({});
        int number = 0;
        for (int i = 0; i < 200 && client.step == CTSealSession::Step::kGoesOn; ++i) {
            for (; !client.sent.empty(); client.sent.pop_front()) {
                TcrPath from = client.path;
                if (number++ != lost) Receive(from, client.sent.front());
            }
            for (; !client.received.empty(); client.received.pop_front()) {
                if (number++ != lost) client.Advance(client.received.front());
            }
            if (!client.sent.empty()) continue;
            // The library goes by the real clock.
            std::this_thread::sleep_for(std::chrono::milliseconds(client.session.GetTimeout()));
            client.Advance({});
            m_channels.Tick(m_now += 1000);
        }
        EXPECT_EQ(client.step, CTSealSession::Step::kDone) << "lost " << lost;
        EXPECT_NE(ChannelOf(client), 0u) << "lost " << lost;
    }
}

}  // namespace
