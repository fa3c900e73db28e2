#include "sys/edge_snapshot.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "lab/wire/wire_message.h"
#include "sstp/p2p_connect.h"
#include "sys/edge_metrics.h"
#include "sys/edge_snapshot_json.h"

namespace {

CTEdgeSnapshot Sample() {
    CTEdgeSnapshot snapshot;
    snapshot.unix_ms = 1'760'000'000'250;
    snapshot.identity = {"qwop",
                         "edge-a",
                         "Tamvo",
                         1500,
                         1001,
                         0,
                         Ip(192, 168, 15, 11),
                         Ip(255, 255, 255, 0),
                         Ip(192, 168, 15, 5),
                         Ip(10, 77, 0, 254),
                         1922,
                         1000,
                         2000,
                         ""};
    snapshot.uptime_ms = 60'000;
    snapshot.joined_ms = 59'000;
    snapshot.heartbeats_unanswered = 1;
    snapshot.answered_ms = 1'500;
    snapshot.round_trip_us = 412;
    snapshot.other.sent = {1, 84};
    CTEdgePeerSnapshot on;
    on.slot = 1;
    on.identifier = 1;
    on.serial = 4294967291;
    pvu_text_field_set(on.label, "<script>\x1b[31m\"\\");
    on.remote_ip = Ip(10, 77, 0, 2);
    on.remote_port = 4001;
    on.state = CTP2PConnect::kOn;
    on.round_trip_us = 1234;
    on.answered_ms = 20;
    on.address_count = 2;
    on.addresses[0] = Ip(192, 168, 15, 12);
    on.addresses[1] = Ip(192, 168, 15, 13);
    on.traffic.sent = {2, 200};
    on.traffic.received = {3, 300};
    on.received_rate = {1.5, 150.25};
    CTEdgePeerSnapshot fresh;
    fresh.identifier = 2;
    fresh.slot = 2;
    snapshot.peers = {on, fresh};
    snapshot.counters = {{"messages sent", 7}};
    snapshot.drops = {{"not IPv4", 9}, {"strict source", 0}};
    snapshot.queues = {{"interface", 1, 64}};
    return snapshot;
}

TEST(EdgeSnapshot, IsTheDocumentedJson) {
    EXPECT_EQ(
        edge_snapshot_json(Sample()),
        R"({"schema":1,"program":"tamvo","version":"0.1.5","time":1760000000.250,)"
        R"("uptime_seconds":60.000,"state":"joined","join_fault":null,"subnet":"qwop","label":"edge-a","serial":1001,)"
        R"("identifier":0,"address":"192.168.15.11","netmask":"255.255.255.0",)"
        R"("gateway":"192.168.15.5","interface":"Tamvo","mtu":1500,"joined_seconds":59.000,)"
        R"("central_router":{"endpoint":"10.77.0.254:1922","state":"answers",)"
        R"("heartbeats_unanswered":1,"answered_seconds":1.500,"round_trip_ms":0.412,)"
        R"("sent":{"packets":1,"bytes":84,"packets_per_second":0.0,"bytes_per_second":0.0},)"
        R"("received":{"packets":0,"bytes":0,"packets_per_second":0.0,"bytes_per_second":0.0}},)"
        R"("sealed":null,"peers":[{"identifier":1,"serial":4294967291,"label":"<script>\u001b[31m\"\\",)"
        R"("addresses":["192.168.15.12","192.168.15.13"],"endpoint":"10.77.0.2:4001",)"
        R"("state":"on","round_trip_ms":1.234,"answered_seconds":0.020,)"
        R"("sent":{"packets":2,"bytes":200,"packets_per_second":0.0,"bytes_per_second":0.0},)"
        R"("received":{"packets":3,"bytes":300,"packets_per_second":1.5,)"
        R"("bytes_per_second":150.2}},)"
        R"({"identifier":2,"serial":0,"label":null,"addresses":[],"endpoint":null,"state":"off",)"
        R"("round_trip_ms":null,"answered_seconds":null,)"
        R"("sent":{"packets":0,"bytes":0,"packets_per_second":0.0,"bytes_per_second":0.0},)"
        R"("received":{"packets":0,"bytes":0,"packets_per_second":0.0,"bytes_per_second":0.0}}],)"
        R"("counters":{"messages sent":7},"drops":{"not IPv4":9,"strict source":0},)"
        R"("queues":{"interface":{"length":1,"most":64}}})");
    CTEdgeSnapshot silent = Sample();
    silent.heartbeats_unanswered = 2;
    EXPECT_NE(edge_snapshot_json(silent).find(R"("state":"silent")"), std::string::npos);
}

TEST(EdgeSnapshot, OfOneThatHasNotJoinedTellsWhyAndNoAddress) {
    CTEdgeSnapshot waits = Sample();
    waits.joined_ms = -1;
    waits.answered_ms = -1;
    waits.round_trip_us = -1;
    waits.peers.clear();
    waits.identity.join_fault = "login refused, error 1002";
    std::string json = edge_snapshot_json(waits);
    for (const char* part :
         {R"("state":"joining","join_fault":"login refused, error 1002","subnet":"qwop")",
          R"("identifier":null,"address":null,"netmask":null,"gateway":null,"interface":"Tamvo")",
          R"("joined_seconds":null,"central_router":{"endpoint":"10.77.0.254:1922",)"
          R"("state":"silent","heartbeats_unanswered":1,"answered_seconds":null,)"
          R"("round_trip_ms":null,)"}) {
        EXPECT_NE(json.find(part), std::string::npos) << part << "\n" << json;
    }
    std::string metrics = edge_metrics(waits);
    for (const char* sample : {R"(serial="1001",identifier="",address=""} 1)",
                               "tamvo_edge_joined{interface=\"Tamvo\"} 0",
                               "tamvo_edge_central_router_up{interface=\"Tamvo\"} 0"}) {
        EXPECT_NE(metrics.find(std::string(sample) + "\n"), std::string::npos) << metrics;
    }
    for (const char* none :
         {"tamvo_edge_session_seconds{", "answered_seconds{", "round_trip_seconds{"})
        EXPECT_EQ(metrics.find(none), std::string::npos) << none;
}

TEST(EdgeSnapshot, OfASealedEdgeTellsBothKeysAndWhetherThereIsAChannel) {
    CTEdgeSnapshot sealed = Sample();
    sealed.sealed = {"sha256:11", "", ""};
    EXPECT_NE(edge_snapshot_json(sealed).find(
                  R"("sealed":{"key":"sha256:11","central_router_key":null,"cipher":null})"),
              std::string::npos);
    EXPECT_NE(edge_metrics(sealed).find(R"(tamvo_edge_sealed{interface="Tamvo",key="sha256:11",)"
                                        R"(central_router_key="",cipher=""} 0)"),
              std::string::npos);
    sealed.sealed = {"sha256:11", "sha256:22", "AES-128-GCM"};
    EXPECT_NE(edge_snapshot_json(sealed).find(
                  R"("central_router_key":"sha256:22","cipher":"AES-128-GCM"})"),
              std::string::npos);
    EXPECT_NE(edge_metrics(sealed).find("cipher=\"AES-128-GCM\"} 1\n"), std::string::npos);
    EXPECT_EQ(edge_metrics(Sample()).find("tamvo_edge_sealed{"), std::string::npos);
}

TEST(EdgeMetrics, HaveEachFamilyOnceWithItsSamplesBehindIt) {
    std::string metrics = edge_metrics(Sample());
    std::istringstream lines(metrics);
    std::set<std::string> families;
    std::set<std::string> samples;
    std::string family;
    for (std::string line; std::getline(lines, line);) {
        for (char c : line)
            EXPECT_GE(static_cast<unsigned char>(c), 0x20u) << line;
        if (line.starts_with("# HELP ")) {
            family = line.substr(7, line.find(' ', 7) - 7);
            EXPECT_TRUE(families.insert(family).second) << line;
            continue;
        }
        if (line.starts_with("# TYPE ")) {
            bool counter = line == "# TYPE " + family + " counter";
            EXPECT_EQ(family.ends_with("_total"), counter) << line;
            continue;
        }
        EXPECT_TRUE(line.starts_with(family + "{interface=\"Tamvo\"")) << line;
        EXPECT_TRUE(samples.insert(line.substr(0, line.rfind(' '))).second) << line;
    }
    for (const char* sample :
         {R"(tamvo_edge_info{interface="Tamvo",version="0.1.5",subnet="qwop",label="edge-a",)"
          R"(serial="1001",identifier="0",address="192.168.15.11"} 1)",
          R"(tamvo_edge_central_router_up{interface="Tamvo"} 1)",
          R"(tamvo_edge_central_router_round_trip_seconds{interface="Tamvo"} 0.000412)",
          R"(tamvo_edge_peer_up{interface="Tamvo",identifier="1",serial="4294967291",)"
          R"(label="<script>\\x1b[31m\"\\x5c"} 1)",
          R"(tamvo_edge_peer_up{interface="Tamvo",identifier="2",serial="0",label=""} 0)",
          R"(tamvo_edge_peer_received_bytes_total{interface="Tamvo",identifier="1",)"
          R"(serial="4294967291",label="<script>\\x1b[31m\"\\x5c"} 300)",
          R"(tamvo_edge_dropped_total{interface="Tamvo",reason="not IPv4"} 9)",
          R"(tamvo_edge_queue_length{interface="Tamvo",queue="interface"} 1)"}) {
        EXPECT_NE(metrics.find(std::string(sample) + "\n"), std::string::npos) << sample << "\n"
                                                                               << metrics;
    }
    EXPECT_EQ(metrics.find("round_trip_seconds{interface=\"Tamvo\",identifier=\"2\""),
              std::string::npos)
        << "nothing was measured";
}

}  // namespace
