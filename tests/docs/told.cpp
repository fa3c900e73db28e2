#include "tests/docs/told.h"

#include <gtest/gtest.h>

#include <memory>

#include "sstp/p2p_connect.h"
#include "sys/edge_metrics.h"
#include "sys/tsdw_sys.h"
#include "tcr/tcr_metrics.h"
#include "tests/support/captured_output.h"
#include "tests/support/scratch_dir.h"
#include "tests/tcr/simulated_edge.h"

CTEdgeSnapshot ToldByEdge() {
    auto sys = std::make_unique<CTsdwSys>();
    CTEdgeSnapshot snapshot;
    sys->TakeSnapshot(snapshot);  // with the names of all that is counted
    snapshot.identity.subnet = "qwop";
    snapshot.identity.label = "edge-a";
    snapshot.identity.interface = "Tamvo";
    snapshot.joined_ms = 1000;
    snapshot.answered_ms = 1000;
    snapshot.round_trip_us = 400;
    CTEdgePeerSnapshot& peer = snapshot.peers.emplace_back();
    pvu_text_field_set(peer.label, "edge-b");
    peer.remote_ip = Ip(10, 77, 0, 2);
    peer.remote_port = 40001;
    peer.state = CTP2PConnect::kOn;
    peer.round_trip_us = 400;
    peer.answered_ms = 1000;
    peer.addresses[peer.address_count++] = Ip(192, 168, 15, 12);
    snapshot.sealed = {CTSealFingerprint().Text(), CTSealFingerprint().Text(), "AES-128-GCM"};
    return snapshot;
}

TcrSnapshot ToldByCentralRouter() {
    OutputCapture output;
    CentralRouterRig rig;
    SimulatedEdge edge{rig, 1001, 0xA};
    edge.Join();
    rig.Pass(600);
    TcrSnapshot snapshot;
    rig.router->TakeSnapshot(rig.now, snapshot);
    snapshot.edges.at(0).round_trip_us = 400;
    snapshot.edges.at(0).is_sealed = true;
    snapshot.edges.at(0).key.emplace();
    snapshot.sealed.emplace();
    snapshot.state_kept = true;
    return snapshot;
}

std::string ToldMetrics() {
    return edge_metrics(ToldByEdge()) + tcr_metrics(ToldByCentralRouter());
}

std::string SourceFile(const std::string& name) {
    std::string content = ReadWholeFile(TAMVO_SOURCE "/" + name);
    EXPECT_FALSE(content.empty()) << name;
    return content;
}

std::string Section(const std::string& document, const std::string& heading) {
    size_t begin = document.find("\n" + heading + "\n");
    if (begin == std::string::npos) {
        ADD_FAILURE() << "no heading " << heading;
        return "";
    }
    std::string rest = document.substr(begin + heading.size() + 1);
    size_t end = rest.size();
    for (size_t depth = heading.find(' '); depth > 1; --depth)
        end = std::min(end, rest.find("\n" + std::string(depth, '#') + " "));
    return rest.substr(0, end);
}

CTJsonTree JsonBlock(const std::string& section) {
    constexpr char kBegin[] = "```json\n";
    size_t begin = section.find(kBegin);
    size_t end = section.find("\n```\n", begin);
    CTJsonTree tree;
    if (end != std::string::npos) {
        begin += sizeof kBegin - 1;
        tree.reset(cJSON_ParseWithLength(&section[begin], end - begin));
    }
    EXPECT_TRUE(tree) << section.substr(0, 200);
    return tree;
}
