#include "sstp/sealed_link.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <list>
#include <string>

#include "lab/wire/wire_bodies.h"
#include "lab/wire/wire_kinds.h"
#include "seal/seal_cookies.h"
#include "tests/support/expect_wire.h"
#include "tests/support/udp_peer.h"

namespace {

using Messages = std::vector<WireMessage>;
using Taken = CTSealedLink::Taken;

constexpr int64_t kStart = 50000;
constexpr uint32_t kOwn = 7;
const WireMessage kLoginMessage{
    .type = 3, .sub = wire_sub::kLogin, .src = kOwn, .body = EncodeWire(WireLogin())};
const WireMessage kAccepted = kLoginMessage.Reply(EncodeWire(WireLoginReply{0, kOwn}));
const WireMessage kRefused = kLoginMessage.Reply(EncodeWire(WireLoginReply{1003, 0}));

WireMessage Packet(uint8_t fill) {
    return {.type = 5, .src = 1, .dst = kOwn, .body = WireBytes(40, fill)};
}

// The central router's end of one channel.
struct Channel {
    CTSealSession session;
    std::string random;  // of its first message, which tells attempts apart
    bool done = false;
    Messages received;
};

// A link with a socket of its own, and the channels that it asked the central router for, the
// newest first. Time stands still but for the tests.
class SealedLink : public testing::Test {
  protected:
    void SetUp() override {
        std::string fault;
        ASSERT_TRUE(edge_key.Make(fault) && router_key.Make(fault)) << fault;
        link.TurnOn(edge_key, {router_key.GetFingerprint()});
        link.Attach(fd, central_addr);
    }
    void TearDown() override { close(fd); }

    // Until nothing is under way; what the link has for its port goes to taken.
    void Settle() {
        while (central.HasWaiting() || ToEdge()) {
            if (central.HasWaiting()) AtRouter(*central.ReceiveBytes());
        }
    }
    void AtRouter(WireBytes bytes) {
        int length = static_cast<int>(bytes.size());
        const uint8_t* random = nullptr;
        if (seal_is_client_hello(bytes.data(), length, random)) {
            std::string begun(reinterpret_cast<const char*>(random), kSealRandomSize);
            if (channels.empty() || channels.front().random != begun) {
                channels.emplace_front().random = begun;
                channels.front().session.Start(CTSealSession::Role::kCentralRouter, router_key,
                                               nullptr);
            }
        }
        ASSERT_FALSE(channels.empty());
        if (bytes[0] != 23) {
            Channel& begun = channels.front();
            begun.done |=
                begun.session.Advance(bytes.data(), length, ToLink()) == CTSealSession::Step::kDone;
            return;
        }
        for (Channel& channel : channels) {
            int opened = channel.done ? channel.session.Open(bytes.data(), length, ToLink()) : 0;
            if (opened == 0) continue;
            bytes.resize(static_cast<size_t>(opened));
            return channel.received.push_back(ExpectMessage(bytes, true));
        }
        ADD_FAILURE() << "a record of no channel";
    }
    CTSealSession::Sender ToLink() {
        return [this](const uint8_t* data, int length) {
            central.SendBytes(WireBytes(data, data + length), central.LastPort());
        };
    }
    bool ToEdge() {
        sockaddr_in from;
        std::optional<WireBytes> bytes = ReceiveWithin(fd, 0, &from);
        if (bytes && Take(*bytes, from) == Taken::kMessage) {
            taken.push_back(ExpectMessage(*bytes, true));
        }
        return bytes.has_value();
    }
    Taken Take(WireBytes& bytes, const sockaddr_in& from) {
        CTReceivedDatagram datagram;
        datagram.data = bytes.data();
        datagram.length = static_cast<int>(bytes.size());
        datagram.from = &from;
        Taken what = link.Take(datagram, now);
        bytes.resize(static_cast<size_t>(datagram.length));
        return what;
    }
    Taken Take(const WireMessage& message, const CTSockAddr& from) {
        WireBytes bytes = message.Encode();
        return Take(bytes, *from.GetSockAddrin());
    }
    void Begin() {
        link.Begin(now);
        Settle();
        ASSERT_TRUE(link.IsReady()) << link.GetFault();
        WireBytes login = kLoginMessage.Encode();
        link.SetLogin(login.data(), static_cast<int>(login.size()));
    }
    void Step(int64_t ms) {
        now += ms;
        link.Step(now);
        Settle();
    }
    void SendFrom(Channel& channel, const WireMessage& message) {
        WireBytes plain = message.Encode();
        WireBytes record(CTSealSession::kMaxRecord);
        int length =
            channel.session.Seal(plain.data(), static_cast<int>(plain.size()), record.data());
        record.resize(static_cast<size_t>(length));
        central.SendBytes(record, central.LastPort());
        Settle();
    }
    // How many of these datagrams may leave; those to the central router do.
    int Write(const Messages& messages, const CTSockAddr& to) {
        std::vector<WireBytes> bytes;
        std::vector<CTDatagram> datagrams(messages.size());
        for (const WireMessage& message : messages)
            bytes.push_back(message.Encode());
        for (size_t i = 0; i < bytes.size(); ++i) {
            datagrams[i].data = bytes[i].data();
            datagrams[i].length = static_cast<int>(bytes[i].size());
            datagrams[i].to = to.GetSockAddrin();
        }
        int left = link.Seal(datagrams.data(), static_cast<int>(datagrams.size()), now);
        for (size_t i = 0; to == central_addr && i < static_cast<size_t>(left); ++i) {
            sendto(fd, datagrams[i].data, static_cast<size_t>(datagrams[i].length), 0,
                   reinterpret_cast<const sockaddr*>(datagrams[i].to), sizeof(sockaddr_in));
        }
        Settle();
        return left;
    }

    CTSealKey edge_key;
    CTSealKey router_key;
    UdpPeer central;
    const CTSockAddr central_addr{"127.0.0.1", central.Port()};
    const CTSockAddr somebody{"127.0.0.9", 4000};
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    CTSealedLink link;
    std::list<Channel> channels;
    Messages taken;
    int64_t now = kStart;
};

TEST_F(SealedLink, CarriesWhatIsForTheCentralRouterAndLetsHeartbeatsOfPeersPass) {
    EXPECT_EQ(Write({Packet(1)}, central_addr), 0) << "nothing leaves before there is a channel";
    Begin();
    EXPECT_EQ(link.GetCentralKey(), router_key.GetFingerprint());
    EXPECT_EQ(Write({Packet(1), Packet(2)}, central_addr), 2);
    ASSERT_EQ(channels.front().received.size(), 2u);
    EXPECT_EQ(channels.front().received[1].body, Packet(2).body);
    SendFrom(channels.front(), Packet(3));
    ASSERT_EQ(taken.size(), 1u);
    EXPECT_EQ(taken[0].body, Packet(3).body);

    const WireMessage heartbeat{
        .type = 3, .sub = wire_sub::kPeerHeartbeat, .body = WireBytes(4, 0)};
    EXPECT_EQ(Write({Packet(4), heartbeat}, somebody), 1);
    EXPECT_EQ(Take(heartbeat, somebody), Taken::kMessage);
    EXPECT_EQ(Take(Packet(4), somebody), Taken::kNothing);
    EXPECT_EQ(Take(heartbeat, central_addr), Taken::kNothing) << "it says nothing in the open";
    EXPECT_EQ(link.GetCounters().outside.Get(), 2u);
    // A record that came before, and one from somewhere else.
    WireBytes record(CTSealSession::kMaxRecord);
    WireBytes plain = Packet(5).Encode();
    int length =
        channels.front().session.Seal(plain.data(), static_cast<int>(plain.size()), record.data());
    record.resize(static_cast<size_t>(length));
    WireBytes again = record;
    EXPECT_EQ(Take(again, *somebody.GetSockAddrin()), Taken::kNothing);
    EXPECT_EQ(Take(record, *central_addr.GetSockAddrin()), Taken::kMessage);
    EXPECT_EQ(Take(again, *central_addr.GetSockAddrin()), Taken::kNothing);
    EXPECT_EQ(link.GetCounters().unopened.Get(), 2u);
}

TEST_F(SealedLink, ChangesItsChannelEveryHourOnceTheLoginInTheNextOneWasAccepted) {
    Begin();
    Step(CTSealedLink::kRenewMs - 1);
    ASSERT_EQ(channels.size(), 1u);
    Step(1);
    ASSERT_EQ(channels.size(), 2u);
    Channel& next = channels.front();
    Channel& before = channels.back();
    ASSERT_EQ(next.received.size(), 1u);
    EXPECT_TRUE(next.received[0].Is(3, wire_sub::kLogin));
    EXPECT_EQ(next.received[0].src, kOwn) << "as who it is";
    Write({Packet(1)}, central_addr);
    EXPECT_EQ(before.received.size(), 1u) << "still in use";

    SendFrom(next, kAccepted);
    Write({Packet(2)}, central_addr);
    EXPECT_EQ(next.received.size(), 2u);
    EXPECT_TRUE(taken.empty()) << "the reply is nobody else's";
    SendFrom(before, Packet(3));
    EXPECT_EQ(taken.size(), 1u) << "was under way";
    Step(CTSealedLink::kBeforeMs);
    SendFrom(before, Packet(4));
    EXPECT_EQ(taken.size(), 1u);
    EXPECT_EQ(link.GetCounters().channels.Get(), 2u);
    EXPECT_EQ(link.GetCounters().failed.Get(), 0u);
}

TEST_F(SealedLink, TakesAMessageThroughTheNextChannelForTheReplyThatWasLost) {
    Begin();
    link.Renew();
    Step(1);
    ASSERT_EQ(channels.size(), 2u);
    SendFrom(channels.front(), Packet(1));
    ASSERT_EQ(taken.size(), 1u);
    Write({Packet(2)}, central_addr);
    EXPECT_EQ(channels.front().received.size(), 2u) << "the login and the packet";
    SendFrom(channels.front(), kAccepted);
    EXPECT_EQ(link.GetCounters().channels.Get(), 2u);
}

TEST_F(SealedLink, GoesOnAsItIsWhereNobodyAnswersTheLoginAndTriesAgain) {
    Begin();
    link.Renew();
    Step(1);
    for (int i = 0; i < CTSealedLink::kLogins; ++i)
        Step(CTSealedLink::kLoginRetryMs);
    EXPECT_EQ(channels.front().received.size(), size_t{CTSealedLink::kLogins});
    EXPECT_EQ(link.GetFault(), "login timed out");
    Write({Packet(1)}, central_addr);
    EXPECT_EQ(channels.back().received.size(), 1u);
    Step(CTSealedLink::kRetryMs - 1);
    EXPECT_EQ(channels.size(), 2u);
    Step(1);
    EXPECT_EQ(channels.size(), 3u);
}

TEST_F(SealedLink, WaitsForLongAfterALoginThatWasRefused) {
    Begin();
    link.Renew();
    Step(1);
    SendFrom(channels.front(), kRefused);
    EXPECT_EQ(link.GetFault(), "login refused");
    Step(CTSealedLink::kRefusedMs - 1);
    EXPECT_EQ(channels.size(), 2u);
    Step(1);
    EXPECT_EQ(channels.size(), 3u);
}

TEST_F(SealedLink, IsSilentASecondAfterWhatWasSentUntilSomethingComes) {
    Begin();
    EXPECT_FALSE(link.IsSilent(now + CTSealedLink::kSilenceMs)) << "nothing was sent";
    Write({Packet(1)}, central_addr);
    now += CTSealedLink::kSilenceMs - 1;
    EXPECT_FALSE(link.IsSilent(now));
    Write({Packet(2)}, central_addr);
    EXPECT_TRUE(link.IsSilent(++now)) << "counted from the first";
    SendFrom(channels.front(), Packet(3));
    EXPECT_FALSE(link.IsSilent(now));
}

// Nobody is told anything before the key is known.
TEST_F(SealedLink, GivesUpWithAnotherKey) {
    CTSealKey other;
    std::string fault;
    ASSERT_TRUE(other.Make(fault)) << fault;
    link.TurnOn(edge_key, {other.GetFingerprint()});
    link.Begin(now);
    Settle();
    EXPECT_TRUE(link.HasFailed());
    EXPECT_EQ(link.GetFault(), "the other end's key is " + router_key.GetFingerprint().Text());
    EXPECT_FALSE(channels.front().done);
    EXPECT_EQ(Write({Packet(1)}, central_addr), 0);
}

}  // namespace
