#include "tcr/traffic_history.h"

#include <gtest/gtest.h>

#include "ops/json_reply.h"
#include "tcr/traffic_history_json.h"

namespace {

using Sample = TcrTrafficHistory::Sample;

class TrafficHistory : public testing::Test {
  protected:
    // A subnet with that many edges, which have sent and got nothing.
    TrafficHistory() {
        AddSubnet(0, "one", 2);
        AddSubnet(3, "other", 1);
    }
    void AddSubnet(int index, const char* name, size_t edges) {
        snapshot.subnets.push_back({.index = index,
                                    .name = name,
                                    .first_edge = snapshot.edges.size(),
                                    .edge_count = edges});
        for (size_t i = 0; i < edges; ++i) {
            TcrSnapshotEdge& edge = snapshot.edges.emplace_back();
            edge.identifier = static_cast<uint32_t>(index) << 8 | static_cast<uint32_t>(i);
            edge.serial = 100 + edge.identifier;
            edge.state = TcrEdgeState::kJoined;
            edge.round_trip_us = -1;
        }
    }
    void Pass(int64_t ms) {
        snapshot.uptime_ms += ms;
        snapshot.unix_ms += ms;
        history.Add(snapshot);
    }
    static constexpr int64_t kStep = TcrTrafficHistory::kStepMs;

    TcrSnapshot snapshot;
    TcrTrafficHistory history;
};

TEST_F(TrafficHistory, HoldsRatesBetweenSamplesOfEdgesSubnetsAndAll) {
    EXPECT_TRUE(history.OfAll().empty());
    snapshot.edges[0].from_edge.bytes = 7'000'000;  // before anybody looked
    Pass(kStep);
    snapshot.edges[0].from_edge.bytes += 10'000;
    snapshot.edges[1].to_edge.bytes += 30'000;
    snapshot.edges[2].from_edge.bytes += 500;
    Pass(2 * kStep);

    auto all = history.OfAll();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_TRUE(std::isnan(all[0].from_edges)) << "nothing was counted between two samples yet";
    EXPECT_FLOAT_EQ(all[1].from_edges, 525);
    EXPECT_FLOAT_EQ(all[1].to_edges, 1500);
    EXPECT_FLOAT_EQ(history.OfSubnet(0)[1].from_edges, 500);
    EXPECT_FLOAT_EQ(history.OfSubnet(3)[1].from_edges, 25);
    EXPECT_FLOAT_EQ(history.OfEdge(1)[1].to_edges, 1500);
    EXPECT_TRUE(history.OfSubnet(1).empty());
    EXPECT_TRUE(history.OfEdge(2).empty());

    // Who came meanwhile has been counted from nothing.
    AddSubnet(4, "late", 1);
    snapshot.edges[3].from_edge.bytes = 2000;
    Pass(kStep);
    EXPECT_FLOAT_EQ(history.OfEdge(4 << 8)[2].from_edges, 200);
    EXPECT_FLOAT_EQ(history.OfAll()[2].from_edges, 200);
}

TEST_F(TrafficHistory, TellsTheMedianAndTheLongestRoundTripOfThoseThatAreJoined) {
    snapshot.edges[0].round_trip_us = 1500;
    snapshot.edges[1].round_trip_us = 90'000;
    snapshot.edges[1].state = TcrEdgeState::kSilent;  // that was long ago
    snapshot.edges[2].round_trip_us = 4000;
    Pass(kStep);
    EXPECT_FLOAT_EQ(history.OfSubnet(0)[0].round_trip, 1.5);
    EXPECT_FLOAT_EQ(history.OfAll()[0].longest_round_trip, 4);
    EXPECT_TRUE(std::isnan(history.OfEdge(1)[0].round_trip));
}

TEST_F(TrafficHistory, HoldsAnHourOldestFirst) {
    for (size_t i = 0; i < TcrTrafficHistory::kSamples + 5; ++i) {
        snapshot.edges[2].to_edge.bytes += i * 10;
        Pass(kStep);
    }
    auto samples = history.OfEdge(snapshot.edges[2].identifier);
    ASSERT_EQ(samples.size(), TcrTrafficHistory::kSamples);
    EXPECT_FLOAT_EQ(samples.front().to_edges, 5);
    EXPECT_FLOAT_EQ(samples.back().to_edges, TcrTrafficHistory::kSamples + 4);
}

TEST_F(TrafficHistory, BeginsAnewWithAnotherEdgeInTheSlotAndForgetsWhoIsGone) {
    snapshot.edges[0].from_edge.bytes = 1000;
    Pass(kStep);
    Pass(kStep);
    snapshot.edges[0].serial = 7;
    snapshot.edges[0].from_edge.bytes = 500'000;
    snapshot.edges[1].from_edge.bytes = 0;
    snapshot.subnets[1].name = "renamed";
    Pass(kStep);
    auto samples = history.OfEdge(0);
    EXPECT_TRUE(std::isnan(samples[1].from_edges)) << "another edge's";
    EXPECT_FLOAT_EQ(samples[2].from_edges, 50'000) << "all that it did since it has the slot";
    EXPECT_TRUE(std::isnan(history.OfSubnet(3)[1].from_edges)) << "another subnet's";

    snapshot.subnets.pop_back();
    snapshot.edges.pop_back();
    Pass(kStep);
    EXPECT_TRUE(history.OfEdge(3 << 8).empty());
    EXPECT_TRUE(history.OfSubnet(3).empty());
}

TEST_F(TrafficHistory, CountsThatFellAreNoTraffic) {
    snapshot.edges[0].from_edge.bytes = 1000;
    Pass(kStep);
    snapshot.edges[0].from_edge.bytes = 10;
    Pass(kStep);
    EXPECT_TRUE(std::isnan(history.OfEdge(0)[1].from_edges));
    EXPECT_FLOAT_EQ(history.OfAll()[1].from_edges, 0);
}

TEST_F(TrafficHistory, KeepsNoMoreEdgesThanItsBound) {
    snapshot = {};
    for (int index = 0; index < 300; ++index)
        AddSubnet(index, "many", 16);
    Pass(kStep);
    Pass(kStep);
    EXPECT_EQ(history.OfEdge(255 << 8 | 15).size(), 2u);
    EXPECT_TRUE(history.OfEdge(256 << 8).empty());
    EXPECT_EQ(history.OfSubnet(299).size(), 2u);
}

TEST_F(TrafficHistory, IsWrittenAsTheDocumentedJson) {
    TcrTrafficHistory::Samples samples = {{.round_trip = 0.4126F},
                                          {.from_edges = 12.34F, .to_edges = 0}};
    EXPECT_EQ(tcr_history_json(samples, 1'760'000'000'250),
              R"({"schema":1,"program":"tamvo-tcr","time":1760000000.250,"step_seconds":10.000,)"
              R"("from_edges_bytes_per_second":[null,12.3],"to_edges_bytes_per_second":[null,0.0],)"
              R"("round_trip_ms":[0.413,null],"longest_round_trip_ms":[null,null]})");
    CTJsonTree none(cJSON_Parse(tcr_history_json({}, 0).c_str()));
    EXPECT_TRUE(none);
}

}  // namespace
