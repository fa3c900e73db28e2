#include "tcr/tcr_server.h"

#include <gtest/gtest.h>

#include <csignal>
#include <thread>

#include "ops/control_client.h"
#include "tcr/tcr_control.h"
#include "tests/support/expect_wire.h"
#include "tests/support/scratch_dir.h"
#include "tests/support/slow_disk.h"
#include "tests/support/udp_peer.h"

namespace {

constexpr uint8_t kInterior = 1;
constexpr uint8_t kCommand = 3;
constexpr uint8_t kPacket = 5;

// An edge on a socket of its own, by hand.
struct Edge {
    uint16_t router_port;
    uint32_t serial;
    UdpPeer socket = {};
    uint32_t identifier = kWireCentral;
    uint32_t ip = 0;
    uint16_t seq = 1;

    WireMessage Send(uint8_t type, uint8_t sub, const WireBytes& body,
                     uint32_t dst = kWireCentral) {
        WireMessage message{type, sub, seq++, 0, 0, identifier, dst, body};
        socket.SendBytes(message.Encode(), router_port);
        return message;
    }
    // The next message of that kind; what is announced meanwhile is passed over.
    WireMessage Await(uint8_t type, uint8_t sub) {
        for (;;) {
            WireMessage message = socket.Receive();
            if (message.Is(type, sub) || message.type == 0) return message;
        }
    }
    WireMessage Ask(uint8_t sub, const WireBytes& body) {
        Send(kCommand, sub, body);
        return Await(kCommand + 1, sub);
    }
    WireMessage SendLogin() {
        return Send(kCommand, wire_sub::kLogin,
                    EncodeWire(WireLogin{"qwop", "user", "qwop", serial, 0x105}));
    }
    void TakeLogin() {
        WireMessage reply = Await(kCommand + 1, wire_sub::kLogin);
        identifier = ExpectBody<WireLoginReply>(reply).identifier;
    }
    void Join() {
        SendLogin();
        TakeLogin();
        WireDevice device{.ip = 0, .mac = {2, 0, 0, 0, 0, static_cast<uint8_t>(serial)}};
        WireBytes wish = EncodeWire(WireDhcp{0, device.mac});
        device.ip = ip = ExpectBody<WireDhcpReply>(Ask(wire_sub::kDhcp, wish)).ip;
        Ask(wire_sub::kAddRouter, EncodeWire(WireRouterAdd{identifier, serial, "edge"}));
        Ask(wire_sub::kAddDevice, EncodeWire(WireDeviceAdd{identifier, {device}}));
        Send(kPacket, 0, WireBytes(20, 0));  // shows that it has joined
    }
};

// The whole process around the central router, with its state on a disk that the test commands.
class Server : public testing::Test {
  protected:
    void Start() {
        TcrOption option;
        option.port = port;
        server = std::make_unique<TcrServer>();
        std::string fault;
        ASSERT_TRUE(server->Open(option, TcrConfig(), fault)) << fault;
        ASSERT_TRUE(server->Keep(path, fault)) << fault;
        thread = std::thread([this] { ended_in_time = server->Run(TcrConfig()); });
    }
    // Tries that wait by themselves.
    template <typename Try>
    void Until(Try done) {
        for (int i = 0; i < 300 && !HasFailure(); ++i) {
            if (done()) return;
        }
        ADD_FAILURE() << "it never came";
    }
    void TearDown() override {
        if (thread.joinable()) Stop();
    }
    // By the signal that ends the program; it is the serving thread's alone.
    void Stop() {
        pthread_kill(thread.native_handle(), SIGTERM);
        thread.join();
        EXPECT_TRUE(ended_in_time);
        server.reset();
    }

    SlowDisk disk;
    ScratchDir dir;
    std::string path = dir.File("tcr.db");
    uint16_t port = UdpPeer().Port();
    std::unique_ptr<TcrServer> server;
    std::thread thread;
    bool ended_in_time = false;
};

TEST_F(Server, LetsOnlyRequestsThatChangeTheStateWaitForTheDisk) {
    Start();
    Edge a{port, 1};
    Edge b{port, 2};
    Edge c{port, 3};
    a.Join();
    b.Join();
    WireBytes packet(60, 7);
    // Relayed as soon as the other one's join is over.
    Until([&] { return a.Send(kPacket, 0, packet, b.identifier), b.socket.HasWaiting(20); });
    EXPECT_EQ(b.Await(kPacket, 0).body, packet);

    disk.HoldFlushes();
    c.SendLogin();
    ASSERT_TRUE(disk.WaitForFlush());
    for (uint32_t i = 1; i <= 20; ++i) {
        a.Send(kInterior, wire_sub::kHeartbeat, EncodeWire(WireTick{i}));
        WireMessage answer = a.Await(kInterior + 1, wire_sub::kHeartbeat);
        EXPECT_EQ(ExpectBody<WireTick>(answer).tick, i);
        WireBytes numbered(60, static_cast<uint8_t>(i));
        a.Send(kPacket, 0, numbered, b.identifier);
        Until([&] { return b.Await(kPacket, 0).body == numbered; });
    }
    EXPECT_FALSE(c.socket.HasWaiting()) << "a login was answered that is not on disk";
    disk.LetGo();
    c.TakeLogin();
    EXPECT_NE(c.identifier, kWireCentral);
    Stop();
}

// Requests that nobody has to remember are answered as ever, and so is everybody afterwards.
TEST_F(Server, GoesOnWhileTheDiskFailsAndKnowsEverybodyAfterARestart) {
    Start();
    Edge a{port, 1};
    Edge b{port, 2};
    a.Join();
    disk.FailWrites(SQLITE_FULL);
    b.SendLogin();
    a.Ask(wire_sub::kGetRouter, {});
    a.Send(kInterior, wire_sub::kHeartbeat, EncodeWire(WireTick{5}));
    a.Await(kInterior + 1, wire_sub::kHeartbeat);
    EXPECT_FALSE(b.socket.HasWaiting());
    disk.FailWrites(SQLITE_OK);
    // The edge asks again, as edges do.
    Until([&] { return b.SendLogin(), b.socket.HasWaiting(100); });
    b.TakeLogin();
    Stop();
    Start();
    a.Send(kInterior, wire_sub::kHeartbeat, EncodeWire(WireTick{6}));
    a.Await(kInterior + 1, wire_sub::kHeartbeat);
    Edge d{port, 4};
    d.Join();
    EXPECT_NE(d.identifier, a.identifier);
    EXPECT_NE(d.identifier, b.identifier);
    EXPECT_NE(d.ip, a.ip);
    Stop();
}

TEST_F(Server, AnswersOperatorsOnItsControlSocket) {
    std::string socket = dir.File("control");
    std::string fault;
    Start();
    TcrControl control(server->GetDesk());
    CTControlServer operators;
    ASSERT_TRUE(operators.Start(socket, control, fault)) << fault;
    auto ask = [&](const std::string& line) {
        std::string reply;
        EXPECT_TRUE(control_ask(socket, line, 10000, reply, fault)) << fault;
        return reply;
    };
    Edge a{port, 1001};
    a.Join();
    EXPECT_NE(ask(R"({"command":"status"})").find(R"("serial":1001,"label":"edge")"),
              std::string::npos);
    EXPECT_NE(ask(R"({"command":"subnet list"})").find(R"("name":"qwop")"), std::string::npos);
    EXPECT_EQ(ask(R"({"command":"edge remove","serial":1002})"),
              R"({"error":"no edge has that serial number"})");
    EXPECT_EQ(ask(R"({"command":"edge remove"})"),
              R"({"error":"\"serial\" is not a whole number of 32 bits"})");
    EXPECT_EQ(ask(R"({"command":"edge remove","serial":1001})"),
              R"({"schema":1,"program":"tamvo-tcr","removed":)"
              R"([{"identifier":0,"subnet":"qwop","label":"edge"}]})");
    EXPECT_EQ(ask(R"({"command":"Status"})"),
              R"({"error":"a central router has no such command"})");
    operators.Stop();
}

TEST_F(Server, DoesWhatOtherThreadsAskForAndNothingAfterItsEnd) {
    TcrSnapshot snapshot;
    std::vector<TcrRemovedEdge> removed;
    Start();
    Edge a{port, 1};
    Edge b{port, 2};
    a.Join();
    b.Join();
    std::thread other([&] {
        TcrSnapshot own;
        for (int i = 0; i < 100; ++i)
            EXPECT_TRUE(server->GetDesk().TakeSnapshot(own));
    });
    ASSERT_TRUE(server->GetDesk().TakeSnapshot(snapshot));
    EXPECT_EQ(snapshot.edges.size(), 2u);
    EXPECT_GT(snapshot.unix_ms, 1'600'000'000'000);
    EXPECT_TRUE(snapshot.state_kept);
    ASSERT_TRUE(server->GetDesk().RemoveEdge(1, removed));
    EXPECT_EQ(removed.size(), 1u);
    ASSERT_TRUE(server->GetDesk().TakeSnapshot(snapshot));
    ASSERT_EQ(snapshot.edges.size(), 1u);
    EXPECT_EQ(snapshot.edges[0].serial, 2u);
    other.join();

    pthread_kill(thread.native_handle(), SIGTERM);
    while (server->GetDesk().TakeSnapshot(snapshot)) {
    }
    EXPECT_FALSE(server->GetDesk().RemoveEdge(2, removed));
    thread.join();
    server.reset();
}

}  // namespace
