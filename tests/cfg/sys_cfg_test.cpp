#include "cfg/sys_cfg.h"

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <string>

#include "tests/cfg/unformatted.h"
#include "tests/support/captured_output.h"
#include "tests/support/scratch_dir.h"

namespace {

const std::string kDefault =
    R"({"subnet":{"net name":"qwop","user name":"qwop","user password":"qwop"},)"
    R"("local router":{"label":"tap-2","serial number":@SERIAL,"type":"TUN","layer":"L3"},)"
    R"("lan":{"ip":"00.00.00.00","mac":"@MAC","gateway":"00.00.00.00",)"
    R"("netmask":"255.255.255.0"},"central router":{"ip":"127.0.0.1","port":1922},)"
    R"("sstp":{"recv timeout":200,"p2p enable":false,"heartbeat interval":20,"mtuj":1400}})";

const std::string kFull =
    R"({"subnet":{"net name":"LAB","user name":"ANN","user password":"SECRET"},)"
    R"("local router":{"label":"EDGE-A","serial number":-2147483648,"type":"TAP","layer":"L4"},)"
    R"("lan":{"ip":"10.1.2.3","mac":"02:00:5E:00:00:FF","gateway":"10.1.0.1",)"
    R"("netmask":"255.255.0.0"},"central router":{"ip":"192.0.2.1","port":65535},)"
    R"("sstp":{"recv timeout":0,"p2p eanble":true,"heartbeat interval":7,"mtu":1300}})";

std::string With(std::string text, const std::string& mark, const std::string& value) {
    return text.replace(text.find(mark), mark.size(), value);
}

// The keys too, as kFull has every other text.
std::string InCapitals(std::string json) {
    for (char& c : json)
        c = static_cast<char>(toupper(c));
    return With(json, "TRUE", "true");
}

std::string FileInOneLine(const std::string& path) {
    return Unformatted(CTJsonObject::ReadFile(path.c_str()));
}

class SysCfg : public testing::Test {
  protected:
    ScratchDir dir;
    std::string path = dir.File("config.json");
    CTSysCfg cfg;
};

TEST_F(SysCfg, AMissingFileIsCreatedWithTheDefaultsAndRead) {
    EXPECT_EQ(cfg.GetLocalIPAddr(), 0xC0A80F0AU);
    EXPECT_EQ(cfg.GetSubnetGateway(), 0xC0A80F05U);
    EXPECT_EQ(cfg.GetLocalEtherAddr()[0] & 3, 2) << "not a local unicast address";
    unsigned int serial = cfg.GetSerialNumber();
    std::string output = CapturedOutput([&] { EXPECT_EQ(cfg.ReadFromJsonFile(path.c_str()), 0); });
    EXPECT_NE(cfg.GetSerialNumber(), serial);
    EXPECT_EQ(cfg.GetLocalEtherAddr()[0] & 3, 2);
    EXPECT_EQ(cfg.GetLocalIPAddr(), 0U);
    CEtherAddr mac;
    mac.Set(cfg.GetLocalEtherAddr());
    EXPECT_EQ(FileInOneLine(path), With(With(kDefault, "@MAC", cfg_address_text(mac)), "@SERIAL",
                                        std::to_string(cfg.GetSerialNumber())));
    EXPECT_EQ(ReadWholeFile(path).find("{\n\t\"subnet\":\t{\n\t\t\"net name\""), 0U);
    EXPECT_EQ(output, "default config: " + ReadWholeFile(path) + "\n");
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms{0600});

    // A folder that cannot take the file costs the file only.
    CTSysCfg other;
    EXPECT_EQ(other.ReadFromJsonFile(dir.File("none/config.json").c_str()), 0);
    EXPECT_STREQ(other.GetLocalRouterLabel(), "tap-2");
}

TEST_F(SysCfg, AFullFileIsReadPrintedGivenSetAndWrittenBackUnchanged) {
    WriteWholeFile(path, InCapitals(kFull));
    EXPECT_EQ(cfg.ReadFromJsonFile(path.c_str()), 0);
    EXPECT_EQ(CapturedOutput([&] { cfg.Print(); }),
              "------------------- System config -------------------\n"
              "Subnet: LAB\nUser name: ANN\nUser password: SECRET\n"
              "Serial number: 0x80000000\nTCR IP: 192.0.2.1\nTCR Port: 65535\n"
              "Local MAC: 02:00:5E:00:00:FF\nLocal IP: 10.1.2.3\nSubnet Gateway: 10.1.0.1\n"
              "Local Network mask: 255.255.0.0\nLabel: EDGE-A\n"
              "SSTP recv timeout: 0ms\nSSTP HeartBeat interval: 7s\nSSTP p2p: Enable\n"
              "SSTP MTU: 1300\n"
              "-----------------------------------------------------\n");
    EXPECT_EQ(cfg.GetSstpRecvTimeout(), 200) << "a value below 1 is not used";
    EXPECT_EQ(cfg.GetSstpHeartBeatInterval(), 7);
    int length = cfg.WriteToJsonFile(path.c_str());
    EXPECT_EQ(ReadWholeFile(path).size(), static_cast<size_t>(length));
    EXPECT_EQ(FileInOneLine(path), kFull);

    // What is given is what was read, and what is set is what is written.
    CTSysCfg to;
    to.SetSubnetName(cfg.GetSubnetName());
    to.SetUserName(cfg.GetUserName());
    to.SetUserPwd(cfg.GetUserPwd());
    to.SetSerialNumber(cfg.GetSerialNumber());
    to.SetCentralRouterIPAddr(cfg.GetCentralRouterIPAddr());
    to.SetCentralRouterPort(cfg.GetCentralRouterPort());
    to.SetLocalEtherAddr(cfg.GetLocalEtherAddr());
    to.SetLocalRouterLabel(cfg.GetLocalRouterLabel());
    to.SetLocalIPAddr(cfg.GetLocalIPAddr());
    to.SetLocalNetMask(cfg.GetLocalNetMask());
    to.SetSubnetGateway(cfg.GetSubnetGateway());
    to.SetLocalRouterType(cfg.GetLocalRouterType());
    to.SetLocalRouterLayer(cfg.GetLocalRouterLayer());
    std::string head = kFull.substr(0, kFull.find("\"sstp\""));
    EXPECT_EQ(Unformatted(to.GenJson()).substr(0, head.size()), head);
}

TEST_F(SysCfg, AHostileFileChangesNothingAndStaysAsItIs) {
    const std::string contents[] = {
        "",
        kFull.substr(0, kFull.size() - 1),
        With(kFull, "LAB", std::string(2 << 20, 'x')),
        With(kFull, "LAB", std::string(1, '\0')),
        std::string(5000, '\0') + kFull,
        std::string(100000, '['),
    };
    std::string before = Unformatted(cfg.GenJson());
    for (const std::string& content : contents) {
        WriteWholeFile(path, content);
        EXPECT_EQ(cfg.ReadFromJsonFile(path.c_str()), 1) << content.substr(0, 20);
        EXPECT_EQ(ReadWholeFile(path), content);
    }
    for (const char* no_file : {"/dev/zero", dir.Path().c_str(), static_cast<const char*>(nullptr)})
        EXPECT_EQ(cfg.ReadFromJsonFile(no_file), 1);
    EXPECT_EQ(cfg.WriteToJsonFile(dir.Path().c_str()) + cfg.WriteToJsonFile(nullptr), 0);
    EXPECT_EQ(Unformatted(cfg.GenJson()), before);
}

TEST_F(SysCfg, WithoutAPathTheFileStandsBesideTheProgram) {
    std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
    path = program.replace_filename("config.json");
    std::filesystem::remove(path);
    std::string output = CapturedOutput([&] {
        EXPECT_EQ(cfg.ReadFromJsonFile(), 0);
        EXPECT_GT(cfg.WriteToJsonFile(), 0);
    });
    EXPECT_EQ(output.find("read config json: " + path + "\ndefault config: {"), 0U);
    EXPECT_NE(output.find("}\nwrite config json: " + path + "\n"), std::string::npos);
    EXPECT_NE(ReadWholeFile(path).find("\"p2p eanble\""), std::string::npos);
    std::filesystem::remove(path);
}

}  // namespace
