#include <gtest/gtest.h>

#include <algorithm>

#include "base/pvu_log.h"
#include "sstp/sstp_error.h"
#include "tests/support/captured_output.h"
#include "tests/support/expect_wire.h"
#include "tests/support/scripted_router.h"
#include "tests/support/whole_edge.h"

namespace {

using namespace wire_sub;

constexpr uint32_t kSecondIp = Ip(192, 168, 15, 21);
const std::vector<int> kJoin = {kEcho,      kLogin,     kDhcp,      kSubnet,   kGetRouter,
                                kGetDevice, kGetDevice, kAddRouter, kAddDevice};
const std::vector<int> kLeave = {kDelDevice, kLogout};

std::vector<int> operator+(std::vector<int> a, const std::vector<int>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// kJoin with one step doubled.
std::vector<int> JoinWithTwice(int step) {
    std::vector<int> subs = kJoin;
    subs.insert(std::find(subs.begin(), subs.end(), step), step);
    return subs;
}

// An edge that joins an overlay of two other routers.
class Join : public testing::Test {
  protected:
    Join() : edge(router.Port()) {
        router.AddRouter(0, 0x2000, 4000);
        router.AddRouter(1, 0x2001, 4001);
        router.AddDevice(0, Ip(192, 168, 15, 20), 1);
        router.AddDevice(1, kSecondIp, 2);
        flog_open(log.File("tamvo.log").c_str());
    }
    ~Join() override { flog_close(); }
    std::string Log() {
        flog_close();
        return ReadWholeFile(log.File("tamvo.log"));
    }

    ScratchDir log;
    ScriptedRouter router;
    WholeEdge edge;
    OutputCapture output;
};

TEST_F(Join, GoesStepByStepAndLeavesInOrder) {
    ASSERT_TRUE(edge.Start());
    edge.Stop();
    const std::vector<int> subs = kJoin + kLeave;
    ASSERT_EQ(router.ReceivedCommands(), subs);
    const WireBytes bodies[] = {
        {},
        EncodeWire(WireLogin{"qwop", "qwop", "qwop", 0x1001, 0x105}),
        Hex("00000000 020000000001 0000"),
        EncodeWire(WireSubnet{"qwop"}),
        {},
        Hex("00000000"),
        Hex("00000001"),
        EncodeWire(WireRouterAdd{2, 0x1001, "edge"}),
        Hex("00000002 0001 0001 C0A80F39 020000000001"),
        Hex("00000002 C0A80F39"),
        {},
    };
    std::vector<WireMessage> sent = router.Received();
    std::erase_if(sent, [](const WireMessage& m) { return m.type != 3; });
    for (size_t i = 0; i < subs.size(); ++i) {
        WireMessage want{.type = 3, .sub = static_cast<uint8_t>(subs[i]), .dst = kWireCentral};
        // The join's messages are numbered anew; before the login nobody has an identifier.
        want.seq = i < kJoin.size() ? static_cast<uint16_t>(i) : sent[i].seq;
        want.src = i < 2 ? kWireCentral : ScriptedRouter::kIdentifier;
        want.body = bodies[i];
        EXPECT_EQ(sent[i].Encode(), want.Encode()) << i;
    }
    std::string config = ReadWholeFile(edge.ConfigPath());
    EXPECT_NE(config.find("\"ip\":\t\"192.168.15.57\""), std::string::npos) << config;
    EXPECT_NE(config.find("\"gateway\":\t\"192.168.15.1\""), std::string::npos) << config;
    EXPECT_NE(config.find("\"type\":\t\"TUN\""), std::string::npos) << config;
}

class EachStep : public Join, public testing::WithParamInterface<uint8_t> {};
INSTANTIATE_TEST_SUITE_P(OfTheJoin, EachStep,
                         testing::Values(kEcho, kLogin, kDhcp, kSubnet, kGetRouter, kGetDevice,
                                         kAddRouter, kAddDevice));

TEST_P(EachStep, SurvivesALostRequestOrReply) {
    router.Drop(GetParam());
    ASSERT_TRUE(edge.Start());
    EXPECT_TRUE(edge.Knows(kSecondIp));
    edge.Stop();
    EXPECT_EQ(router.ReceivedCommands(), JoinWithTwice(GetParam()) + kLeave);
}

TEST_P(EachStep, SurvivesALateAForeignAndADoubledReply) {
    using Verb = void (ScriptedRouter::*)(uint8_t sub);
    for (Verb bend :
         {&ScriptedRouter::AnswerLate, &ScriptedRouter::StrayFirst, &ScriptedRouter::AnswerTwice}) {
        (router.*bend)(GetParam());
        WholeEdge joining(router.Port());
        ASSERT_TRUE(joining.Start());
        EXPECT_TRUE(joining.Knows(kSecondIp));
        joining.Stop();
    }
}

TEST_P(EachStep, ThreeLossesEndTheJoinOrLeaveTheTopologyEmpty) {
    router.Drop(GetParam(), 3);
    bool optional = GetParam() == kGetRouter || GetParam() == kGetDevice;
    EXPECT_EQ(edge.Start(), optional);
    if (optional) {
        edge.Stop();
        return;
    }
    EXPECT_FALSE(edge.sys.GetAdapter().IsOpen());
    EXPECT_EQ(edge.sys.GetPool().GetLoans(), 0);
    EXPECT_EQ(Log(), "connected tcr failed, tcr is not online\n");
    EXPECT_EQ(CTSstpError::GetLastError(), GetParam() == kEcho ? 1000 : 0);
}

TEST_F(Join, ARefusedLoginEndsIt) {
    router.AnswerWith(kLogin, Hex("000003EA 00000000"));
    EXPECT_FALSE(edge.Start());
    EXPECT_EQ(router.ReceivedCommands(), (std::vector<int>{kEcho, kLogin}));
    EXPECT_EQ(CTSstpError::GetLastError(), 1002);
    EXPECT_EQ(Log(), "connected tcr failed, tcr is not online\n");
}

TEST_F(Join, ARefusedAddressIsNeitherTakenNorShown) {
    router.AnswerWith(kDhcp, Hex("00000001 0A000001 FFFF0000 0A000002"));
    WholeEdge wishing(router.Port(), 0x1001, "192.168.15.99");
    ASSERT_TRUE(wishing.Start());
    wishing.Stop();
    WireMessage add = router.WaitFor([](const WireMessage& m) { return m.Is(3, kAddDevice); });
    EXPECT_EQ(ExpectBody<WireDeviceAdd>(add).devices,
              std::vector{DeviceRecord(Ip(192, 168, 15, 99), 1)});
    EXPECT_EQ(output.Take().find("Dhcp Ack"), std::string::npos);
    std::string config = ReadWholeFile(wishing.ConfigPath());
    EXPECT_NE(config.find("192.168.15.99"), std::string::npos) << config;
    EXPECT_EQ(config.find("10.0.0"), std::string::npos) << config;
    EXPECT_EQ(config.find("255.255.0.0"), std::string::npos) << config;
}

TEST_F(Join, ARefusedRegistrationEndsIt) {
    router.AnswerWith(kAddRouter, Hex("00000001"));
    EXPECT_FALSE(edge.Start());
    EXPECT_EQ(router.ReceivedCommands().back(), kAddRouter);
}

TEST_F(Join, ListsAreReadOnlyAsFarAsTheyArrived) {
    // Both state more records than they carry; the router list ends in half a record.
    WireBytes cut =
        EncodeWire(WireRouterList{{RouterRecord(1, 0x2001, 4001), RouterRecord(3, 0x2003, 4003)}});
    cut.resize(30);
    router.AnswerWith(kGetRouter, cut, 0xFFFF);
    router.AnswerWith(kGetDevice, EncodeWire(DeviceRecord(kSecondIp, 2)), 0xFFFF);
    ASSERT_TRUE(edge.Start());
    edge.Stop();
    CTSdwanRouterList& routers = edge.sys.GetExternalSubnet().GetRouterList();
    EXPECT_EQ(routers.Count(), 2);
    EXPECT_EQ(routers.At(0), nullptr);
    EXPECT_EQ(routers.At(1)->GetDeviceList().Count(), 1);
}

TEST_F(Join, AListThatClaimsALengthBelowAHeaderIsEmptyAndALongOneCutToTheBuffer) {
    router.AnswerWith(kGetRouter, EncodeWire(RouterRecord(1, 0x2001, 4001)), 3);
    ASSERT_TRUE(edge.Start());
    edge.Stop();
    EXPECT_EQ(edge.sys.GetPeers().Count(), 0);

    WireRouterList many;
    for (uint32_t i = 0; i < 40; ++i)
        many.routers.push_back(RouterRecord(i % 16, i, 4000));
    router.AnswerWith(kGetRouter, EncodeWire(many));
    WholeEdge second(router.Port());
    ASSERT_TRUE(second.Start());
    second.Stop();
    EXPECT_EQ(second.sys.GetPeers().Count(), 16);
    // 32 records were read.
    EXPECT_EQ(second.sys.GetExternalSubnet().GetRouterList().At(15)->GetSerialNumber(), 31u);
}

TEST_F(Join, StopsAndWritesTheConfigurationWithoutTheCentralRouterToo) {
    ASSERT_TRUE(edge.Start());
    router.FallSilent();
    edge.Stop();
    EXPECT_NE(ReadWholeFile(edge.ConfigPath()).find("192.168.15.57"), std::string::npos);
    EXPECT_NE(output.Take().find("Logout failed, ret=1\n"), std::string::npos);
}

}  // namespace
