#include <gmock/gmock.h>

#include <random>

#include "tests/support/captured_output.h"
#include "tests/tcr/simulated_edge.h"

namespace {

using namespace wire_sub;

class Announcements : public testing::Test {
  protected:
    // Those who have joined carry out what is announced until nothing more comes.
    void Settle() {
        for (int i = 0; i < 50; ++i) {
            rig.Pass(100);
            for (SimulatedEdge& edge : edges) {
                if (edge.joined) edge.Obey();
            }
        }
    }
    // Everybody who has joined knows exactly the others who have.
    void ExpectTrueTopologies() {
        for (const SimulatedEdge& edge : edges) {
            if (!edge.joined) continue;
            Topology truth;
            for (const SimulatedEdge& other : edges) {
                if (&other != &edge && other.joined)
                    truth[other.identifier] = {other.port, other.devices};
            }
            EXPECT_EQ(edge.others, truth) << edge.serial;
        }
    }
    // What is announced to a first when b has joined after it.
    WireMessage FirstAnnounced() {
        a.Join();
        rig.Pass(1000);
        b.Join();
        rig.Pass(600);
        WireMessage first = a.Next();
        EXPECT_TRUE(first.Is(3, kAddRouter));
        return first;
    }

    OutputCapture output;
    CentralRouterRig rig;
    std::deque<SimulatedEdge> edges{{rig, 1001, 0xA}, {rig, 1002, 0xB}, {rig, 1003, 0xC}};
    SimulatedEdge& a = edges[0];
    SimulatedEdge& b = edges[1];
    SimulatedEdge& c = edges[2];
};

TEST_F(Announcements, NobodyIsSentAnythingBeforeItHasJoined) {
    a.Join();
    rig.Pass(600);
    b.Login();
    b.FetchOthers();
    c.Join();  // in between
    Settle();
    EXPECT_FALSE(b.HasMail());
    b.Register();
    rig.Pass(400);
    EXPECT_FALSE(b.HasMail());  // it may still wait for its last reply
    rig.Receive(b.port, b.last);
    EXPECT_TRUE(b.Next().Is(4, wire_sub::kAddDevice));
    rig.Pass(400);
    EXPECT_FALSE(b.HasMail());  // and once more
    Settle();
    ExpectTrueTopologies();
}

// Each of those who know an edge greets it with a heartbeat, and three of those end a join.
TEST_F(Announcements, NobodyIsToldOfAnEdgeBeforeItHasJoined) {
    a.Join();
    rig.Pass(600);
    b.Join();
    rig.Pass(400);
    c.Login();
    EXPECT_EQ(c.GetRouters().size(), 1u);
    EXPECT_TRUE(c.GetDevices(b.identifier).empty());
    EXPECT_FALSE(a.HasMail());
    b.HeartBeat();
    EXPECT_TRUE(a.HasMail()) << "at once: a could not answer b's packets";
    EXPECT_EQ(c.GetRouters().size(), 2u);
    Settle();
    ExpectTrueTopologies();
}

TEST_F(Announcements, SilenceIsAnOutageNotAnEnd) {
    for (SimulatedEdge& edge : edges)
        edge.Join();
    Settle();
    c.joined = false;
    for (int s = 0; s < 60; ++s) {
        rig.Pass(1000);
        a.HeartBeat();
        b.HeartBeat();
    }
    Settle();
    ExpectTrueTopologies();
    EXPECT_THAT(rig.lines, testing::Contains("edge 0x00000002 timed out, not heard of for 60 s"));
    b.Leave();
    c.HeartBeat();
    EXPECT_EQ(c.Next().body, Hex("11223344"));
    c.joined = true;
    Settle();
    ExpectTrueTopologies();
}

TEST_F(Announcements, EachIsRepeatedThreeTimesThenTheEdgeIsLeftAloneUntilItsHeartbeat) {
    WireMessage first = FirstAnnounced();
    EXPECT_NE(first.seq, 0);
    WireMessage other = first;
    ++other.seq;
    a.Acknowledge(other);  // acknowledges nothing
    rig.Pass(10000);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(a.Next().Encode(), first.Encode());
    EXPECT_FALSE(a.HasMail());
    a.HeartBeat();
    Settle();
    ExpectTrueTopologies();
}

TEST_F(Announcements, ARefusedRouterIsToldAgainAtOnceAndOneTakenTwiceGetsItsDevicesAgain) {
    WireMessage first = FirstAnnounced();
    a.Acknowledge(first, 1);
    EXPECT_EQ(a.Next().seq, first.seq);  // the edge's table has grown
    a.Apply(first);
    a.Acknowledge(first);
    EXPECT_TRUE(a.HasMail()) << "the devices follow at once";
    Settle();
    ExpectTrueTopologies();
    a.Apply(first);  // a late copy: a fresh router, no devices
    a.Acknowledge(first);
    Settle();
    ExpectTrueTopologies();
}

// Nobody says anything, and yet an address that was lost comes back.
TEST_F(Announcements, OnceInFiveMinutesEachRoutersDevicesAreAnnouncedAtMomentsOfTheirOwn) {
    for (SimulatedEdge& edge : edges)
        edge.Join();
    Settle();
    std::map<std::pair<uint32_t, uint32_t>, std::vector<TcrTime>> moments;
    for (TcrTime end = rig.now + 600'000; rig.now < end;) {
        rig.Pass(100);
        for (SimulatedEdge& edge : edges) {
            if (rig.now % 20'000 < 100) edge.HeartBeat();
            for (WireMessage message = edge.Next(); message.type != 0; message = edge.Next()) {
                if (message.type != 3) continue;
                EXPECT_EQ(message.sub, kAddDevice);
                auto add = ExpectBody<WireDeviceAdd>(message);
                moments[{edge.identifier, add.identifier}].push_back(rig.now);
                edge.others[add.identifier].second.clear();  // as if they had been lost
                edge.Apply(message);
                edge.Acknowledge(message);
            }
        }
    }
    ASSERT_EQ(moments.size(), 6u);
    std::set<TcrTime> seconds;
    for (const auto& [who, times] : moments) {
        ASSERT_EQ(times.size(), 2u);
        EXPECT_NEAR(static_cast<double>(times[1] - times[0]), 300'000, 200);
        seconds.insert(times[0] / 1000);
    }
    EXPECT_EQ(seconds.size(), 6u);
    ExpectTrueTopologies();
}

// Eight edges join, leave, end, come back elsewhere, take their devices away and bring them back,
// in any order, while their messages get lost and doubled; in the end the road is good again.
TEST_F(Announcements, EveryTopologyComesTrueAfterAnyCourseOnABadRoad) {
    std::mt19937 random(7);
    auto one_in = [&](unsigned n) { return random() % n == 0; };
    for (uint16_t i = 3; i < 8; ++i)
        edges.push_back({rig, static_cast<uint16_t>(1001 + i), 0xAu + i});
    std::map<SimulatedEdge*, int> steps;
    auto go_on_joining = [&](SimulatedEdge& edge) {
        EXPECT_FALSE(edge.HasMail());
        switch (steps[&edge]++ % 3) {
            case 0:
                return edge.Login();
            case 1:
                if (one_in(2)) return edge.FetchOthers();
                edge.Ask(kGetRouter);
                edge.Next();            // it never saw the list
                if (one_in(2)) return;  // or this one, but no devices
                for (const WireRouter& router : edge.GetRouters())
                    edge.others[router.identifier].first = router.port;
                return;
            default:
                return edge.Register();
        }
    };
    auto read_mail = [&](SimulatedEdge& edge) {
        if (one_in(4)) edge.HeartBeat();
        while (edge.HasMail()) {
            WireMessage message = edge.Next();
            if (message.type != 3 || one_in(5)) continue;
            bool refused = message.sub == kAddRouter && one_in(10);
            for (int copies = one_in(10) ? 2 : 1; copies > 0; --copies) {
                if (!refused) edge.Apply(message);
                if (!one_in(5)) edge.Acknowledge(message, refused);
            }
        }
    };
    auto change = [&](SimulatedEdge& edge) {
        if (one_in(20)) {
            if (edge.devices.empty()) {
                edge.AddDevice(edge.ip);
                edge.devices = {edge.ip};
            } else {
                edge.DelDevices();
            }
        }
        if (!one_in(40)) return;
        if (one_in(2)) edge.Leave();
        edge.joined = false;
        edge.identifier = kWireCentral;
        edge.port = static_cast<uint16_t>(edge.port + 100);
    };
    for (int step = 0; step < 3000; ++step) {
        rig.Pass(100);
        SimulatedEdge& edge = edges[random() % edges.size()];
        if (!edge.joined) {
            go_on_joining(edge);
        } else {
            read_mail(edge);
            change(edge);
        }
    }
    for (int s = 0; s < 70; s += 5) {  // those that are still joining are given up
        for (SimulatedEdge& edge : edges) {
            if (edge.joined) edge.HeartBeat();
        }
        Settle();
    }
    ExpectTrueTopologies();
}

}  // namespace
