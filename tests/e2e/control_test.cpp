// An edge as its operators see it, on its control socket.

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "lab/wire/wire_bodies.h"
#include "lab/wire/wire_kinds.h"
#include "ops/control_client.h"
#include "ops/json_reply.h"
#include "tests/support/captured_output.h"
#include "tests/support/moved_clock.h"
#include "tests/support/scripted_router.h"
#include "tests/support/whole_edge.h"

namespace {

constexpr int kWaitMs = 10000;
constexpr uint32_t kPeer = Ip(192, 168, 15, 21);

class EdgeControl : public testing::Test {
  protected:
    EdgeControl() {
        router.AddRouter(1, 0x2001, peer.Port());
        router.AddDevice(1, kPeer, 2);
    }
    void Start() {
        std::filesystem::current_path(edge.dir.Path());  // for the log, and the socket by default
        edge.sys.GetAdapter().Adopt(edge.host.TakeOther());
        runs = std::thread([this] { status = edge.sys.MainLoop(); });
        // The socket comes when the edge has started.
        std::string reply;
        std::string fault;
        while (!control_ask(socket, R"({"command":"status"})", kWaitMs, reply, fault) && status < 0)
            std::this_thread::yield();
        ASSERT_LT(status, 0) << "it did not start";
    }
    void Stop() {
        if (!runs.joinable()) return;
        edge.sys.ForceQuit();
        runs.join();
    }
    ~EdgeControl() override {
        Stop();
        std::filesystem::current_path(before);
    }
    std::string Ask(const std::string& line) {
        std::string reply;
        std::string fault;
        EXPECT_TRUE(control_ask(socket, line, kWaitMs, reply, fault)) << fault;
        return reply;
    }
    // The status, as soon as the test holds for it.
    template <typename Test>
    CTJsonTree StatusWhen(Test test) {
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kWaitMs);
        for (;;) {
            CTJsonTree tree(cJSON_Parse(Ask(R"({"command":"status"})").c_str()));
            if (test(tree.get())) return tree;
            if (std::chrono::steady_clock::now() > end) {
                ADD_FAILURE() << "it never came: " << control_print(tree.get());
                return tree;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    static const cJSON* Member(const cJSON* object, const char* key) {
        return cJSON_GetObjectItemCaseSensitive(object, key);
    }
    static const cJSON* FirstPeer(const cJSON* root) {
        return cJSON_GetArrayItem(Member(root, "peers"), 0);
    }
    static double Number(const cJSON* object, const char* key) {
        return cJSON_GetNumberValue(Member(object, key));
    }
    static std::string Text(const cJSON* object, const char* key) {
        const char* text = cJSON_GetStringValue(Member(object, key));
        return text ? text : "null";
    }

    std::filesystem::path before = std::filesystem::current_path();
    OutputCapture output;
    UdpPeer peer;
    ScriptedRouter router;
    WholeEdge edge{router.Port()};
    std::string socket = edge.dir.File("control");
    std::atomic<int> status{-1};
    std::thread runs;
};

TEST_F(EdgeControl, TellsWhatTheEdgeIsAndWhatItsPeersCarry) {
    Start();
    CTJsonTree tree = StatusWhen([](const cJSON*) { return true; });
    EXPECT_EQ(Text(tree.get(), "address"), "192.168.15.57");
    EXPECT_EQ(Text(tree.get(), "interface"), "Tamvo");
    EXPECT_EQ(Number(tree.get(), "identifier"), ScriptedRouter::kIdentifier);
    EXPECT_EQ(Number(tree.get(), "serial"), 0x1001);
    EXPECT_EQ(Text(Member(tree.get(), "central_router"), "state"), "answers");
    EXPECT_EQ(Text(FirstPeer(tree.get()), "label"), "null") << "not announced yet";
    EXPECT_EQ(Text(FirstPeer(tree.get()), "endpoint"), "127.0.0.1:" + std::to_string(peer.Port()));

    for (int i = 0; i < 5; ++i) {
        edge.host.Write(IPv4Packet(ScriptedRouter::kAssignedIp, kPeer, 80));
        WireMessage arriving{.type = 5, .src = 1, .dst = ScriptedRouter::kIdentifier};
        arriving.body = IPv4Packet(kPeer, ScriptedRouter::kAssignedIp, 1480);
        router.Send(arriving);
        EXPECT_TRUE(edge.host.Read());
    }
    edge.host.Write(IPv4Packet(ScriptedRouter::kAssignedIp, Ip(192, 168, 15, 99), 80));
    tree = StatusWhen([](const cJSON* root) {
        return Number(Member(FirstPeer(root), "sent"), "packets") == 5 &&
               Number(Member(root, "drops"), "unknown destination") == 1;
    });
    EXPECT_EQ(Number(Member(FirstPeer(tree.get()), "sent"), "bytes"), 500);
    EXPECT_EQ(Number(Member(FirstPeer(tree.get()), "received"), "bytes"), 7500);
    EXPECT_EQ(Number(Member(FirstPeer(tree.get()), "received"), "packets"), 5);
    StatusWhen([](const cJSON* root) {
        return Number(Member(FirstPeer(root), "sent"), "bytes_per_second") > 0;
    });

    // Both answer their heartbeats; the peer's label comes with the announcement.
    WireMessage probe = peer.Receive();
    peer.Reply(probe.Reply(probe.body));
    WireRouterAdd add{1, 0x2001, "\x1b[31mpeer", Ip(127, 0, 0, 1), peer.Port()};
    router.Send({.type = 3,
                 .sub = wire_sub::kAddRouter,
                 .seq = 77,
                 .src = kWireCentral,
                 .dst = ScriptedRouter::kIdentifier,
                 .body = EncodeWire(add)});
    tree = StatusWhen([](const cJSON* root) {
        return Text(FirstPeer(root), "label") != "null" && Text(FirstPeer(root), "state") == "on" &&
               Number(Member(root, "central_router"), "round_trip_ms") > 0;
    });
    EXPECT_EQ(Text(FirstPeer(tree.get()), "label"), "\x1b[31mpeer");
    EXPECT_GT(Number(FirstPeer(tree.get()), "round_trip_ms"), 0);
    EXPECT_EQ(Number(Member(FirstPeer(tree.get()), "sent"), "packets"), 5)
        << "announced again, it is the same edge";
    add.serial = 0x2002;
    router.Send({.type = 3,
                 .sub = wire_sub::kAddRouter,
                 .seq = 78,
                 .src = kWireCentral,
                 .dst = ScriptedRouter::kIdentifier,
                 .body = EncodeWire(add)});
    tree =
        StatusWhen([](const cJSON* root) { return Number(FirstPeer(root), "serial") == 0x2002; });
    EXPECT_EQ(Number(Member(FirstPeer(tree.get()), "sent"), "packets"), 0) << "another one's";

    EXPECT_EQ(Ask(R"({"command":"edge remove","serial":1})"),
              R"({"error":"an edge has no such command"})");
    EXPECT_NE(Ask(R"({"command":"metrics"})").find("tamvo_edge_peer_up{interface"),
              std::string::npos);
    Stop();
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(std::filesystem::exists(socket));
}

TEST_F(EdgeControl, TellsWhyItHasNotJoinedYetAndThenThatItHas) {
    MovedClock clock;
    edge.sys.WaitForCentralRouter();
    router.Drop(wire_sub::kEcho, 3);
    Start();
    CTJsonTree tree =
        StatusWhen([](const cJSON* root) { return Text(root, "join_fault") == "echo timed out"; });
    EXPECT_EQ(Text(tree.get(), "state"), "joining");
    EXPECT_EQ(Text(tree.get(), "address"), "null");
    EXPECT_EQ(Text(tree.get(), "interface"), "Tamvo");
    EXPECT_EQ(Text(Member(tree.get(), "central_router"), "state"), "silent");
    EXPECT_EQ(Text(Member(tree.get(), "central_router"), "endpoint"),
              "127.0.0.1:" + std::to_string(router.Port()));
    EXPECT_NE(Ask(R"({"command":"metrics"})").find(R"(tamvo_edge_joined{interface=\"Tamvo\"} 0)"),
              std::string::npos);
    clock.Advance(6000);
    tree = StatusWhen([](const cJSON* root) { return Text(root, "state") == "joined"; });
    EXPECT_EQ(Text(tree.get(), "join_fault"), "null");
    EXPECT_EQ(Text(tree.get(), "address"), "192.168.15.57");
    EXPECT_EQ(cJSON_GetArraySize(Member(tree.get(), "peers")), 1);
    Stop();
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(std::filesystem::exists(socket));
}

TEST_F(EdgeControl, TellsThatTheCentralRouterIsSilentAndThatTheEdgeJoinedAgain) {
    edge.AddSstpKeys("\"rejoin after\": 3");
    Start();
    router.AnswerHeartbeats(false);
    CTJsonTree tree = StatusWhen([](const cJSON* root) {
        return Text(Member(root, "central_router"), "state") == "silent";
    });
    EXPECT_GE(Number(Member(tree.get(), "central_router"), "answered_seconds"), 1);
    tree = StatusWhen(
        [](const cJSON* root) { return Number(Member(root, "counters"), "joined again") == 1; });
    EXPECT_LT(Number(tree.get(), "joined_seconds"), Number(tree.get(), "uptime_seconds"));
    EXPECT_EQ(Text(Member(tree.get(), "central_router"), "state"), "answers");
}

TEST_F(EdgeControl, TheEdgeRunsWithoutASocketAndSaysWhy) {
    std::string config = ReadWholeFile(edge.ConfigPath());
    WriteWholeFile(edge.ConfigPath(),
                   config.insert(config.find("\"mac\""), R"("control": "no/control", )"));
    std::filesystem::current_path(edge.dir.Path());
    edge.sys.GetAdapter().Adopt(edge.host.TakeOther());
    testing::internal::CaptureStderr();
    runs = std::thread([this] { status = edge.sys.MainLoop(); });
    edge.host.Write(IPv4Packet(ScriptedRouter::kAssignedIp, kPeer, 80));
    router.WaitFor([](const WireMessage& m) { return m.IsPacket(); });
    Stop();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "control socket not opened: no/control: No such file or directory\n");
    EXPECT_EQ(status, 0);
    EXPECT_NE(ReadWholeFile(edge.ConfigPath()).find("\"control\":\t\"no/control\""),
              std::string::npos)
        << "written back";
    EXPECT_EQ(ReadWholeFile(edge.dir.File("tamvo.log")),
              "tamvo start\ncontrol socket not opened: no/control: No such file or directory\n"
              "tamvo exit\n");
}

}  // namespace
