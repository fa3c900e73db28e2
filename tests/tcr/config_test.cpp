#include "tcr/tcr_config.h"

#include <gtest/gtest.h>

#include "inet/tnet_ip.h"
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
        EXPECT_EQ(fault.find('\n'), std::string::npos);
        return fault.substr(path.size() + 2);
    }
    // The fault of a file with this one subnet.
    std::string SubnetFaultOf(const std::string& subnet) {
        return FaultOf(R"({"subnets": [)" + subnet + "]}");
    }

    ScratchDir dir;
    std::string path = dir.File("tcr.json");
    TcrConfig config;
};

TEST_F(TcrConfigFile, DefaultsServeADefaultEdge) {
    ASSERT_EQ(config.subnets.size(), 1u);
    EXPECT_EQ(config.subnets[0].name, "qwop");
    EXPECT_EQ(config.subnets[0].password, "qwop");
    EXPECT_EQ(config.subnets[0].gateway, CIPv4Addr(192, 168, 15, 5).GetIP());
    EXPECT_EQ(config.silent_seconds, 60);
}

TEST_F(TcrConfigFile, IsReadWhole) {
    EXPECT_EQ(FaultOf(std::string(R"({"lowest version": "1.2.3", "silent after": 30,
                                      "subnets": [)") +
                      kSubnet + R"(, {"name": "m", "password": "q", "gateway": "10.1.0.1",
                                      "netmask": "255.255.255.252"}]})"),
              "");
    EXPECT_EQ(config.lowest_version.GetVersion(), 0x10203u);
    EXPECT_EQ(config.silent_seconds, 30);
    ASSERT_EQ(config.subnets.size(), 2u);
    EXPECT_EQ(config.subnets[1].name, "m");
    EXPECT_EQ(config.subnets[1].mask, 0xFFFFFFFCu);
}

TEST_F(TcrConfigFile, EveryFaultNamesItsKeyAndReason) {
    EXPECT_EQ(FaultOf("{\n\"subnets\": [\n}"), "is not valid JSON (line 3)");
    EXPECT_EQ(FaultOf(""), "is not valid JSON (line 1)");
    EXPECT_EQ(FaultOf(std::string("{}\0x", 4)), "is not valid JSON (line 1)");
    EXPECT_EQ(FaultOf("[]"), "is not a JSON object");
    EXPECT_EQ(FaultOf("{}"), "\"subnets\": is missing");
    EXPECT_EQ(FaultOf(R"({"subnets": []})"), "\"subnets\": is empty");
    EXPECT_EQ(FaultOf(R"({"subnets": 5})"), "\"subnets\": is not a list");
    EXPECT_EQ(FaultOf(R"({"subnet": []})"), "\"subnet\": is no key of this file");
    for (const char* version : {"\"1.2\"", "\"1.2.3.4\"", "\"1.2.3x\"", "\"1.256.0\"", "5"}) {
        EXPECT_EQ(FaultOf(std::string(R"({"lowest version": )") + version + "}"),
                  "\"lowest version\": is not a version like \"0.1.5\"");
    }
    for (const char* seconds : {"0", "-1", "1.5", "1e300", "\"60\"", "86401"}) {
        EXPECT_EQ(FaultOf(std::string(R"({"silent after": )") + seconds + "}"),
                  "\"silent after\": is not a whole number of seconds from 1 to 86400");
    }
    EXPECT_EQ(SubnetFaultOf("7"), "\"subnets[0].\": is not an object");
    EXPECT_EQ(SubnetFaultOf(std::string(kSubnet) + "," + kSubnet),
              "\"subnets[1].name\": stands there twice");
    EXPECT_EQ(SubnetFaultOf(R"({"name": "n"})"), "\"subnets[0].password\": is missing");
    EXPECT_EQ(SubnetFaultOf(R"({"name": 5})"), "\"subnets[0].name\": is not a text");
    EXPECT_EQ(SubnetFaultOf(R"({"name": "123456789012345678901234567890123"})"),
              "\"subnets[0].name\": is longer than 32 bytes");
    auto network = [&](const std::string& gateway, const std::string& mask) {
        return SubnetFaultOf(R"({"name": "n", "password": "p", "gateway": ")" + gateway +
                             R"(", "netmask": ")" + mask + "\"}");
    };
    EXPECT_EQ(network("10.0.0", "255.0.0.0"), "\"subnets[0].gateway\": is not an IPv4 address");
    EXPECT_EQ(network("10.0.0.1", "255.0.255.0"), "\"subnets[0].netmask\": has holes");
    EXPECT_EQ(network("10.0.0.1", "255.255.255.254"),
              "\"subnets[0].netmask\": leaves no room for hosts");
    EXPECT_EQ(network("10.0.0.255", "255.255.255.0"),
              "\"subnets[0].gateway\": is the network's or the broadcast address");
    EXPECT_EQ(FaultOf(std::string(2 << 20, ' ')), "is larger than 1 MiB");
    std::string fault;
    EXPECT_FALSE(config.ReadFile(dir.File("none"), fault));
    EXPECT_EQ(fault, dir.File("none") + ": cannot be opened");
}

}  // namespace
