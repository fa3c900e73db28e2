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

TcrSnapshot Sealed() {
    TcrSnapshot snapshot = Hostile();
    snapshot.edges[1].is_sealed = true;
    snapshot.sealed.emplace();
    snapshot.sealed->channels = 1;
    snapshot.sealed->strangers = 2;
    snapshot.sealed->counters.refused = 3;
    return snapshot;
}

TEST(Metrics, TellOfSealedChannelsWhereThereAreAny) {
    std::string text = tcr_metrics(Sealed());
    for (const std::string& line :
         {"tamvo_tcr_sealed_info{key=\"sha256:" + std::string(64, '0') + "\"} 1\n",
          std::string("tamvo_tcr_sealed_channels{of=\"edges\"} 1\n"),
          std::string("tamvo_tcr_sealed_channels{of=\"strangers\"} 2\n"),
          std::string("tamvo_tcr_sealed_events_total{name=\"handshakes refused\"} 3\n")}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
    }
    std::string of_edges = text.substr(text.find("# TYPE tamvo_tcr_edge_sealed "));
    EXPECT_LT(of_edges.find("identifier=\"0\",serial=\"7\","), of_edges.find("} 0\n"));
    EXPECT_LT(of_edges.find("} 0\n"), of_edges.find("} 1\n")) << "the second one is sealed";
    EXPECT_EQ(tcr_metrics(Hostile()).find("tamvo_tcr_sealed"), std::string::npos);
}

TEST(Metrics, AreWhatPrometheusReads) {
    if (!HasPromtool()) GTEST_SKIP() << "no promtool (Debian: prometheus)";
    ScratchDir dir;
    for (const TcrSnapshot& snapshot : {Hostile(), Sealed(), TcrSnapshot()}) {
        WriteWholeFile(dir.File("metrics"), tcr_metrics(snapshot));
        std::string check = "promtool check metrics <" + dir.File("metrics");
        EXPECT_EQ(system(check.c_str()), 0);
    }
}

}  // namespace
