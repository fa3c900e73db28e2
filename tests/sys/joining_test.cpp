#include <gtest/gtest.h>

#include "tests/support/captured_output.h"
#include "tests/support/scripted_router.h"
#include "tests/support/whole_edge.h"

namespace {

// What is learnt differs from every default, and from what the file says. No thread runs between a
// successful Init and DeInit.
TEST(Joining, WhatIsLearntCountsAndNotTheFile) {
    ScriptedRouter router;
    router.AddRouter(1, 0x2001, 4001);
    router.AnswerWith(5, Hex("00000000 C0A80F01 FFFF0000 C0A80F39"));
    router.AnswerWith(18, Hex("0000 0003 C0A80F15 020000000002"));
    WholeEdge edge(router.Port());
    edge.sys.GetAdapter().Adopt(edge.host.TakeOther());
    std::string config = ReadWholeFile(edge.ConfigPath());
    config.insert(config.find("\"label\""), R"("type": "TAP", "layer": "L4", )");
    WriteWholeFile(edge.ConfigPath(), config);
    std::string printed = CapturedOutput([&] {
        EXPECT_TRUE(edge.sys.Init());
        edge.sys.DeInit();
    });
    CTSdwanRouter* other = edge.sys.GetExternalSubnet().GetRouterList().At(1);
    EXPECT_EQ(other->GetStatus(), 1);
    EXPECT_EQ(other->GetType(), 2);
    EXPECT_EQ(other->GetNetLayer(), 3);
    for (const std::string& part :
         {"edge: ident=0x00000002, index=2, sn=0x00001001, sstp: 127.0.0.1:" +
              std::to_string(router.Port()) +
              "\n        1. 192.168.15.57, 02:00:00:00:00:01, on(1), ipv4(1)\n",
          std::string("qwop net: index=0, gw=192.168.15.1, mask=255.255.0.0, router count=2\n"
                      "    1. NULL\n"
                      "    2. : ident=0x00000001, index=1, sn=0x00002001, sstp: 127.0.0.1:4001\n"
                      "        1. 192.168.15.21, 02:00:00:00:00:02, off(0), echo(3)\n"),
          std::string(" label: edge\n Serial Number: 0x00001001\n type: 2\n layer:  3\n")})
        EXPECT_NE(printed.find(part), std::string::npos) << part;
}

}  // namespace
