#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "cfg/central_router_cfg.h"
#include "cfg/local_host_cfg.h"
#include "cfg/local_router_cfg.h"
#include "cfg/sstp_cfg.h"
#include "cfg/subnet_cfg.h"
#include "tests/cfg/unformatted.h"
#include "tests/support/captured_output.h"

namespace {

template <typename Section>
void Read(Section& section, const std::string& json) {
    CTJsonObject tree;
    ASSERT_TRUE(tree.Parse(json.c_str())) << json;
    EXPECT_EQ(section.ParseJson(tree.GetHandle()), 0);
    tree.Free();
}

template <typename Section>
std::string Printed(const Section& section) {
    CTString text;
    section.Print(text);
    EXPECT_EQ(CapturedOutput([&] { section.Print(); }), text.c_str());
    return text.c_str();
}

TEST(SectionCfg, DefaultsPrint) {
    EXPECT_EQ(Printed(CTSubnetCfg()),
              "Subnet:\n\tSubnet: qwop\n\tUser name: qwop\n\tUser password: qwop\n");
    EXPECT_EQ(Printed(CTCentralRouterCfg()), "TCR: \n\tIP: 127.0.0.1\n\tPort: 1922\n");
    CTLocalRouterCfg router;
    router.m_serial_number = 0xABC;
    EXPECT_EQ(Printed(router),
              "Local Router: \n\tLabel: tap-1\n\tSerial number: 0x00000abc\n\ttype: 2\n"
              "\tnet layer: 3\n");
    EXPECT_EQ(Printed(CTLocalHostCfg()),
              "Lan: \n\tMAC: 00:00:00:00:00:00\n\tIP: 0.0.0.0\n\tNetWork Gateway: 0.0.0.0\n"
              "\tNetwork mask: 255.255.255.0\n");
    CTSstpCfg sstp;
    EXPECT_EQ(Printed(sstp),
              "SSTP: \n\trecv timeout: 200ms\n\tHeartBeat interval: 20s\n\tp2p: Disable\n"
              "\tMTU: 1400\n");
    sstp.m_p2p_enable = true;
    EXPECT_NE(Printed(sstp).find("\tp2p: Enable\n"), std::string::npos);
}

TEST(SectionCfg, ATextIsCutToItsFieldAndOnlyAStringIsTaken) {
    CTSubnetCfg subnet;
    std::string longest(32, 'n');
    Read(subnet, R"({"net name":")" + longest + R"(12345678","user name":"%s%n",
        "user password":5})");
    EXPECT_EQ(Printed(subnet),
              "Subnet:\n\tSubnet: " + longest + "\n\tUser name: %s%n\n\tUser password: qwop\n");
    EXPECT_EQ(Unformatted(subnet.GenerateJson()),
              R"({"net name":")" + longest + R"(","user name":"%s%n","user password":"qwop"})");
    for (const char* no_object : {"5", "\"net name\"", "[\"x\",{\"net name\":\"y\"}]"})
        Read(subnet, no_object);
    EXPECT_EQ(subnet.ParseJson(nullptr), 0);
    EXPECT_EQ(subnet.m_net_name, longest);
    subnet.SetUserPwd((longest + "p").c_str());
    subnet.SetUserPwd(nullptr);
    EXPECT_EQ(subnet.m_user_pwd, longest);
}

TEST(SectionCfg, TypeAndLayerAreReadByRulesThatDifferFromWriting) {
    CTLocalRouterCfg router;
    router.m_serial_number = 0x80000000;
    const char* types[] = {"HW", "TAP", "TUN", "BRIDGE", "ECHO", "TUN"};
    const char* layers[] = {"L0", "L1", "L2", "L3", "L4", "L3"};
    for (uint8_t i = 0; i < 6; ++i) {
        router.m_type = i;
        router.m_layer = i;
        Read(router, R"({"type":1,"layer":4,"label":5})");  // nothing to take
        std::string json = Unformatted(router.GenerateJson());
        EXPECT_EQ(json, std::string(R"({"label":"tap-1","serial number":-2147483648,"type":")") +
                            types[i] + R"(","layer":")" + layers[i] + "\"}");
        router.m_serial_number = 0;
        router.m_type = 9;
        Read(router, json);
        EXPECT_EQ(router.m_serial_number, 0x80000000);
        EXPECT_EQ(router.m_type, i == 5 ? 2 : i);
        EXPECT_EQ(router.m_layer, i == 4 ? 4 : 3);
    }
    for (const char* no_name : {R"({"type":"bridge","layer":"L9"})", R"({"type":"","layer":""})"}) {
        router.m_type = 9;
        router.m_layer = 7;
        Read(router, no_name);
        EXPECT_TRUE(router.m_type == 0 && router.m_layer == 3) << no_name;
    }
}

TEST(SectionCfg, AnAddressThatDoesNotParseLeavesItsField) {
    const std::string good =
        R"({"ip":"10.0.0.7","mac":"8E:10:45:38:32:28","gateway":"10.0.0.1","netmask":"255.0.0.0"})";
    CTLocalHostCfg host;
    Read(host, good);
    for (const char* bad : {"\"\"", "\"1.2.3\"", "\"1.2.3.4444\"", "\"1.2.3.4 \"",
                            "\"11:22:33:44:55\"", "\"11:22:33:44:55:6x\"", "5", "null", "[]"}) {
        Read(host, std::string(R"({"ip":)") + bad + R"(,"mac":)" + bad + R"(,"gateway":)" + bad +
                       R"(,"netmask":)" + bad + "}");
        EXPECT_EQ(Unformatted(host.GenerateJson()), good) << bad;
    }
    host.SetEtherAddr(nullptr);
    Read(host, R"({"mac":"8e10:4538:3229","ip":"00.00.00.00"})");
    EXPECT_EQ(Printed(host),
              "Lan: \n\tMAC: 8E:10:45:38:32:29\n\tIP: 0.0.0.0\n\tNetWork Gateway: 10.0.0.1\n"
              "\tNetwork mask: 255.0.0.0\n");
}

TEST(SectionCfg, InterfaceAndMtuAreWrittenBackAsTheyWereAndRefusedWhenNoEdgeMayStartWithThem) {
    CTLocalHostCfg host;
    const std::string addresses =
        R"("ip":"10.0.0.7","mac":"8E:10:45:38:32:28","gateway":"10.0.0.1","netmask":"255.0.0.0")";
    Read(host, "{" + addresses + "}");
    EXPECT_EQ(host.m_interface, "Tamvo");
    EXPECT_EQ(host.m_mtu, 1500);
    EXPECT_EQ(Unformatted(host.GenerateJson()), "{" + addresses + "}") << "absent they stay so";
    for (auto [interface, mtu] :
         {std::pair("abcd", 576), {"Site_2-Backbone", 1384}, {"0123", 1500}}) {
        std::string keys =
            R"("interface":")" + std::string(interface) + R"(","mtu":)" + std::to_string(mtu);
        Read(host, "{" + keys + "," + addresses + "}");
        EXPECT_EQ(host.GetRefusedKey(), nullptr);
        EXPECT_EQ(host.m_interface, interface);
        EXPECT_EQ(host.m_mtu, mtu);
        EXPECT_EQ(Unformatted(host.GenerateJson()), "{" + addresses + "," + keys + "}");
    }
    for (const char* bad : {"\"abc\"", "\"Site_2-Backbone1\"", "\"a b c\"", "\"tamvo%d\"",
                            "\"tam/vo\"", "\"tamvö\"", "\"\"", "5", "null", "[\"Tamvo\"]"}) {
        CTLocalHostCfg refused;
        Read(refused, std::string(R"({"interface":)") + bad + "}");
        EXPECT_STREQ(refused.GetRefusedKey(), "interface") << bad;
        EXPECT_EQ(refused.m_interface, "Tamvo") << bad;
    }
    for (const char* bad : {"575", "1501", "1384.5", "-1", "1e300", "\"1384\"", "true", "null"}) {
        CTLocalHostCfg refused;
        Read(refused, std::string(R"({"mtu":)") + bad + "}");
        EXPECT_STREQ(refused.GetRefusedKey(), "mtu") << bad;
        EXPECT_EQ(refused.m_mtu, 1500) << bad;
    }
}

TEST(SectionCfg, TheControlSocketIsNamedOrNotAndKeptAsItWasGiven) {
    using Named = std::optional<std::string>;
    for (auto [json, named] : {std::tuple(R"("control":"/run/x/control")", Named("/run/x/control")),
                               {R"("control":"")", Named("")},
                               {R"("control":5)", Named()},
                               {"", Named()}}) {
        CTLocalHostCfg host;
        Read(host, std::string("{") + json + "}");
        EXPECT_EQ(host.m_control, named) << json;
        std::string written = Unformatted(host.GenerateJson());
        EXPECT_TRUE(written.ends_with(std::string(json) + "}")) << written;
        EXPECT_EQ(written.find("control") != std::string::npos, *json != '\0');
    }
}

TEST(SectionCfg, ANumberIsTakenWhateverItsTypeAndAFlagIsTrueForTheLiteralTrueOnly) {
    CTCentralRouterCfg central;
    CTSstpCfg sstp;
    for (auto [json, port, timeout] : {std::tuple("65537.9", 1, 65537),
                                       {"-1", 65535, -1},
                                       {"\"true\"", 0, INT_MIN},
                                       {"true", 0, INT_MIN}}) {
        Read(central, std::string(R"({"ip":"no address","port":)") + json + "}");
        EXPECT_EQ(central.m_port, port) << json;
        sstp.m_p2p_enable = true;
        Read(sstp, std::string(R"({"recv timeout":)") + json + R"(,"p2p eanble":)" + json + "}");
        EXPECT_EQ(sstp.m_recv_timeout, timeout) << json;
        EXPECT_EQ(sstp.m_p2p_enable, json == std::string("true")) << json;
    }
    EXPECT_EQ(Printed(central), "TCR: \n\tIP: 127.0.0.1\n\tPort: 0\n");
    // The spelling of a fresh file.
    Read(sstp, R"({"recv timeout":200,"p2p enable":false,"mtuj":9})");
    EXPECT_EQ(Unformatted(sstp.GenerateJson()),
              R"({"recv timeout":200,"p2p eanble":true,"heartbeat interval":20,"mtu":1400})");
}

TEST(SectionCfg, AKeyThatMayBeAbsentIsKeptAsItWasGiven) {
    const std::string always =
        R"({"recv timeout":200,"p2p eanble":false,"heartbeat interval":20,"mtu":1400)";
    for (auto [json, rejoin_after, strict] :
         {std::tuple(R"("mtu":1400)", 60, false),
          {R"("rejoin after":0,"strict source":true)", 0, true},
          {R"("rejoin after":7.25,"strict source":false)", 8, false},
          {R"("rejoin after":0.5)", 1, false},
          {R"("rejoin after":-5,"strict source":"true")", 0, false},
          {R"("rejoin after":1e+300,"strict source":1)", 86400, false},
          {R"("rejoin after":"9","strict source":null)", 60, false},
          {R"("rejoin after":[{"a":"\u001b"}],"strict source":{})", 60, false}}) {
        CTSstpCfg sstp;
        Read(sstp, std::string("{") + json + "}");
        EXPECT_EQ(sstp.m_rejoin_after, rejoin_after) << json;
        EXPECT_EQ(sstp.m_strict_source, strict) << json;
        bool kept = json != std::string(R"("mtu":1400)");
        EXPECT_EQ(Unformatted(sstp.GenerateJson()),
                  always + (kept ? "," : "") + (kept ? json : "") + "}");
        // A later read without the keys leaves them.
        Read(sstp, "{}");
        EXPECT_EQ(sstp.m_rejoin_after, rejoin_after) << json;
    }
}

}  // namespace
