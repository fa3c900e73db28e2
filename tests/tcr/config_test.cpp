#include "tcr/tcr_config.h"

#include <gtest/gtest.h>

#include "lab/wire/wire_message.h"
#include "tcr/tcr_option.h"
#include "tests/support/scratch_dir.h"

namespace {

constexpr char kSubnet[] =
    R"({"name": "n", "password": "p", "gateway": "10.0.0.1", "netmask": "255.255.255.0"})";

class TcrConfigFile : public testing::Test {
  protected:
    // The fault without the path before it; empty when there is none.
    std::string FaultOf(const std::string& content) {
        WriteWholeFile(path, content);
        std::string fault;
        config = TcrConfig();
        if (config.ReadFile(path, fault)) return "";
        EXPECT_EQ(fault.rfind(path + ": ", 0), 0u) << fault;
        return fault.substr(path.size() + 2);
    }

    ScratchDir dir;
    std::string path = dir.File("tcr.json");
    TcrConfig config;
};

TEST_F(TcrConfigFile, IsReadWhole) {
    EXPECT_EQ(FaultOf(std::string(R"({"lowest version": "1.2.3", "silent after": 30,
                                      "state": "/x/tcr.db", "bind": "10.9.8.7", "port": 65535,
                                      "http": "127.0.0.2:8080",
                                      "subnets": [)") +
                      kSubnet + R"(, {"name": "m", "password": "q", "gateway": "10.1.0.1",
                                      "netmask": "255.255.255.252",
            "edges": [4294967295, -1, -2147483648, 0, "0x80000001", "0xaB", {"serial": 7},
                      {"serial": "0x8"}]}]})"),
              "");
    EXPECT_EQ(config.state, "/x/tcr.db");
    EXPECT_EQ(TcrOption().Address(config), "10.9.8.7");
    EXPECT_EQ(TcrOption().Port(config), 65535);
    EXPECT_EQ(config.http_bind, "127.0.0.2");
    EXPECT_EQ(config.http_port, 8080);
    EXPECT_EQ(TcrConfig().http_port, 0) << "not served unless asked for";
    TcrOption asked;
    asked.address = "127.0.0.2";
    asked.port = 1;
    EXPECT_EQ(asked.Address(config), "127.0.0.2") << "the command line wins";
    EXPECT_EQ(asked.Port(config), 1);
    EXPECT_EQ(TcrOption().Address(TcrConfig()), "127.0.0.1");
    EXPECT_EQ(TcrOption().Port(TcrConfig()), 1922);
    EXPECT_EQ(config.lowest_version.GetVersion(), 0x10203u);
    EXPECT_EQ(config.silent_seconds, 30);
    ASSERT_EQ(config.subnets.size(), 2u);
    const TcrSubnetConfig& last = config.subnets[1];
    EXPECT_EQ(std::tie(last.name, last.password), std::tuple("m", "q"));
    EXPECT_EQ(last.gateway, Ip(10, 1, 0, 1));
    EXPECT_EQ(last.mask, 0xFFFFFFFCu);
    EXPECT_FALSE(config.subnets[0].edges) << "all are let in";
    EXPECT_EQ(last.edges,
              (std::vector<uint32_t>{0, 7, 8, 0xAB, 0x80000000, 0x80000001, 0xFFFFFFFF}));
}

TEST_F(TcrConfigFile, EveryFaultNamesItsKeyAndReason) {
    auto subnets = [](const std::string& list) { return R"({"subnets": [)" + list + "]}"; };
    auto network = [&](const std::string& gateway, const std::string& mask) {
        return subnets(R"({"name": "n", "password": "p", "gateway": ")" + gateway +
                       R"(", "netmask": ")" + mask + "\"}");
    };
    std::vector<std::pair<std::string, std::string>> faults = {
        {"{\n\"subnets\": [\n}", "is not valid JSON (line 3)"},
        {"", "is not valid JSON (line 1)"},
        {std::string("{}\0x", 4), "is not valid JSON (line 1)"},
        {"[]", "is not a JSON object"},
        {"{}", "\"subnets\": is missing"},
        {R"({"subnets": []})", "\"subnets\": is empty"},
        {R"({"subnets": 5})", "\"subnets\": is not a list"},
        {R"({"subnet": []})", "\"subnet\": unknown key"},
        {R"({"subnets": 1, "subnets": 2})", "\"subnets\": duplicate key"},
        {subnets("7"), "\"subnets[0].\": is not an object"},
        {subnets(std::string(kSubnet) + "," + kSubnet), "\"subnets[1].name\": duplicate name"},
        {subnets(R"({"name": "n"})"), "\"subnets[0].password\": is missing"},
        {subnets(R"({"name": 5})"), "\"subnets[0].name\": is not a text"},
        {subnets(R"({"name": ")" + std::string(33, 'x') + "\"}"),
         "\"subnets[0].name\": is longer than 32 bytes"},
        {network("10.0.0", "255.0.0.0"), "\"subnets[0].gateway\": is not an IPv4 address"},
        {network("10.0.0.1", "255.0.255.0"), "\"subnets[0].netmask\": has holes"},
        {network("10.0.0.1", "255.255.255.254"),
         "\"subnets[0].netmask\": leaves no room for hosts"},
        {network("10.0.0.255", "255.255.255.0"),
         "\"subnets[0].gateway\": is the network's or the broadcast address"},
        {std::string(2 << 20, ' '), "is larger than 1 MiB"},
    };
    for (const char* version : {"\"1.2\"", "\"1.2.3.4\"", "\"1.2.3x\"", "\"1.256.0\"", "5"})
        faults.emplace_back(std::string(R"({"lowest version": )") + version + "}",
                            "\"lowest version\": is not a version like \"0.1.5\"");
    for (const char* seconds : {"0", "-1", "1.5", "1e300", "\"60\"", "86401"})
        faults.emplace_back(std::string(R"({"silent after": )") + seconds + "}",
                            "\"silent after\": is not a whole number of seconds from 1 to 86400");
    for (const char* state : {"5", "\"\"", "[]"})
        faults.emplace_back(std::string(R"({"state": )") + state + "}",
                            "\"state\": is not the name of a file");
    for (const char* bind : {"5", "\"\"", "\"10.0.0\"", "\"::1\"", "\"localhost\"", "null"})
        faults.emplace_back(std::string(R"({"bind": )") + bind + "}",
                            "\"bind\": is not an IPv4 address");
    for (const char* port : {"0", "65536", "-1", "1.5", "\"1922\"", "1e300"})
        faults.emplace_back(std::string(R"({"port": )") + port + "}",
                            "\"port\": is not a port from 1 to 65535");
    for (const char* http : {"8080", "\"\"", "\"127.0.0.1\"", "\"127.0.0.1:\"", "\":8080\"",
                             "\"127.0.0.1:0\"", "\"127.0.0.1:65536\"", "\"127.0.0.1:80x\"",
                             "\"localhost:80\"", "\"127.0.0.1:+80\"", "\"[::1]:80\"", "null"})
        faults.emplace_back(std::string(R"({"http": )") + http + "}",
                            "\"http\": is not an IPv4 address and port like \"127.0.0.1:8080\"");
    auto edges = [&](const std::string& list) {
        return subnets(R"({"name": "n", "password": "p", "gateway": "10.0.0.1",
                           "netmask": "255.255.255.0", "edges": )" +
                       list + "}");
    };
    faults.emplace_back(edges("7"), "\"subnets[0].edges\": is not a list");
    faults.emplace_back(edges("[1, {}]"), "\"subnets[0].edges[1].serial\": is missing");
    faults.emplace_back(edges(R"([{"serial": 1, "x": 2}])"),
                        "\"subnets[0].edges[0].x\": unknown key");
    for (const char* serial : {"4294967296", "-2147483649", "1.5", "\"12\"", "\"0x\"",
                               "\"0x123456789\"", "\"0x1g\"", "true", "null", "[1]"})
        faults.emplace_back(edges(std::string("[1, ") + serial + "]"),
                            "\"subnets[0].edges[1]\": is not a serial number like 1001, -5 or "
                            "\"0x3E9\"");
    EXPECT_EQ(FaultOf(edges("[]")), "");
    EXPECT_EQ(config.subnets[0].edges, std::vector<uint32_t>()) << "nobody is let in";
    for (const auto& [content, fault] : faults)
        EXPECT_EQ(FaultOf(content), fault);
}

// Each fault as LINE and text.
std::string FaultsOf(const std::string& path) {
    std::string text;
    for (const CTConfigFault& fault : TcrConfig::Check(path))
        text += std::to_string(fault.line) + " " + fault.text + "\n";
    return text;
}

TEST_F(TcrConfigFile, ACheckFindsEveryFaultWithItsLineAndAStartTheFirst) {
    std::string content = R"({ "silent after": 0, "more": 1,
  "control": 5, "bind": "here",
  "port": 0,
  "subnets": [
    { "name": "n", "password": "p", "gateway": "10.0.0.1", "netmask": "255.255.255.0",
      "edges": [ 1,
        "2", { "serial": 3, "serial": 4, "x": 0 },
        {} ] },
    7,
    { "name": "n",
      "gateway": "10.0.0.0", "netmask": "255.255.255.0" },
    { "name": "m", "password": "", "password": "p", "gateway": "10.0.0",
      "netmask": "255.0.255.0", "edges": 1
    } ] })";
    EXPECT_EQ(FaultOf(content), "\"more\": unknown key");
    EXPECT_EQ(FaultsOf(path), R"(1 "more": unknown key
1 "silent after": is not a whole number of seconds from 1 to 86400
2 "control": is not the name of a file
2 "bind": is not an IPv4 address
3 "port": is not a port from 1 to 65535
7 "subnets[0].edges[1]": is not a serial number like 1001, -5 or "0x3E9"
7 "subnets[0].edges[2].serial": duplicate key
7 "subnets[0].edges[2].x": unknown key
8 "subnets[0].edges[3].serial": is missing
9 "subnets[1].": is not an object
10 "subnets[2].password": is missing
10 "subnets[2].name": duplicate name
11 "subnets[2].gateway": is the network's or the broadcast address
12 "subnets[3].password": duplicate key
12 "subnets[3].password": is not a text
12 "subnets[3].gateway": is not an IPv4 address
13 "subnets[3].edges": is not a list
)");
    EXPECT_EQ(FaultOf("{\n\"subnets\": [\n}"), "is not valid JSON (line 3)");
    EXPECT_EQ(FaultsOf(path), "3 is not valid JSON\n");
    EXPECT_EQ(FaultOf("[]"), "is not a JSON object");
    EXPECT_EQ(FaultsOf(path), "0 is not a JSON object\n");
    // A start goes on without its socket.
    std::string subnets = std::string("\"subnets\": [") + kSubnet + "]}";
    EXPECT_EQ(FaultOf("{\"control\": \"" + std::string(108, 'c') + "\",\n" + subnets), "");
    EXPECT_EQ(config.control->size(), 108u);
    EXPECT_EQ(FaultsOf(path), "1 \"control\": is too long for the name of a socket\n");
    EXPECT_EQ(FaultOf("{\"control\": \"\"," + subnets), "");
    EXPECT_EQ(config.control, "");
    EXPECT_EQ(FaultOf("{" + subnets), "");
    EXPECT_EQ(config.control, std::nullopt);
    EXPECT_EQ(FaultsOf(path), "");
}

}  // namespace
