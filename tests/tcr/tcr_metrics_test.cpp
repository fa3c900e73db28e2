#include "tcr/tcr_metrics.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "tests/support/scratch_dir.h"

namespace {

// Two subnets whose names look the same, with an edge each, of the same serial number and label.
TcrSnapshot Hostile() {
    TcrSnapshot snapshot;
    snapshot.uptime_ms = 1500;
    snapshot.state_kept = true;
    snapshot.counters.received = 12;
    snapshot.counters.foreign = 3;
    for (int index : {0, 1}) {
        snapshot.subnets.push_back({.index = index,
                                    .name = index == 0 ? "n\xff" : "n\xfe",
                                    .first_edge = snapshot.edges.size(),
                                    .edge_count = 1});
        TcrSnapshotEdge& edge = snapshot.edges.emplace_back();
        edge.identifier = static_cast<uint32_t>(index) << 8;
        edge.serial = 7;
        edge.state = index == 0 ? TcrEdgeState::kJoined : TcrEdgeState::kSilent;
        edge.round_trip_us = index == 0 ? 412 : -1;
        edge.since_ms = 60'250;
        edge.from_edge.bytes = 18446744073709551615U;
        pvu_text_field_set(edge.label, "<script>\"\\\n\x1b[31m");
    }
    return snapshot;
}

bool HasPromtool() {
    return system("command -v promtool >/dev/null") == 0;
}

TEST(Metrics, TellOfEachEdgeAndSubnetWhateverTheirNames) {
    std::string text = tcr_metrics(Hostile());
    std::string labels =
        "{subnet=\"n\xEF\xBF\xBD\",identifier=\"0\",serial=\"7\","
        "label=\"<script>\\\"\\\\x5c\\\\x0a\\\\x1b[31m\"} ";
    for (const std::string& line :
         {std::string("tamvo_tcr_uptime_seconds 1.5\n"), std::string("tamvo_tcr_state_file_up 1\n"),
          std::string("tamvo_tcr_events_total{name=\"received\"} 12\n"),
          std::string("tamvo_tcr_dropped_total{reason=\"foreign\"} 3\n"),
          std::string(
              "tamvo_tcr_subnet_edges{index=\"1\",subnet=\"n\xEF\xBF\xBD\",state=\"silent\"} 1\n"),
          "tamvo_tcr_edge_up" + labels + "1\n", "tamvo_tcr_edge_state_seconds" + labels + "60.25\n",
          "tamvo_tcr_edge_round_trip_seconds" + labels + "0.000412\n",
          "tamvo_tcr_edge_from_bytes_total" + labels + "18446744073709551615\n"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
    }
    EXPECT_EQ(text.find("round_trip_seconds{subnet=\"n\xEF\xBF\xBD\",identifier=\"256\""),
              std::string::npos)
        << "not known is no sample";
}

TEST(Metrics, AreWhatPrometheusReads) {
    if (!HasPromtool()) GTEST_SKIP() << "no promtool (Debian: prometheus)";
    ScratchDir dir;
    for (const TcrSnapshot& snapshot : {Hostile(), TcrSnapshot()}) {
        WriteWholeFile(dir.File("metrics"), tcr_metrics(snapshot));
        std::string check = "promtool check metrics <" + dir.File("metrics");
        EXPECT_EQ(system(check.c_str()), 0);
    }
}

}  // namespace
