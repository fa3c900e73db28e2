#include <gtest/gtest.h>
#include <sys/stat.h>

#include "base/pvu_log.h"
#include "sstp/sstp_error.h"
#include "tests/support/captured_output.h"
#include "tests/support/expect_wire.h"
#include "tests/support/scripted_router.h"
#include "tests/support/whole_edge.h"

namespace {

using namespace wire_sub;

const std::vector<int> kJoin = {kEcho,      kLogin,     kDhcp,      kSubnet,   kGetRouter,
                                kGetDevice, kGetDevice, kAddRouter, kAddDevice};
const std::vector<int> kLeave = {kDelDevice, kLogout};

std::vector<int> operator+(std::vector<int> a, const std::vector<int>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// kJoin with one step doubled.
std::vector<int> JoinWithTwice(int step) {
    std::vector<int> subs;
    bool doubled = false;
    for (int sub : kJoin) {
        subs.push_back(sub);
        if (sub == step && !doubled) subs.push_back(sub);
        if (sub == step) doubled = true;
    }
    return subs;
}

// An edge that joins an overlay of two other routers.
class Join : public testing::Test {
  protected:
    Join() : edge(router.Port()) {
        router.AddRouter(0, 0x2000, 4000);
        router.AddRouter(1, 0x2001, 4001);
        router.AddDevice(0, Ip(192, 168, 15, 20), 1);
        router.AddDevice(1, Ip(192, 168, 15, 21), 2);
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
    EXPECT_EQ(router.ReceivedCommands(), kJoin + kLeave);
    std::vector<WireMessage> sent = router.Received();
    // Before the login nobody has an identifier; every message is numbered anew.
    for (size_t i = 0; i < kJoin.size(); ++i) {
        EXPECT_EQ(sent[i].src, i < 2 ? kWireCentral : 2u) << i;
        EXPECT_EQ(sent[i].dst, kWireCentral);
        EXPECT_EQ(sent[i].seq, i);
    }
    EXPECT_EQ(ExpectBody<WireLogin>(sent[1]).version, 0x105u);
    EXPECT_EQ(sent[2].body, Hex("00000000 020000000001 0000"));
    EXPECT_EQ(ExpectBody<WireSubnet>(sent[3]).name, "qwop");
    EXPECT_EQ(sent[5].body, Hex("00000000"));
    EXPECT_EQ(sent[6].body, Hex("00000001"));
    EXPECT_EQ(WireBytes(sent[7].body.begin(), sent[7].body.begin() + 20),
              Hex("0002 03 00 00000002 00001001 0000 0000 00000000"));
    EXPECT_EQ(ExpectBody<WireRouterAdd>(sent[7]).label, "edge");
    EXPECT_EQ(sent[8].body, Hex("00000002 0001 0001 C0A80F39 020000000001"));
    std::vector<WireMessage> last(sent.end() - 2, sent.end());
    EXPECT_EQ(last[0].body, Hex("00000002 C0A80F39"));
    EXPECT_TRUE(last[1].body.empty());
}

TEST_F(Join, BuildsThePictureOfTheOthers) {
    ASSERT_TRUE(edge.Start());
    {
        CTReadGuard guard(edge.sys.GetModelLock());
        CTSdwanSubnet& subnet = edge.sys.GetExternalSubnet();
        EXPECT_EQ(subnet.GetGateway(), ScriptedRouter::kGateway);
        EXPECT_EQ(subnet.GetRouterByIPv4Addr(Ip(192, 168, 15, 21))->GetSerialNumber(), 0x2001u);
        EXPECT_EQ(subnet.GetDevice(Ip(192, 168, 15, 20))->GetStatus(), 1);
        EXPECT_EQ(edge.sys.GetPeers().Count(), 2);
    }
    edge.Stop();
}

TEST_F(Join, WritesWhatItLearntBackForTheOwnersEyesOnly) {
    mode_t old = umask(0);
    ASSERT_TRUE(edge.Start());
    edge.Stop();
    umask(old);
    std::string config = ReadWholeFile(edge.ConfigPath());
    EXPECT_NE(config.find("\"ip\":\t\"192.168.15.57\""), std::string::npos) << config;
    EXPECT_NE(config.find("\"gateway\":\t\"192.168.15.1\""), std::string::npos) << config;
    EXPECT_NE(config.find("\"type\":\t\"TUN\""), std::string::npos) << config;
    struct stat status;
    ASSERT_EQ(stat(edge.ConfigPath().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
}

class EachStep : public Join, public testing::WithParamInterface<uint8_t> {};
INSTANTIATE_TEST_SUITE_P(OfTheJoin, EachStep,
                         testing::Values(kEcho, kLogin, kDhcp, kSubnet, kGetRouter, kGetDevice,
                                         kAddRouter, kAddDevice));

TEST_P(EachStep, SurvivesALostRequestOrReply) {
    router.Drop(GetParam());
    ASSERT_TRUE(edge.Start());
    EXPECT_TRUE(edge.Knows(Ip(192, 168, 15, 21)));
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
        EXPECT_TRUE(joining.Knows(Ip(192, 168, 15, 21)));
        joining.Stop();
    }
}

TEST_P(EachStep, ThreeLossesEndTheJoinOrLeaveThePictureEmpty) {
    router.Drop(GetParam(), 3);
    bool optional = GetParam() == kGetRouter || GetParam() == kGetDevice;
    EXPECT_EQ(edge.Start(), optional);
    if (optional) {
        edge.Stop();
        return;
    }
    EXPECT_FALSE(edge.host.Read());  // the interface is closed
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
    EXPECT_NE(ReadWholeFile(wishing.ConfigPath()).find("192.168.15.99"), std::string::npos);
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
    router.AnswerWith(kGetDevice, EncodeWire(DeviceRecord(Ip(192, 168, 15, 21), 2)), 0xFFFF);
    ASSERT_TRUE(edge.Start());
    {
        CTReadGuard guard(edge.sys.GetModelLock());
        CTSdwanRouterList& routers = edge.sys.GetExternalSubnet().GetRouterList();
        EXPECT_EQ(routers.Count(), 2);
        EXPECT_EQ(routers.At(0), nullptr);
        EXPECT_EQ(routers.At(1)->GetDeviceList().Count(), 1);
    }
    edge.Stop();
}

TEST_F(Join, ATextThatClaimsALengthBelowAHeaderIsAnEmptyList) {
    router.AnswerWith(kGetRouter, EncodeWire(RouterRecord(1, 0x2001, 4001)), 3);
    ASSERT_TRUE(edge.Start());
    EXPECT_EQ(edge.sys.GetPeers().Count(), 0);
    edge.Stop();
}

TEST_F(Join, ALongListIsCutToTheBuffer) {
    WireRouterList many;
    for (uint32_t i = 0; i < 40; ++i)
        many.routers.push_back(RouterRecord(i % 16, i, 4000));
    router.AnswerWith(kGetRouter, EncodeWire(many));
    ASSERT_TRUE(edge.Start());
    {
        CTReadGuard guard(edge.sys.GetModelLock());
        CTSdwanRouterList& routers = edge.sys.GetExternalSubnet().GetRouterList();
        EXPECT_EQ(routers.At(15)->GetSerialNumber(), 31u);  // 32 records were read
    }
    edge.Stop();
}

TEST_F(Join, StopsAndWritesTheConfigurationWithoutTheCentralRouterToo) {
    ASSERT_TRUE(edge.Start());
    router.FallSilent();
    edge.Stop();
    EXPECT_NE(ReadWholeFile(edge.ConfigPath()).find("192.168.15.57"), std::string::npos);
    EXPECT_NE(output.Take().find("Logout failed, ret=1\n"), std::string::npos);
}

TEST_F(Join, AMissingConfigurationIsCreatedWithDefaults) {
    WriteWholeFile(edge.ConfigPath(), "");
    unlink(edge.ConfigPath().c_str());
    EXPECT_FALSE(edge.Start());  // its central router is the one of this machine, on port 1922
    std::string config = ReadWholeFile(edge.ConfigPath());
    EXPECT_NE(config.find("\"p2p enable\":\tfalse"), std::string::npos) << config;
}

}  // namespace
