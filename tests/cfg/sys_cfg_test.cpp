#include "cfg/sys_cfg.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "tests/cfg/unformatted.h"
#include "tests/support/captured_output.h"
#include "tests/support/scratch_dir.h"

namespace {

constexpr char kChildMark[] = "TAMVO_TEST_BESIDE_THE_PROGRAM";

constexpr char kDefaultFile[] = R"({
	"subnet":	{
		"net name":	"qwop",
		"user name":	"qwop",
		"user password":	"qwop"
	},
	"local router":	{
		"label":	"tap-2",
		"serial number":	@SERIAL,
		"type":	"TUN",
		"layer":	"L3"
	},
	"lan":	{
		"ip":	"00.00.00.00",
		"mac":	"@MAC",
		"gateway":	"00.00.00.00",
		"netmask":	"255.255.255.0"
	},
	"central router":	{
		"ip":	"127.0.0.1",
		"port":	1922
	},
	"sstp":	{
		"recv timeout":	200,
		"p2p enable":	false,
		"heartbeat interval":	20,
		"mtuj":	1400
	}
})";

const std::string kFull =
    R"({"subnet":{"net name":"lab","user name":"ann","user password":"secret"},)"
    R"("local router":{"label":"edge-a","serial number":-2147483648,"type":"TAP","layer":"L4"},)"
    R"("lan":{"ip":"10.1.2.3","mac":"02:00:5E:00:00:FF","gateway":"10.1.0.1",)"
    R"("netmask":"255.255.0.0"},"central router":{"ip":"192.0.2.1","port":65535},)"
    R"("sstp":{"recv timeout":0,"p2p eanble":true,"heartbeat interval":7,"mtu":1300}})";

std::string With(std::string text, const std::string& mark, const std::string& value) {
    return text.replace(text.find(mark), mark.size(), value);
}

int Read(CTSysCfg& cfg, const std::string& path) {
    int result = -1;
    CapturedOutput([&] { result = cfg.ReadFromJsonFile(path.c_str()); });
    return result;
}

TEST(SysCfg, AMissingFileIsCreatedWithTheDefaultsAndRead) {
    ScratchDir dir;
    std::string path = dir.File("config.json");
    CTSysCfg cfg;
    EXPECT_EQ(cfg.GetLocalIPAddr(), 0xC0A80F0AU);
    EXPECT_EQ(cfg.GetSubnetGateway(), 0xC0A80F05U);
    EXPECT_EQ(cfg.GetLocalEtherAddr()[0] & 3, 2) << "not a local unicast address";
    mode_t old_mask = umask(0);
    std::string output = CapturedOutput([&] { EXPECT_EQ(cfg.ReadFromJsonFile(path.c_str()), 0); });
    umask(old_mask);
    CEtherAddr mac;
    mac.Set(cfg.GetLocalEtherAddr());
    std::string text = With(With(kDefaultFile, "@MAC", cfg_address_text(mac)), "@SERIAL",
                            std::to_string(cfg.GetSerialNumber()));
    EXPECT_EQ(ReadWholeFile(path), text);
    EXPECT_EQ(output, "default config: " + text + "\n");
    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0600U);
    EXPECT_STREQ(cfg.GetLocalRouterLabel(), "tap-2");
    EXPECT_EQ(cfg.GetLocalIPAddr(), 0U);

    // A folder that cannot take the file costs the file only.
    CTSysCfg other;
    EXPECT_EQ(Read(other, dir.File("none/config.json")), 0);
    EXPECT_STREQ(other.GetLocalRouterLabel(), "tap-2");
}

TEST(SysCfg, AFullFileIsReadPrintedAndWrittenBackUnchanged) {
    ScratchDir dir;
    std::string path = dir.File("config.json");
    WriteWholeFile(path, kFull);
    CTSysCfg cfg;
    EXPECT_EQ(Read(cfg, path), 0);
    EXPECT_EQ(CapturedOutput([&] { cfg.Print(); }),
              "------------------- System config -------------------\n"
              "Subnet: lab\nUser name: ann\nUser password: secret\n"
              "Serial number: 0x80000000\nTCR IP: 192.0.2.1\nTCR Port: 65535\n"
              "Local MAC: 02:00:5E:00:00:FF\nLocal IP: 10.1.2.3\nSubnet Gateway: 10.1.0.1\n"
              "Local Network mask: 255.255.0.0\nLabel: edge-a\n"
              "SSTP recv timeout: 0ms\nSSTP HeartBeat interval: 7s\nSSTP p2p: Enable\n"
              "SSTP MTU: 1300\n"
              "-----------------------------------------------------\n");
    int length = cfg.WriteToJsonFile(path.c_str());
    EXPECT_EQ(ReadWholeFile(path).size(), static_cast<size_t>(length));
    CapturedOutput([&] { EXPECT_EQ(Unformatted(CTJsonObject::ReadFile(path.c_str())), kFull); });

    EXPECT_EQ(cfg.GetSstpRecvTimeout(), 200) << "a value below 1 is not used";
    EXPECT_EQ(cfg.GetSstpHeartBeatInterval(), 7);
    EXPECT_EQ(cfg.GetLocalIPAddr(), 0x0A010203U);
}

TEST(SysCfg, WhatIsSetIsWhatIsGivenAndWritten) {
    CTJsonObject json;
    ASSERT_TRUE(json.Parse(kFull.c_str()));
    CTSysCfg from;
    from.Parse(json);
    json.Free();
    CTSysCfg to;
    to.SetSubnetName(from.GetSubnetName());
    to.SetUserName(from.GetUserName());
    to.SetUserPwd(from.GetUserPwd());
    to.SetSerialNumber(from.GetSerialNumber());
    to.SetCentralRouterIPAddr(from.GetCentralRouterIPAddr());
    to.SetCentralRouterPort(from.GetCentralRouterPort());
    to.SetLocalEtherAddr(from.GetLocalEtherAddr());
    to.SetLocalRouterLabel(from.GetLocalRouterLabel());
    to.SetLocalIPAddr(from.GetLocalIPAddr());
    to.SetLocalNetMask(from.GetLocalNetMask());
    to.SetSubnetGateway(from.GetSubnetGateway());
    to.SetLocalRouterType(from.GetLocalRouterType());
    to.SetLocalRouterLayer(from.GetLocalRouterLayer());
    std::string head = kFull.substr(0, kFull.find("\"sstp\""));
    EXPECT_EQ(Unformatted(to.GenJson()).substr(0, head.size()), head);
}

TEST(SysCfg, SectionsAndKeysAreFoundWhateverTheirLetterCase) {
    CTJsonObject json;
    ASSERT_TRUE(json.Parse(R"({"SUBNET":{"Net Name":"a"},"Local Router":{"LABEL":"b"},
        "LAN":{"IP":"1.2.3.4"},"Central Router":{"PORT":5},"Sstp":{"Recv Timeout":1}})"));
    CTSysCfg cfg;
    EXPECT_EQ(cfg.Parse(json), 0);
    json.Free();
    EXPECT_STREQ(cfg.GetSubnetName(), "a");
    EXPECT_STREQ(cfg.GetLocalRouterLabel(), "b");
    EXPECT_EQ(cfg.GetLocalIPAddr(), 0x01020304U);
    EXPECT_EQ(cfg.GetCentralRouterPort(), 5);
    EXPECT_EQ(cfg.GetSstpRecvTimeout(), 1);
}

TEST(SysCfg, AHostileFileChangesNothingAndStaysAsItIs) {
    std::string binary;
    for (int i = 0; i < 100000; ++i)
        binary += static_cast<char>(i * 7 % 251);
    const std::string contents[] = {
        "",
        kFull.substr(0, kFull.size() - 1),
        With(kFull, "lab", std::string(2 << 20, 'x')),
        With(kFull, "lab", std::string(1, '\0')),
        std::string(5000, '\0') + kFull,
        binary,
        std::string(100000, '['),
    };
    ScratchDir dir;
    std::string path = dir.File("config.json");
    CTSysCfg cfg;
    std::string before = Unformatted(cfg.GenJson());
    for (const std::string& content : contents) {
        WriteWholeFile(path, content);
        EXPECT_EQ(Read(cfg, path), 1) << content.substr(0, 20);
        EXPECT_EQ(ReadWholeFile(path), content);
    }
    EXPECT_EQ(Read(cfg, "/dev/zero"), 1);
    EXPECT_EQ(Read(cfg, dir.Path()), 1);
    EXPECT_EQ(cfg.WriteToJsonFile(dir.Path().c_str()), 0);
    EXPECT_EQ(cfg.ReadFromJsonFile(nullptr), 1);
    EXPECT_EQ(cfg.WriteToJsonFile(nullptr), 0);
    EXPECT_EQ(Unformatted(cfg.GenJson()), before);
}

// The forms without a path are run by a copy of this program in a folder of its own.
TEST(SysCfg, WithoutAPathTheFileStandsBesideTheProgram) {
    if (getenv(kChildMark)) {
        CTSysCfg cfg;
        EXPECT_EQ(cfg.ReadFromJsonFile(), 0);
        EXPECT_GT(cfg.WriteToJsonFile(), 0);
        return;
    }
    ScratchDir dir;
    std::filesystem::copy_file("/proc/self/exe", dir.File("edge"));
    std::string command = std::string(kChildMark) + "=1 " + dir.File("edge") +
                          " --gtest_filter=SysCfg.WithoutAPathTheFileStandsBesideTheProgram";
    FILE* child = popen(command.c_str(), "r");
    ASSERT_NE(child, nullptr);
    std::string output;
    for (int c = fgetc(child); c != EOF; c = fgetc(child))
        output += static_cast<char>(c);
    EXPECT_EQ(pclose(child), 0) << output;
    std::string path = dir.File("config.json");
    EXPECT_NE(output.find("read config json: " + path + "\ndefault config: {"), std::string::npos);
    EXPECT_NE(output.find("write config json: " + path + "\n"), std::string::npos);
    EXPECT_NE(ReadWholeFile(path).find("\"p2p eanble\""), std::string::npos);
}

}  // namespace
