// A label comes from whoever joins: what it holds does nothing where the central router shows it.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/event_capture.h"
#include "tests/tcr/simulated_edge.h"

namespace {

bool IsHarmless(const std::string& line) {
    return std::ranges::all_of(
               line, [](char c) { return static_cast<unsigned char>(c) >= ' ' && c != '\x7F'; }) &&
           line.find("\xC2\x9B") == std::string::npos;
}

TEST(HostileLabel, IsOneFieldOfOneLineInTheSystemsLogAndInThePrintedLines) {
    EventCapture events;
    CentralRouterRig rig;
    SimulatedEdge edge{rig, 1001, 0xA};
    edge.Login();
    WireRouterAdd add{edge.identifier, edge.serial, "<script>\x1b[2J\n\"\xC2\x9B x=y"};
    edge.Exchange(wire_sub::kAddRouter, EncodeWire(add));
    edge.AddDevice(edge.ip);
    rig.Pass(600);
    std::string line = events.WaitFor("N edge joined");
    EXPECT_NE(line.find(R"( label="<script>\x1b[2J\x0a\"\xc2\x9b x=y" )"), std::string::npos)
        << line;
    for (const std::string& logged : events.Lines())
        EXPECT_TRUE(IsHarmless(logged)) << logged;
    EXPECT_EQ(rig.LinesWith("\"<script>.[2J.\".. x=y\" joined"), 1);
    for (const std::string& printed : rig.lines)
        EXPECT_TRUE(IsHarmless(printed)) << printed;
}

}  // namespace
