#include "ctl/check_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/scratch_dir.h"

namespace {

class CheckFile : public testing::Test {
  protected:
    std::string Shown(const std::string& content) {
        WriteWholeFile("f.json", content);
        return ctl_show_check("f.json", ctl_check_file("f.json"), false);
    }
    CheckFile() { EXPECT_EQ(chdir(dir.Path().c_str()), 0); }
    ~CheckFile() override { EXPECT_EQ(chdir("/"), 0); }

    ScratchDir dir;
};

TEST_F(CheckFile, KnowsWhichProgramAFileIsFor) {
    EXPECT_EQ(Shown(R"({"Subnet": {"net name": "n"}, "lan": {"control": "c"}})"),
              "f.json: in order (edge)\n");
    EXPECT_EQ(Shown(R"({"subnets": [{"name": "n", "password": "p", "gateway": "10.0.0.1",
                        "netmask": "255.0.0.0"}], "control": ""})"),
              "f.json: in order (central router)\n");
    EXPECT_EQ(Shown("{\n\"subnets\": 1, \"lan\": {}, \"port\": 1}"),
              "f.json:2: \"lan\": unknown key\nf.json:2: \"subnets\": is not a list\n");
    EXPECT_EQ(Shown("{\"lan\": {},\n\"port\": 1}"), "f.json:2: unknown key \"port\"\n");
    EXPECT_EQ(Shown("{}"), "f.json: has no key of an edge's file, nor of a central router's\n");
    EXPECT_EQ(Shown("{\"other\": 1}"),
              "f.json: has no key of an edge's file, nor of a central router's\n"
              "f.json:1: unknown key \"other\"\n");
    EXPECT_EQ(Shown("{\n\"lan\" }"), "f.json:2: is not valid JSON\n");
    EXPECT_EQ(Shown("[1]"), "f.json:1: of the wrong kind, expected an object of sections\n");
    EXPECT_EQ(ctl_show_check("none", ctl_check_file("none"), false), "none: cannot be opened\n");
}

TEST_F(CheckFile, FaultsAreSafeOnATerminalAndThereForPrograms) {
    std::string content = "{\"subnets\": [], \"\\u001b[2J\": 1}";
    EXPECT_EQ(Shown(content),
              "f.json:1: \"\\x1b[2J\": unknown key\nf.json:1: \"subnets\": is empty\n");
    EXPECT_EQ(ctl_check_json("f.json", ctl_check_file("f.json")),
              R"({"schema":1,"file":"f.json","kind":"central router","faults":[)"
              R"({"line":1,"text":"\"\u001b[2J\": unknown key"},)"
              R"({"line":1,"text":"\"subnets\": is empty"}]})");
    EXPECT_EQ(ctl_check_json("none", ctl_check_file("none")),
              R"({"schema":1,"file":"none","kind":"unknown","faults":[)"
              R"({"line":null,"text":"cannot be opened"}]})");
}

}  // namespace
