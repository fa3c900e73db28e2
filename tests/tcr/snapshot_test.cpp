#include "tcr/snapshot.h"

#include <gtest/gtest.h>

#include "tcr/snapshot_json.h"
#include "tests/support/captured_output.h"
#include "tests/support/packet_end.h"
#include "tests/tcr/simulated_edge.h"

namespace {

// A central router whose microseconds are the test's milliseconds.
struct SnapshotRig : CentralRouterRig {
    using CentralRouterRig::CentralRouterRig;
    int64_t Micros() const override { return now * 1000; }

    TcrSnapshot Take() {
        TcrSnapshot snapshot;
        router->TakeSnapshot(now, snapshot);
        return snapshot;
    }
};

class Snapshot : public testing::Test {
  protected:
    void JoinBoth() {
        a.Join();
        b.Join();
        rig.Pass(600);
        a.Obey();
        b.Obey();
    }
    void SendPacket(const SimulatedEdge& from, uint32_t dst, size_t size, uint8_t total = 0,
                    uint8_t index = 0) {
        WireMessage packet{.type = 5, .seq = ++seq, .src = from.identifier, .dst = dst};
        packet.frame_total = total;
        packet.frame_index = index;
        packet.body = WireBytes(size, 7);
        rig.Receive(from.port, packet);
    }

    OutputCapture output;
    SnapshotRig rig;
    SimulatedEdge a{rig, 1001, 0xA};
    SimulatedEdge b{rig, 1002, 0xB};
    uint16_t seq = 0;
};

TEST_F(Snapshot, FollowsAnEdgeFromItsLoginToItsEnd) {
    EXPECT_TRUE(rig.Take().edges.empty());
    a.Login();
    TcrSnapshot joining = rig.Take();
    ASSERT_EQ(joining.edges.size(), 1u);
    EXPECT_EQ(joining.edges[0].state, TcrEdgeState::kJoining);
    EXPECT_STREQ(joining.edges[0].label, "");
    EXPECT_EQ(joining.edges[0].lease, a.ip);
    EXPECT_EQ(joining.edges[0].round_trip_us, -1);

    rig.Pass(2000);
    a.Register();
    rig.Pass(1000);
    rig.now += 50;
    a.HeartBeat();
    rig.now += 20;
    TcrSnapshotEdge joined = rig.Take().edges.at(0);
    EXPECT_EQ(joined.state, TcrEdgeState::kJoined);
    EXPECT_STREQ(joined.label, "edge 10");
    EXPECT_EQ(joined.serial, 0xAu);
    EXPECT_EQ(joined.remote_ip, Ip(10, 0, 0, 1));
    EXPECT_EQ(joined.remote_port, 1001);
    EXPECT_EQ(joined.heard_ms, 20);
    EXPECT_EQ(joined.since_ms, 570) << "its join was over half a second after the last reply";
    ASSERT_EQ(joined.device_count, 1);
    EXPECT_EQ(joined.devices[0].ip, a.ip);
    EXPECT_EQ(joined.devices[0].status, kDeviceStatusOn);

    rig.Pass(61000);
    EXPECT_EQ(rig.Take().edges.at(0).state, TcrEdgeState::kSilent);
    a.HeartBeat();
    a.Obey();
    EXPECT_EQ(rig.Take().edges.at(0).state, TcrEdgeState::kJoined);
    rig.sent.clear();
    a.Leave();
    rig.now += 5000;
    TcrSnapshotEdge away = rig.Take().edges.at(0);
    EXPECT_EQ(away.state, TcrEdgeState::kAway);
    EXPECT_EQ(away.since_ms, 5000);
    EXPECT_EQ(away.lease, a.ip);
    EXPECT_EQ(away.devices[0].status, kDeviceStatusOff);
}

TEST_F(Snapshot, MeasuresTheRoundTripOfAnAnnouncementThatWasSentOnce) {
    a.Join();
    rig.Pass(600);
    b.Join();
    b.HeartBeat();  // shows that its join is over: it is announced at once
    rig.now += 30;
    a.Acknowledge(a.Next());
    EXPECT_EQ(rig.Take().edges.at(0).round_trip_us, 30'000);

    a.Obey();
    rig.sent.clear();
    b.Leave();
    rig.Pass(700);  // what takes b back is sent twice
    a.Obey();
    EXPECT_TRUE(a.others.empty());
    EXPECT_EQ(rig.Take().edges.at(0).round_trip_us, 0) << "which of the two was acknowledged?";
}

TEST_F(Snapshot, CountsPacketsAsTheHostsSeeThemAndKnowsTheRateOfTheLastSeconds) {
    JoinBoth();
    rig.Pass(1000);
    SendPacket(a, b.identifier, 100);
    SendPacket(a, b.identifier, 116, 2, 1);  // the fragments of one packet
    SendPacket(a, b.identifier, 1384, 2, 0);
    SendPacket(a, 9, 50);  // for nobody
    WireMessage ping{.type = 5, .seq = ++seq, .src = a.identifier, .dst = kWireCentral};
    ping.body = PingPacket(a.ip, Ip(192, 168, 15, 5), 56);
    rig.Receive(a.port, ping);
    TcrSnapshot snapshot = rig.Take();
    EXPECT_EQ(snapshot.edges[0].from_edge.packets, 4u);
    EXPECT_EQ(snapshot.edges[0].from_edge.bytes, 100u + 1500 + 50 + 84);
    EXPECT_EQ(snapshot.edges[0].to_edge.packets, 1u);
    EXPECT_EQ(snapshot.edges[0].to_edge.bytes, 84u);
    EXPECT_EQ(snapshot.edges[1].from_edge.packets, 0u);
    EXPECT_EQ(snapshot.edges[1].to_edge.packets, 2u);
    EXPECT_EQ(snapshot.edges[1].to_edge.bytes, 1600u);

    rig.Pass(2000);
    double rate = rig.Take().edges[1].to_rate.bytes_per_second;
    EXPECT_GT(rate, 1600 / 5.0);
    EXPECT_LT(rate, 1600.0);
    rig.Pass(7000);
    EXPECT_EQ(rig.Take().edges[1].to_rate.bytes_per_second, 0);

    rig.sent.clear();
    b.Leave();
    b.Join();
    EXPECT_EQ(rig.Take().edges[1].to_edge.packets, 2u) << "a login does not begin the counts anew";
}

TEST_F(Snapshot, TellsItAsTheDocumentedJson) {
    JoinBoth();
    SendPacket(a, b.identifier, 100);
    TcrSnapshot snapshot = rig.Take();
    snapshot.unix_ms = 1'760'000'000'250;
    snapshot.uptime_ms = 12'345;
    snapshot.edges[1].is_sealed = true;
    snapshot.edges[1].key.emplace();
    pvu_text_field_set(snapshot.edges[1].label, "\x1b[31m\"<b>\xff\xc3\xa9");
    snapshot.edges[1].from_edge.bytes = 18446744073709551615u;
    std::string json = tcr_snapshot_json(snapshot);
    for (const char* part :
         {R"({"schema":1,"program":"tamvo-tcr","version":"0.1.5","time":1760000000.250,)",
          R"("uptime_seconds":12.345,"state_file":"none","counters":{"received":)",
          R"("drops":{"malformed":0,"foreign":0,)", R"("logins not looked at":0,)",
          R"("replies without state":0},"sealed":null,)", R"("sealed":false,"key":null,"devices":)",
          R"("sealed":true,"key":"sha256:00000000)",
          R"("subnets":[{"index":0,"name":"qwop","gateway":"192.168.15.5",)",
          R"("netmask":"255.255.255.0","slots":16,"limited":false,"edges":[{"identifier":0,)",
          R"("serial":10,"label":"edge 10","state":"joined","since_seconds":0.)",
          R"("endpoint":"10.0.0.1:1001","lease":"192.168.15.)",
          R"("mac":"02:00:00:00:00:0A","state":"on"}],"round_trip_ms":)",
          R"("from_edge":{"packets":1,"bytes":100,"packets_per_second":)",
          R"("label":"\u001b[31m\"<b>)"
          "\xEF\xBF\xBD\xC3\xA9\"",
          R"("bytes":18446744073709551615,)"}) {
        EXPECT_NE(json.find(part), std::string::npos) << part << "\n" << json;
    }
    snapshot.sealed.emplace();
    snapshot.sealed->channels = 2;
    snapshot.sealed->strangers = 1;
    snapshot.sealed->counters.unopened = 7;
    EXPECT_NE(tcr_snapshot_json(snapshot).find(
                  R"(","channels":2,"strangers":1,"counters":{"handshakes":0,)"
                  R"("handshakes failed":0,"handshakes refused":0,"records not opened":7}})"),
              std::string::npos);
    CTJsonTree parsed(cJSON_Parse(json.c_str()));
    EXPECT_TRUE(parsed) << json;
    std::string subnets = control_print(tcr_subnets_tree(snapshot).get());
    EXPECT_NE(subnets.find(R"("limited":false,"joined":2,"joining":0,"silent":0,"away":0}])"),
              std::string::npos)
        << subnets;
}

}  // namespace
