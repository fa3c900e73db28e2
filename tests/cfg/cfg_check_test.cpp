#include "cfg/cfg_check.h"

#include <gtest/gtest.h>

#include <string>

#include "cfg/sys_cfg.h"
#include "tests/support/captured_output.h"
#include "tests/support/scratch_dir.h"

namespace {

class CfgCheck : public testing::Test {
  protected:
    // What is printed when a file of this content is read, without the line of its size.
    std::string LinesFor(const std::string& content) {
        WriteWholeFile(path, content);
        std::string output =
            CapturedOutput([&] { EXPECT_EQ(CTSysCfg().ReadFromJsonFile(path.c_str()), 0); });
        return output.substr(output.find('\n') + 1);
    }
    std::string Line(const std::string& fault) {
        return "config file: " + fault + ": " + path + "\n";
    }

    ScratchDir dir;
    std::string path = dir.File("config.json");
};

TEST_F(CfgCheck, NothingIsSaidOfTheDefaultFileNorOfOneThatWasWrittenBack) {
    CTSysCfg cfg;
    std::string output = CapturedOutput([&] { cfg.ReadFromJsonFile(path.c_str()); });
    EXPECT_EQ(output.find("config file"), std::string::npos) << output;
    EXPECT_EQ(LinesFor(ReadWholeFile(path)), "");
    EXPECT_GT(cfg.WriteToJsonFile(path.c_str()), 0);
    EXPECT_EQ(LinesFor(ReadWholeFile(path)), "");
    EXPECT_EQ(LinesFor(R"({"SSTP":{"Rejoin After":9,"strict source":true},"LAN":{"IP":"1.2.3.4",
                           "Interface":"office","MTU":1384}})"),
              "");
}

TEST_F(CfgCheck, AKeyThatIsUnknownDoubledOrOfTheWrongKindIsNamedWithItsPlace) {
    EXPECT_EQ(LinesFor(R"({"sttp":{"mtu":1},"lan":[],"subnet":{"net name":5,"Net Name":"x"},
                           "local router":{"serial number":"0x10","mtu":1,"layer":"L3"},
                           "central router":{"ip":"1.2.3","port":true},
                           "sstp":{"strict source":1,"rejoin after":"9","p2p enable":7},
                           "SSTP":{"unheeded":1}})"),
              Line(R"(unknown key "sttp")") +
                  Line(R"(key "lan" of the wrong kind, expected an object)") +
                  Line(R"(duplicate key "SSTP", the first one counts)") +
                  Line(R"(key "net name" in section "subnet" of the wrong kind, expected a text)") +
                  Line(R"(duplicate key "Net Name" in section "subnet", the first one counts)") +
                  Line(R"(key "serial number" in section "local router" of the wrong kind, )"
                       "expected a number") +
                  Line(R"(unknown key "mtu" in section "local router")") +
                  Line(R"(key "ip" in section "central router" of the wrong kind, )"
                       "expected an IPv4 address") +
                  Line(R"(key "port" in section "central router" of the wrong kind, )"
                       "expected a number") +
                  Line(R"(key "strict source" in section "sstp" of the wrong kind, )"
                       "expected true or false") +
                  Line(R"(key "rejoin after" in section "sstp" of the wrong kind, )"
                       "expected a number"));
    EXPECT_EQ(LinesFor("[{\"sstp\":1}]"),
              Line("of the wrong kind, expected an object of sections"));
    EXPECT_EQ(LinesFor(R"({"lan":{"mac":"11:22"}})"),
              Line(R"(key "mac" in section "lan" of the wrong kind, expected a MAC address)"));
}

TEST_F(CfgCheck, NamesOutOfAFileAreEscapedAndBoundedInLengthAndNumber) {
    EXPECT_EQ(LinesFor("{\"\\u001b[2J\\\"\xc2\x9b%s\":1}"),
              Line(R"(unknown key "\x1b[2J\x22\xc2\x9b%s")"));
    EXPECT_EQ(LinesFor("{\"" + std::string(100000, 'k') + "\":1}"),
              Line("unknown key \"" + std::string(64, 'k') + "...\""));
    // What ends the start is said however many others came before.
    std::string last = "{\"lan\":{";
    for (int i = 0; i <= CTCfgCheck::kMaxLines; ++i)
        last += "\"x\":0,";
    std::string lines = LinesFor(last + R"("interface":"a b","mtu":1}})");
    EXPECT_NE(lines.find(Line(R"(key "interface" in section "lan" of the wrong kind, )"
                              R"(expected 4 to 15 letters, digits, "-" or "_")") +
                         Line(R"(key "mtu" in section "lan" of the wrong kind, )"
                              "expected a whole number from 576 to 1500") +
                         Line("1 more faults")),
              std::string::npos)
        << lines;
    std::string many = "{\"sstp\":{\"mtu\":1";
    std::string expected;
    constexpr int kKeys = 100000;
    for (int i = 0; i < kKeys; ++i)
        many += ",\"\":0";
    for (int i = 0; i < CTCfgCheck::kMaxLines; ++i)
        expected += Line(R"(unknown key "" in section "sstp")");
    expected += Line(std::to_string(kKeys - CTCfgCheck::kMaxLines) + " more faults");
    EXPECT_EQ(LinesFor(many + "}}"), expected);
}

// Each fault as LINE and text; the file's own faults are in line 0.
std::string FaultsOf(const std::string& path) {
    std::string text;
    for (const CTConfigFault& fault : CTCfgCheck::CheckFile(path))
        text += std::to_string(fault.line) + " " + fault.text + "\n";
    return text;
}

TEST_F(CfgCheck, BeforeAStartEveryFaultIsFoundWithItsLine) {
    std::string silent = CapturedOutput([&] {
        WriteWholeFile(path, R"({
  "subnet": { "net name": "", "user name": "0123456789012345678901234567890123",
              "user password": 5 },
  "local router": {
    "label": "ok", "label": "again",
    "serial number": 4294967296,
    "type": "tun", "layer": "L5" },
  "lan": { "ip": "1.2.3", "interface": "x", "mtu": 1501, "color": "red",
    "control": ")" + std::string(108, 'c') +
                                 R"(" },
  "central router": { "ip": "10.77.0.256", "port": 65536 },
  "sstp": { "recv timeout": 0,
            "heartbeat interval": 1.5, "rejoin after": -1,
            "mtuj": 7, "mtu": 9 },
  "nobody": {} } x
)");
        EXPECT_EQ(FaultsOf(path),
                  R"(2 key "net name" in section "subnet" is empty
2 key "user name" in section "subnet" is longer than 32 bytes and would be cut
3 key "user password" in section "subnet" of the wrong kind, expected a text
5 duplicate key "label" in section "local router", the first one counts
6 key "serial number" in section "local router" is not a whole number of 32 bits
7 key "type" in section "local router" is none of HW, TAP, TUN, BRIDGE and ECHO
7 key "layer" in section "local router" is none of L0 to L4
8 key "ip" in section "lan" of the wrong kind, expected an IPv4 address
8 key "interface" in section "lan" of the wrong kind, expected 4 to 15 letters, digits, "-" or "_"
8 key "mtu" in section "lan" of the wrong kind, expected a whole number from 576 to 1500
8 unknown key "color" in section "lan"
9 key "control" in section "lan" is too long for the name of a socket
10 key "ip" in section "central router" is not an IPv4 address, a part of it is above 255
10 key "port" in section "central router" is not a port from 1 to 65535
11 key "recv timeout" in section "sstp" is not a whole number of milliseconds, 1 at least
12 key "heartbeat interval" in section "sstp" is not a whole number of seconds, 2 at least
12 key "rejoin after" in section "sstp" is not a number of seconds from 0 to 86400
14 unknown key "nobody"
14 more behind its end
)");
        std::pair<std::string, const char*> files[] = {
            {"{\n\n\"a\" 1}", "3 is not valid JSON\n"},
            {"\n[1]", "2 of the wrong kind, expected an object of sections\n"},
            {std::string("{\n\0}", 4), "0 has a zero byte\n"},
            {std::string((1 << 20) + 1, ' '), "0 is larger than 1 MiB\n"},
            {"", "1 is not valid JSON\n"},
            {"{}\n", ""}};
        for (const auto& [content, faults] : files) {
            WriteWholeFile(path, content);
            EXPECT_EQ(FaultsOf(path), faults);
        }
    });
    EXPECT_EQ(silent, "");
    EXPECT_EQ(FaultsOf(dir.File("none")), "0 cannot be opened\n");
    EXPECT_NE(FaultsOf(dir.Path()), "") << "a folder";
}

TEST_F(CfgCheck, NoFaultIsFoundInWhatTheEdgeWrites) {
    CTSysCfg cfg;
    std::string output = CapturedOutput([&] { cfg.ReadFromJsonFile(path.c_str()); });
    EXPECT_EQ(FaultsOf(path), "") << "a fresh file";
    EXPECT_GT(cfg.WriteToJsonFile(path.c_str()), 0);
    EXPECT_EQ(FaultsOf(path), "") << "one that was written back";
}

}  // namespace
