#include <gtest/gtest.h>

#include <random>

#include "tests/support/captured_output.h"
#include "tests/tcr/simulated_edge.h"

namespace {

class Announcements : public testing::Test {
  protected:
    // Everybody carries out what is announced until nothing more comes.
    void Settle(std::initializer_list<SimulatedEdge*> edges) {
        for (int i = 0; i < 100; ++i) {
            rig.Pass(100);
            for (SimulatedEdge* edge : edges)
                edge->Obey();
        }
    }

    OutputCapture output;
    CentralRouterRig rig;
    SimulatedEdge a{rig, 1001, 0xA};
    SimulatedEdge b{rig, 1002, 0xB};
    SimulatedEdge c{rig, 1003, 0xC};
};

TEST_F(Announcements, EdgesThatStartInTheSameMomentLearnOfEachOther) {
    for (SimulatedEdge* edge : {&a, &b, &c})
        edge->Login();
    for (SimulatedEdge* edge : {&a, &b, &c})
        edge->Dhcp();
    for (SimulatedEdge* edge : {&a, &b, &c})
        edge->FetchOthers();
    for (SimulatedEdge* edge : {&a, &b, &c})
        EXPECT_TRUE(edge->others.empty());
    for (SimulatedEdge* edge : {&a, &b, &c})
        edge->Register();
    Settle({&a, &b, &c});
    for (SimulatedEdge* x : {&a, &b, &c}) {
        for (SimulatedEdge* y : {&a, &b, &c})
            EXPECT_TRUE(x == y || x->Sees(*y));
    }
}

TEST_F(Announcements, NobodyIsSentAnythingBeforeItHasJoined) {
    a.Join();
    rig.Pass(600);
    b.Login();
    b.Dhcp();
    b.FetchOthers();
    c.Join();
    Settle({&a, &c});
    EXPECT_FALSE(b.HasMail());
    b.Register();
    rig.Pass(400);
    EXPECT_FALSE(b.HasMail());  // it may still wait for its last reply
    Settle({&a, &b, &c});
    EXPECT_TRUE(b.Sees(a));
    EXPECT_TRUE(b.Sees(c));  // came in between
    EXPECT_TRUE(a.Sees(b));
}

TEST_F(Announcements, DeviceEndLogoutAndSilenceAreAnnounced) {
    a.Join();
    b.Join();
    c.Join();
    Settle({&a, &b, &c});
    b.Leave();
    Settle({&a, &c});
    EXPECT_TRUE(a.SeesNothingOf(b));
    EXPECT_TRUE(c.SeesNothingOf(b));

    for (int s = 0; s < 60; ++s) {  // c says nothing any more
        rig.Pass(1000);
        a.HeartBeat();
        a.Next();
        a.Obey();
    }
    EXPECT_TRUE(a.SeesNothingOf(c));
    EXPECT_TRUE(rig.HasLine("edge 0x00000002 not heard of for 60 s, gone"));
    c.HeartBeat();  // an outage, not an end
    EXPECT_TRUE(c.Next().Is(2, 2));
    Settle({&a, &c});
    EXPECT_TRUE(a.Sees(c));
    EXPECT_TRUE(c.Sees(a));
    EXPECT_TRUE(c.SeesNothingOf(b));
}

TEST_F(Announcements, ARestartedEdgeIsAnnouncedAtItsNewAddress) {
    a.Join();
    b.Join();
    Settle({&a, &b});
    SimulatedEdge again(rig, 2002, 0xB);
    again.Join();
    Settle({&a, &again});
    EXPECT_TRUE(a.Sees(again));
    EXPECT_TRUE(again.Sees(a));
    EXPECT_EQ(a.endpoints[again.identifier], 2002u);
}

TEST_F(Announcements, EachIsRepeatedThreeTimesThenTheEdgeIsLeftAloneUntilItsHeartbeat) {
    a.Join();
    rig.Pass(1000);
    b.Join();
    rig.Pass(10000);
    std::vector<WireMessage> got;
    while (a.HasMail())
        got.push_back(a.Next());
    ASSERT_EQ(got.size(), 4u);
    for (const WireMessage& message : got) {
        EXPECT_TRUE(message.Is(3, 10));
        EXPECT_EQ(message.seq, got[0].seq);
    }
    EXPECT_NE(got[0].seq, 0);
    a.HeartBeat();
    EXPECT_TRUE(a.Next().Is(2, 2));
    Settle({&a});
    EXPECT_TRUE(a.Sees(b));
}

TEST_F(Announcements, AnAcknowledgementThatComesTwiceBringsTheDevicesAgain) {
    a.Join();
    rig.Pass(1000);
    b.Join();
    rig.Pass(100);
    WireMessage add_router = a.Next();
    ASSERT_TRUE(add_router.Is(3, 10));
    a.Apply(add_router);
    a.Acknowledge(add_router);
    Settle({&a});
    EXPECT_TRUE(a.Sees(b));
    a.Apply(add_router);  // a late copy: a fresh router, no devices
    a.Acknowledge(add_router);
    EXPECT_FALSE(a.Sees(b));
    Settle({&a});
    EXPECT_TRUE(a.Sees(b));
}

TEST_F(Announcements, ARefusedRouterIsTriedAgain) {
    a.Join();
    rig.Pass(1000);
    b.Join();
    rig.Pass(100);
    WireMessage add_router = a.Next();
    a.Acknowledge(add_router, 1);
    EXPECT_EQ(a.Next().seq, add_router.seq);  // at once: the edge's table has grown
    a.Apply(add_router);
    a.Acknowledge(add_router);
    Settle({&a});
    EXPECT_TRUE(a.Sees(b));
}

TEST_F(Announcements, AListThatWasLostOnItsWayIsMadeUpFor) {
    a.Join();
    rig.Pass(1000);
    b.Login();
    b.Dhcp();
    b.Exchange(14);  // the edge never sees the reply, and gives up
    b.Register();
    Settle({&a, &b});
    EXPECT_TRUE(b.Sees(a));
    c.Login();
    c.Dhcp();
    for (const WireRouter& router : c.GetRouters()) {  // this one it sees, but no device list
        c.Meet(router.identifier, router.port);
        c.GetDevices(router.identifier);
    }
    c.Register();
    Settle({&a, &b, &c});
    EXPECT_TRUE(c.Sees(a));
    EXPECT_TRUE(c.Sees(b));
}

TEST_F(Announcements, EveryPictureComesTrueUnderRandomLossAndDoubling) {
    std::mt19937 random(7);
    std::vector<std::unique_ptr<SimulatedEdge>> edges;
    for (uint16_t i = 0; i < 8; ++i) {
        edges.push_back(std::make_unique<SimulatedEdge>(rig, 3000 + i, 300u + i));
        edges.back()->Join();
    }
    std::vector<bool> here(8, true);
    for (int step = 0; step < 3000; ++step) {
        rig.Pass(100);
        size_t i = random() % 8;
        SimulatedEdge& edge = *edges[i];
        if (random() % 100 == 0) {
            rig.sent[edge.port].clear();
            if (here[i]) {
                edge.Leave();
            } else {
                edge.others.clear();
                edge.port = static_cast<uint16_t>(edge.port + 100);
                edge.identifier = kWireCentral;
                edge.Join();
            }
            here[i] = !here[i];
        }
        if (!here[i]) continue;
        if (step % 10 == 0) edge.HeartBeat();
        while (edge.HasMail()) {
            WireMessage message = edge.Next();
            if (message.type != 3) continue;
            bool lost = random() % 5 == 0;
            if (lost) continue;
            edge.Apply(message);
            if (random() % 10 == 0) {  // doubled on its way
                edge.Apply(message);
                edge.Acknowledge(message);
            }
            if (random() % 5 != 0) edge.Acknowledge(message);
        }
    }
    for (int round = 0; round < 100; ++round) {
        rig.Pass(100);
        for (size_t i = 0; i < 8; ++i) {
            if (!here[i]) continue;
            if (round % 10 == 0) edges[i]->HeartBeat();
            while (edges[i]->HasMail()) {
                WireMessage message = edges[i]->Next();
                if (message.type != 3) continue;
                edges[i]->Apply(message);
                edges[i]->Acknowledge(message);
            }
        }
    }
    for (size_t i = 0; i < 8; ++i) {
        for (size_t j = 0; j < 8; ++j) {
            if (i == j || !here[i]) continue;
            EXPECT_TRUE(here[j] ? edges[i]->Sees(*edges[j]) : edges[i]->SeesNothingOf(*edges[j]))
                << i << " of " << j;
        }
    }
}

}  // namespace
