// A whole edge as a service manager runs it: what it tells the manager and the system's log, and
// how it waits for its central router.

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "tests/support/captured_output.h"
#include "tests/support/event_capture.h"
#include "tests/support/expect_wire.h"
#include "tests/support/live_central_router.h"
#include "tests/support/moved_clock.h"
#include "tests/support/notify_socket.h"
#include "tests/support/scripted_router.h"
#include "tests/support/whole_edge.h"

namespace {

using namespace wire_sub;

class Service : public testing::Test {
  protected:
    Service() {
        // The control socket of one that waits is there before it has joined.
        std::string config = ReadWholeFile(edge.ConfigPath());
        config.insert(config.find("\"mac\""),
                      "\"control\": \"" + edge.dir.File("control") + "\", ");
        WriteWholeFile(edge.ConfigPath(), config);
    }
    ~Service() override {
        edge.sys.ForceQuit();
        if (start.joinable()) start.join();
    }
    void BeginStart() {
        edge.sys.WaitForCentralRouter();
        start = std::jthread([this] { started = edge.Start(); });
    }
    bool Started() {
        start.join();
        return started;
    }
    std::vector<std::string> Events() {
        std::vector<std::string> lines = events.Lines();
        for (std::string& line : lines)
            line = line.substr(0, line.find_first_of("=") - 1);
        for (std::string& line : lines)
            line = line.substr(0, line.rfind(' '));
        return lines;
    }

    OutputCapture output;
    EventCapture events;
    ScriptedRouter router;
    WholeEdge edge{router.Port()};
    bool started = false;
    std::jthread start;
};

// The lease of an attempt that failed is not kept, nor is what it registered, and a login that is
// refused is tried again as well.
TEST_F(Service, IsUpBeforeItsCentralRouterAndTriesUntilItIsThere) {
    MovedClock clock;
    NotifySocket manager(30000);
    const auto refused = Hex("00000000 000003ea");
    router.Drop(kEcho, 3);
    BeginStart();
    EXPECT_EQ(manager.Next(), "STATUS=started, not joined yet");
    EXPECT_EQ(manager.Next(), "READY=1");
    EXPECT_EQ(manager.Next(), "WATCHDOG=1");
    EXPECT_EQ(events.WaitFor("W joining failed").substr(0, 44),
              "W joining failed reason=\"echo timed out\" rou");
    EXPECT_EQ(manager.Next().substr(0, 37), "STATUS=joining failed: echo timed out");
    router.Drop(kAddRouter, 3);
    clock.Advance(6000);
    EXPECT_NE(events.WaitFor("W joining failed reason=\"registration timed out\""), "");
    clock.Advance(12000);
    EXPECT_TRUE(manager.Tells("WATCHDOG=1")) << "while it waits";
    ASSERT_TRUE(Started());
    std::string joined = events.WaitFor("N joined ");
    EXPECT_EQ(joined,
              "N joined address=192.168.15.57 identifier=0x00000002 interface=Tamvo "
              "router=127.0.0.1:" +
                  std::to_string(router.Port()));
    EXPECT_EQ(Events(), (std::vector<std::string>{"N started", "W joining failed",
                                                  "W joining failed", "N joined"}));
    EXPECT_TRUE(manager.Tells("STATUS=joined as 192.168.15.57 by 127.0.0.1:" +
                              std::to_string(router.Port())));
    WireBytes packet = IPv4Packet(ScriptedRouter::kAssignedIp, ScriptedRouter::kGateway, 40);
    edge.host.Write(packet);
    router.WaitFor([&](const WireMessage& m) { return m.type == 5 && m.body == packet; });
    edge.Stop();
    std::vector<WireMessage> all = router.Received();
    auto last = std::ranges::find_if(all.rbegin(), all.rend(),
                                     [](const WireMessage& m) { return m.Is(3, kDelDevice); });
    ASSERT_NE(last, all.rend());
    EXPECT_EQ(last->body.size(), 8u) << "of one device";
}

TEST_F(Service, ThatIsToldToEndWhileItWaitsEndsAtOnceAndWritesNothing) {
    std::string before = ReadWholeFile(edge.ConfigPath());
    router.FallSilent();
    BeginStart();
    EXPECT_NE(events.WaitFor("W joining failed"), "");
    edge.sys.ForceQuit();
    EXPECT_FALSE(Started());
    EXPECT_FALSE(edge.sys.GetAdapter().IsOpen());
    EXPECT_EQ(ReadWholeFile(edge.ConfigPath()), before);
}

TEST_F(Service, TellsOfAStartThatFailsAndOfASessionThatIsLostAndComesBack) {
    MovedClock clock;
    edge.AddSstpKeys("\"rejoin after\": 0");
    router.Drop(kLogin, 3);
    EXPECT_FALSE(edge.Start());
    std::string port = std::to_string(router.Port());
    EXPECT_EQ(
        events.WaitFor("E start failed"),
        "E start failed reason=\"connected tcr failed, tcr is not online\" detail=\"no answer "
        "from 127.0.0.1:" +
            port + "\" file=" + edge.ConfigPath());
    ASSERT_TRUE(edge.Start());
    router.AnswerHeartbeats(false);
    // The ladder: each further heartbeat leaves once the thread has seen the time.
    auto until = [&](const char* line) {
        for (int i = 0; i < 1000 && !testing::Test::HasFailure(); ++i) {
            clock.Advance(500);
            edge.sys.KeepJoined();
            for (const std::string& told : events.Lines()) {
                if (told == line + port) return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    };
    EXPECT_TRUE(until("W central router lost router=127.0.0.1:"));
    router.AnswerHeartbeats(true);
    EXPECT_TRUE(until("N central router back router=127.0.0.1:"));
}

// One that waits for a lock, as here, is not seen by the others, but the manager hears of none.
TEST_F(Service, IsNotSaidToWorkWhileAThreadStandsStill) {
    MovedClock clock;
    NotifySocket manager(30000);
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(edge.dir.Path());  // of the log
    edge.sys.GetAdapter().Adopt(edge.host.TakeOther());
    start = std::jthread([this] { started = edge.sys.MainLoop() == 0; });
    EXPECT_NE(events.WaitFor("N joined"), "");
    EXPECT_TRUE(manager.Tells("WATCHDOG=1"));
    // The time leaps: that the threads have beaten since the last look may take another one.
    auto is_fed = [&] {
        for (int i = 0; i < 10; ++i) {
            clock.Advance(10000);
            if (manager.Next(1000) == "WATCHDOG=1") return true;
        }
        return false;
    };
    EXPECT_TRUE(is_fed());
    {
        CTWriteGuard guard(edge.sys.GetModelLock());
        edge.host.Write(IPv4Packet(ScriptedRouter::kAssignedIp, ScriptedRouter::kGateway, 40));
        // One that is on its way to the lock may beat once more.
        clock.Advance(10000);
        manager.Next(1000);
        clock.Advance(10000);
        EXPECT_EQ(manager.Next(1000), "");
        EXPECT_NE(events.WaitFor("E thread stands still thread="), "");
    }
    EXPECT_TRUE(is_fed());
    edge.sys.ForceQuit();
    EXPECT_TRUE(manager.Tells("STOPPING=1"));
    EXPECT_TRUE(Started());
    EXPECT_EQ(events.WaitFor("N stopped"), "N stopped file=" + edge.ConfigPath());
    std::filesystem::current_path(before);
}

}  // namespace
