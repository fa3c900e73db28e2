#include <gmock/gmock.h>

#include "tests/support/captured_output.h"
#include "tests/tcr/simulated_edge.h"
#include "tests/tcr/state_memory.h"

namespace {

using namespace wire_sub;

class Reload : public testing::Test {
  protected:
    Reload() {
        rig.after_wake_up = [this] {
            if (uint64_t ticket = state.Write()) rig.router->Saved(ticket, rig.now);
        };
    }
    static TcrConfig Serving(std::initializer_list<const char*> names) {
        TcrConfig config;
        config.subnets.clear();
        for (const char* name : names)
            config.subnets.push_back({name, "qwop", Ip(10, 0, 0, 1), Ip(255, 255, 255, 0)});
        return config;
    }
    void Load(const TcrConfig& config) {
        rig.config = config;
        rig.lines.clear();
        rig.router->Reload(config, rig.now);
        rig.WakeUpEnds();
    }
    void Join(SimulatedEdge& edge, const std::string& subnet,
              const std::string& password = "qwop") {
        edge.identifier = edge.AskLogin(subnet, password).identifier;
        edge.ip = edge.AskDhcp(0).ip;
        edge.Register();
    }
    bool HeartIsAnswered(SimulatedEdge& edge) {
        rig.sent[edge.port].clear();
        edge.HeartBeat();
        return edge.HasMail();
    }
    std::map<int, std::string> Kept() const {
        std::map<int, std::string> kept;
        for (const TcrSubnetRecord& subnet : state.Image().subnets)
            kept[subnet.index] = subnet.name;
        return kept;
    }

    OutputCapture output;
    MemoryState state;
    CentralRouterRig rig{Serving({"one", "two", "three"}), &state};
    SimulatedEdge a{rig, 1001, 0xA};
    SimulatedEdge b{rig, 1002, 0xB};
    SimulatedEdge c{rig, 1003, 0xC};
};

TEST_F(Reload, SubnetsComeAndGoAndKeepTheirIndexByName) {
    Join(a, "one");
    Join(b, "two");
    Join(c, "three");
    Load(Serving({"three", "four", "two", "five"}));
    EXPECT_THAT(rig.lines,
                testing::ElementsAre("subnet 0 \"one\" is no longer served",
                                     "subnet 0 \"four\" is served", "subnet 3 \"five\" is served"));
    EXPECT_FALSE(HeartIsAnswered(a));
    EXPECT_TRUE(HeartIsAnswered(b) && HeartIsAnswered(c));
    std::map<int, std::string> served = {{0, "four"}, {1, "two"}, {2, "three"}, {3, "five"}};
    EXPECT_EQ(Kept(), served);

    state.Restarted();
    rig.Restart(state.Image());
    rig.WakeUpEnds();
    EXPECT_EQ(Kept(), served);
    EXPECT_TRUE(HeartIsAnswered(b) && HeartIsAnswered(c));
    SimulatedEdge d{rig, 1004, 0xD};
    Join(d, "four");
    EXPECT_EQ(d.identifier, a.identifier);
    EXPECT_FALSE(HeartIsAnswered(a)) << "the identifier is another edge's now";
    Load(Serving({"three"}));
    EXPECT_EQ(Kept(), (std::map<int, std::string>{{2, "three"}}));
    EXPECT_EQ(state.Image().edges.size(), 1u);
    EXPECT_TRUE(HeartIsAnswered(c));
}

TEST_F(Reload, OneWhoseGatewayOrMaskChangedComesAnew) {
    Join(a, "one");
    Join(b, "two");
    Join(c, "three");
    TcrConfig changed = Serving({"one", "two", "three"});
    changed.subnets[1].gateway = Ip(10, 0, 0, 2);
    changed.subnets[2].mask = Ip(255, 255, 0, 0);
    Load(changed);
    EXPECT_TRUE(HeartIsAnswered(a));
    EXPECT_FALSE(HeartIsAnswered(b) || HeartIsAnswered(c));
    EXPECT_EQ(Kept(), (std::map<int, std::string>{{0, "one"}, {1, "two"}, {2, "three"}}));
    EXPECT_EQ(state.Image().edges.size(), 1u);
    Join(b, "two");
    EXPECT_EQ(b.identifier, 0x100u);

    // The same between two runs.
    rig.config.subnets[0].gateway = Ip(10, 0, 0, 3);
    state.Restarted();
    rig.Restart(state.Image());
    rig.WakeUpEnds();
    EXPECT_FALSE(HeartIsAnswered(a));
    EXPECT_TRUE(HeartIsAnswered(b));
    EXPECT_EQ(state.Image().edges.size(), 1u);
}

TEST_F(Reload, PasswordsAndLimitsChangeWithoutEndingASession) {
    Join(a, "one");
    TcrConfig changed = Serving({"one", "two", "three"});
    changed.subnets[0].password = "new";
    changed.silent_seconds = 5;
    changed.lowest_version = CTVersion(0, 1, 5);
    Load(changed);
    EXPECT_TRUE(rig.lines.empty());
    EXPECT_TRUE(HeartIsAnswered(a));
    EXPECT_EQ(b.AskLogin("one", "qwop").error, 1002u);
    EXPECT_EQ(b.AskLogin("one", "new", 0x104).error, 1001u);
    Join(b, "one", "new");
    rig.Pass(5000);
    EXPECT_EQ(rig.LinesWith("edge 0x00000000 timed out, not heard of for 5 s"), 1);
    EXPECT_TRUE(HeartIsAnswered(a));
}

// A subnet that went while its edges' changes were on their way to the disk, or could not get
// there.
TEST_F(Reload, ASubnetMayGoWhileItsStateIsBeingWritten) {
    Join(a, "one");
    auto write = rig.after_wake_up;
    for (bool lost : {false, true}) {
        rig.after_wake_up = nullptr;
        a.Ask(kDhcp, EncodeWire(WireDhcp{Ip(10, 0, 0, static_cast<uint8_t>(lost ? 77 : 78))}));
        ASSERT_TRUE(state.IsWaiting());
        Load(Serving({"two"}));
        if (lost) {
            rig.router->SaveFailed(state.Lose(), "tcr.db: gone", rig.now);
        } else {
            rig.router->Saved(state.Write(), rig.now);
        }
        EXPECT_FALSE(a.HasMail());
        rig.after_wake_up = write;
        rig.Pass(2000);
        EXPECT_EQ(Kept(), (std::map<int, std::string>{{1, "two"}}));
        EXPECT_TRUE(state.Image().edges.empty());
        Load(Serving({"two", "one"}));
        Join(a, "one");
    }
}

}  // namespace
