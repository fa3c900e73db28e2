#include "tcr/edge_removal.h"

#include <gmock/gmock.h>

#include "tests/support/captured_output.h"
#include "tests/tcr/simulated_edge.h"
#include "tests/tcr/state_memory.h"

namespace {

class EdgeRemoval : public testing::Test {
  protected:
    EdgeRemoval() {
        rig.after_wake_up = [this] {
            if (uint64_t ticket = state.Write()) rig.router->Saved(ticket, rig.now);
        };
        a.Join();
        b.Join();
        rig.Pass(600);
        a.Obey();
        b.Obey();
    }
    std::vector<TcrRemovedEdge> Remove(uint32_t serial) {
        std::vector<TcrRemovedEdge> removed = rig.router->RemoveEdge(serial, rig.now);
        rig.WakeUpEnds();
        return removed;
    }
    bool HeartIsAnswered(SimulatedEdge& edge) {
        rig.sent[edge.port].clear();
        edge.HeartBeat();
        return edge.HasMail();
    }

    OutputCapture output;
    MemoryState state;
    CentralRouterRig rig{TcrConfig(), &state};
    SimulatedEdge a{rig, 1001, 0xA};
    SimulatedEdge b{rig, 1002, 0xB};
};

TEST_F(EdgeRemoval, EndsSessionAddressAndAnnouncementsAndLetsItLogInAgain) {
    ASSERT_EQ(b.others.size(), 1u);
    std::vector<TcrRemovedEdge> removed = Remove(0xA);
    ASSERT_EQ(removed.size(), 1u);
    EXPECT_EQ(removed[0].identifier, a.identifier);
    EXPECT_EQ(removed[0].subnet, "qwop");
    EXPECT_EQ(removed[0].label, "edge 10");
    EXPECT_EQ(rig.LinesWith("edge 0x00000000 \"edge 10\" removed by an operator"), 1);
    b.Obey();
    EXPECT_TRUE(b.others.empty());
    EXPECT_TRUE(HeartIsAnswered(b));
    EXPECT_FALSE(HeartIsAnswered(a));
    EXPECT_EQ(state.Image().edges.size(), 1u);

    SimulatedEdge c{rig, 1003, 0xC, a.ip};  // its slot and its address are free
    c.Join();
    EXPECT_EQ(c.identifier, a.identifier);
    EXPECT_EQ(c.ip, a.ip);
    rig.Pass(600);
    b.Obey();
    ASSERT_EQ(b.others.size(), 1u);
    EXPECT_EQ(b.others[c.identifier].first, 1003u);
    rig.sent.clear();
    a.identifier = kWireCentral;
    a.Join();
    rig.Pass(600);
    b.Obey();
    EXPECT_EQ(b.others.size(), 2u);
}

TEST_F(EdgeRemoval, TakesOneThatIsAwayAndKnowsNoOther) {
    a.Leave();
    EXPECT_THAT(Remove(0xA), testing::SizeIs(1));
    EXPECT_THAT(Remove(0xA), testing::IsEmpty());
    EXPECT_THAT(Remove(0xFFFFFFFF), testing::IsEmpty());
    state.Restarted();
    rig.Restart(state.Image());
    EXPECT_THAT(Remove(0xA), testing::IsEmpty());
    EXPECT_THAT(Remove(0xB), testing::SizeIs(1));
}

TEST(EdgeRemovalInSubnets, TakesTheSerialNumberInEachOfThem) {
    OutputCapture output;
    TcrConfig config;
    config.subnets.push_back({"other", "qwop", Ip(10, 0, 0, 1), Ip(255, 255, 255, 0)});
    CentralRouterRig rig(config);
    SimulatedEdge one{rig, 1001, 0xA};
    SimulatedEdge two{rig, 1002, 0xA};
    one.Join();
    two.identifier = two.AskLogin("other").identifier;
    EXPECT_THAT(rig.router->RemoveEdge(0xA, rig.now),
                testing::ElementsAre(testing::Field(&TcrRemovedEdge::subnet, "qwop"),
                                     testing::Field(&TcrRemovedEdge::subnet, "other")));
}

}  // namespace
