#include "ctl/show_status.h"

#include <gtest/gtest.h>

#include <clocale>

#include "ops/json_reply.h"

namespace {

std::string Shown(const std::string& json, std::string (*show)(const cJSON*, bool),
                  bool colour = false) {
    CTJsonTree tree(cJSON_Parse(json.c_str()));
    EXPECT_TRUE(tree) << json;
    return show(tree.get(), colour);
}

constexpr char kEdge[] = R"({"schema":1,"program":"tamvo","version":"0.1.5","uptime_seconds":3725,
    "subnet":"qwop","label":"edge-a","serial":1001,"identifier":0,"address":"192.168.15.11",
    "netmask":"255.255.255.0","gateway":"192.168.15.5","interface":"Tamvo","mtu":1500,
    "joined_seconds":12.5,
    "central_router":{"endpoint":"10.77.0.254:1922","state":"silent","answered_seconds":7.25,
                      "round_trip_ms":0.412},
    "peers":[
      {"identifier":1,"serial":1002,"label":"\u001b[31mred","addresses":["192.168.15.12","10.0.0.1"],
       "endpoint":"10.77.0.2:4001","state":"on","round_trip_ms":12.34,
       "sent":{"packets":2000,"bytes":168000,"bytes_per_second":840},
       "received":{"packets":1,"bytes":84,"bytes_per_second":0}},
      {"identifier":2,"label":null,"addresses":[],"endpoint":null,"state":"off",
       "round_trip_ms":null}],
    "drops":{"not IPv4":12,"strict source":0,"unknown destination":3}})";

TEST(ShowStatus, OfAnEdge) {
    EXPECT_EQ(Shown(kEdge, ctl_show_status), R"(edge-a: tamvo 0.1.5, up 1h 02m
  address         192.168.15.11/24, gateway 192.168.15.5, subnet qwop
  identifier      0x00000000, serial 1001
  interface       Tamvo, MTU 1500
  central router  10.77.0.254:1922, silent, round trip 0.41 ms, last answer 7.2 s ago
  joined          12 s ago

  Peer         Address                 Endpoint        State  Round trip  Sent    bytes     rate  Received  bytes   rate
  \x1b[31mred  192.168.15.12 10.0.0.1  10.77.0.2:4001  on        12.3 ms  2000  164 KiB  840 B/s         1   84 B  0 B/s
  -            -                       -               off             -     -        -        -         -      -      -

Dropped
  12  not IPv4
   3  unknown destination
)");
    std::string coloured = Shown(kEdge, ctl_show_status, true);
    EXPECT_NE(coloured.find("\x1b[32mon\x1b[0m"), std::string::npos);
    EXPECT_NE(coloured.find("\\x1b[31mred"), std::string::npos) << "the label's is no colour";
}

TEST(ShowStatus, OfAnEdgeThatHasNotJoinedOrCannotJoinAgain) {
    EXPECT_EQ(Shown(R"({"program":"tamvo","version":"0.1.5","uptime_seconds":12,"state":"joining",
        "join_fault":"login refused, error 1002","subnet":"qwop","label":"edge-a","serial":1001,
        "identifier":null,"address":null,"netmask":null,"gateway":null,"interface":"Tamvo",
        "mtu":1500,"joined_seconds":null,"central_router":{"endpoint":"10.77.0.254:1922",
        "state":"silent","answered_seconds":null,"round_trip_ms":null},"peers":[],"drops":{}})",
                    ctl_show_status),
              R"(edge-a: tamvo 0.1.5, up 12 s
  address         -, subnet qwop
  identifier      -, serial 1001
  interface       Tamvo, MTU 1500
  central router  10.77.0.254:1922, silent, round trip -, last answer -
  joined          -, last attempt: login refused, error 1002

  Peer  Address  Endpoint  State  Round trip  Sent  bytes  rate  Received  bytes  rate

Dropped
  nothing
)");
    EXPECT_NE(Shown(R"({"program":"tamvo","joined_seconds":60,"join_fault":"echo timed out"})",
                    ctl_show_status)
                  .find("\n  joined          1m 00s ago, last attempt: echo timed out\n"),
              std::string::npos);
}

TEST(ShowStatus, OfACentralRouter) {
    EXPECT_EQ(Shown(R"({"program":"tamvo-tcr","version":"0.1.5","uptime_seconds":59,
        "state_file":"written","counters":{"received":5120,"relayed":4000,"answered":1100,"pings":4},
        "drops":{"malformed":0},
        "subnets":[{"index":0,"name":"qwop","gateway":"192.168.15.5","netmask":"255.255.255.0",
          "slots":16,"edges":[{"serial":4294967291,"label":"edge-a","state":"joined",
          "since_seconds":3590,"heard_seconds":0.4,"endpoint":"10.77.0.1:40000",
          "lease":"192.168.15.11","round_trip_ms":0.4,
          "from_edge":{"packets":18446744073709551615,"bytes":168000,"bytes_per_second":840},
          "to_edge":{"packets":0,"bytes":0,"bytes_per_second":0}}]},
          {"index":1,"name":"empty","gateway":"10.0.0.1","netmask":"255.0.255.0","slots":16,
           "edges":[]}]})",
                    ctl_show_status),
              R"(tamvo-tcr 0.1.5, up 59 s
  state file  written
  received    5120, relayed 4000, answered 1100, pings 4

Subnet 0 "qwop", gateway 192.168.15.5/24, 1 of 16 slots taken
  Edge        Serial  State     Since  Heard  Endpoint         Lease          Round trip               From it    bytes     rate  To it  bytes   rate
  edge-a  4294967291  joined  59m 50s  0.4 s  10.77.0.1:40000  192.168.15.11     0.40 ms  18446744073709551616  164 KiB  840 B/s      0    0 B  0 B/s

Subnet 1 "empty", gateway 10.0.0.1 255.0.255.0, 0 of 16 slots taken
  Edge  Serial  State  Since  Heard  Endpoint  Lease  Round trip  From it  bytes  rate  To it  bytes  rate

Dropped
  nothing
)");
}

TEST(ShowStatus, OfSealedChannelsOnlyWhereThereAreAny) {
    std::string edge = kEdge;
    edge.insert(edge.find("\"peers\""),
                R"("sealed":{"key":"sha256:11","central_router_key":null,"cipher":null},)");
    EXPECT_NE(Shown(edge, ctl_show_status)
                  .find("\n  sealed          -, central router -, own key sha256:11\n"),
              std::string::npos);
    constexpr char kRouter[] = R"({"program":"tamvo-tcr",%s"subnets":[{"index":0,"edges":[
        {"label":"edge-a","sealed":true},{"label":"edge-b","sealed":false}]}]})";
    constexpr char kSealed[] = R"("sealed":{"key":"sha256:22","channels":1,"strangers":2,
        "counters":{"handshakes":3,"records not opened":4,"bad":"x"}},)";
    std::string router = kRouter;
    std::string sealed = router.replace(router.find("%s"), 2, kSealed);
    std::string shown = Shown(sealed, ctl_show_status);
    for (const char* line : {"\n  sealed      key sha256:22, channels 1, strangers 2\n",
                             "\n              handshakes 3, records not opened 4\n",
                             "Endpoint  Sealed  Lease", "  edge-b       -", " no  "}) {
        EXPECT_NE(shown.find(line), std::string::npos) << line << "\n" << shown;
    }
    router = kRouter;
    shown = Shown(router.replace(router.find("%s"), 2, R"("sealed":null,)"), ctl_show_status);
    EXPECT_EQ(shown.find("ealed"), std::string::npos) << shown;
}

TEST(ShowStatus, OfSubnetsAndOfWhatWasRemoved) {
    EXPECT_EQ(Shown(R"({"subnets":[{"index":0,"name":"q\u0007","gateway":"10.0.0.1",
                        "netmask":"255.0.0.0","slots":16,"limited":true,"joined":3,"joining":0,
                        "silent":1,"away":0}]})",
                    ctl_show_subnets),
              R"(  Index  Subnet  Gateway   Netmask    Joined  Joining  Silent  Away  Slots  Lets in
      0  q\x07   10.0.0.1  255.0.0.0       3        0       1     0     16  those listed
)");
    CTJsonTree removed(cJSON_Parse(
        R"({"removed":[{"identifier":259,"subnet":"q\nw","label":null},{"subnet":"x"}]})"));
    EXPECT_EQ(ctl_show_removed(removed.get()),
              "removed 0x00000103 \"-\" of subnet \"q\\x0aw\"\n"
              "removed - \"-\" of subnet \"x\"\n");
}

// Whatever claims to be a status is shown as far as it goes.
TEST(ShowStatus, OfAnythingElse) {
    for (const char* json :
         {"{}", "[]", "5", R"({"program":"tamvo"})", R"({"program":7,"subnets":7,"drops":[1,"x"]})",
          R"({"program":"tamvo","peers":[1,null,{"addresses":{"a":1},"sent":[],"label":[]}],
              "central_router":"x","uptime_seconds":"x","identifier":1e300,"drops":{"":1e300}})",
          R"({"subnets":[null,{"edges":[7,{"from_edge":{"bytes":-1e308,"packets":1e308}}],
              "netmask":"255.255.255.255"}]})"}) {
        for (auto show : {ctl_show_status, ctl_show_subnets}) {
            for (char c : Shown(json, show, false))
                EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= ' ') << json;
        }
    }
    EXPECT_NE(ctl_show_status(nullptr, false), "");
}

}  // namespace
