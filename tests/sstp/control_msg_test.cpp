// The messages of joining, leaving and staying: echo, login, logout, dhcp, subnet, heartbeat.

#include <gtest/gtest.h>

#include "sstp/sstp_dhcp.h"
#include "sstp/sstp_echo.h"
#include "sstp/sstp_heartbeat.h"
#include "sstp/sstp_login.h"
#include "sstp/sstp_logout.h"
#include "sstp/sstp_subnet.h"
#include "tests/sstp/message_support.h"

namespace {

// Text fields: "office" and "%s%n" padded with zeros, and 32 letters without a terminator.
constexpr char kOffice[] = "6f66666963650000000000000000000000000000000000000000000000000000";
constexpr char kPercent[] = "2573256e00000000000000000000000000000000000000000000000000000000";
constexpr char kFull[] = "6162636465666768696a6b6c6d6e6f707172737475767778797a414243444546";

TEST(ControlMessages, EchoAndLogoutAreHeadersAlone) {
    ExpectFresh<CTSstpEchoMsg>("03 02 0000 0010 0000 00000000 ffffffff", "");
    // The reply starts with the addresses of a request.
    ExpectFresh<CTSstpEchoAck>("04 02 0000 0010 0000 00000000 ffffffff", "");
    ExpectFresh<CTSstpLogoutMsg>("03 04 0000 0010 0000 00000000 ffffffff", "\nLogout: ");
    ExpectFresh<CTSstpLogoutAck>("04 04 0000 0010 0000 ffffffff 00000000", "\nLogout Ack: ");
}

TEST(ControlMessages, Login) {
    ExpectWire<CTSstpLoginMsg>(
        std::string("03 03 0000 0078 0000 00000000 ffffffff") + kOffice + kPercent + kFull +
            "1a2b3c4d 00010203",
        [](CTSstpLoginMsg& to, const CTSstpLoginMsg& from) {
            to.SetSubnetName(from.GetSubnetName());
            to.SetUserName(from.GetUserName());
            to.SetUserPwd(from.GetUserPwd());
            to.SetSerialNumber(from.GetSerialNumber());
            to.SetVersion(from.GetVersion());
        },
        "Login Message:\n",
        "    subnet: office\n"
        "    user name: %s%n\n"
        "    user password: abcdefghijklmnopqrstuvwxyzABCDEF\n"
        "    serial number:0x1a2b3c4d\n"
        "    version:1.2.3\n");
    ExpectWire<CTSstpLoginAck>(
        "04 03 0000 0018 0000 ffffffff 00000000 fffffc18 00000a05",
        [](CTSstpLoginAck& to, const CTSstpLoginAck& from) {
            to.SetError(from.GetError());
            to.SetIdentifier(from.GetIdentifier());
        },
        "\nLogin ACK: ",
        "    err: 4294966296\n"
        "    identifier: 0x00000A05\n");
}

TEST(ControlMessages, LoginAttachIsTrueWhateverTheBuffer) {
    ReceivedBytes too_short(Hex("0303"), 15);
    EXPECT_TRUE(CTSstpLoginMsg().Attach(too_short.Skb()));
    EXPECT_FALSE(CTSstpLoginAck().Attach(too_short.Skb()));
}

TEST(ControlMessages, TextsAreCutTo32BytesAndReplacedAsAWhole) {
    CTSstpSubnetMsg msg;
    ASSERT_TRUE(msg.Create());
    msg.SetSubnetName("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMN");
    EXPECT_EQ(WireBytes(msg.GetSubnetName(), msg.GetSubnetName() + 32), Hex(kFull));
    EXPECT_EQ(msg.GetSubnetName(), reinterpret_cast<const char*>(msg.GetDataPtr()));
    msg.SetSubnetName("office");
    msg.SetSubnetName(nullptr);
    EXPECT_EQ(WireBytes(msg.GetSubnetName(), msg.GetSubnetName() + 32), Hex(kOffice));
}

TEST(ControlMessages, Dhcp) {
    ExpectWire<CTSstpDhcpMsg>(
        "03 05 0000 001c 0000 00000000 ffffffff 0a010203 0211223344ff 0000",
        [](CTSstpDhcpMsg& to, const CTSstpDhcpMsg& from) {
            to.SetIPAddr(from.GetIPAddr());
            to.SetEtherAddr(from.GetEtherAddr());
        },
        "\nDhcp msg: ",
        " MAC: 02:11:22:33:44:FF\n"
        " IP: 10.1.2.3\n");
    ExpectWire<CTSstpDhcpAck>(
        "04 05 0000 0020 0000 ffffffff 00000000 ffffffff 0a010001 ffff0000 0a010203",
        [](CTSstpDhcpAck& to, const CTSstpDhcpAck& from) {
            to.SetError(from.GetError());
            to.SetGateway(from.GetGateway());
            to.SetMask(from.GetMask());
            to.SetIP(from.GetIP());
        },
        "\nDhcp Ack: ",
        " err: -1\n"
        " IP:10.1.2.3\n"
        " Gateway: 10.1.0.1\n"
        " Mask: 255.255.0.0\n");
}

TEST(ControlMessages, Subnet) {
    ExpectWire<CTSstpSubnetMsg>(
        std::string("03 06 0000 0030 0000 00000000 ffffffff") + kFull,
        [](CTSstpSubnetMsg& to, const CTSstpSubnetMsg& from) {
            to.SetSubnetName(from.GetSubnetName());
        },
        "\nSubnet: ", " subnet name: abcdefghijklmnopqrstuvwxyzABCDEF\n");
    ExpectWire<CTSstpSubnetAck>(
        std::string("04 06 0000 0038 0000 ffffffff 00000000") + kFull + "0a010001 ffff0000",
        [](CTSstpSubnetAck& to, const CTSstpSubnetAck& from) {
            to.SetSubnetName(from.GetSubnetName());
            to.SetGateway(from.GetGateway());
            to.SetNetMask(from.GetNetMask());
        },
        "\nSubnet Ack: ",
        " Subnet: abcdefghijklmnopqrstuvwxyzABCDEF\n"
        " gateway: 10.1.0.1\n"
        " network mask:255.255.0.0\n"
        "\n");
}

TEST(ControlMessages, HeartBeat) {
    auto copy = [](auto& to, const auto& from) { to.SetTick(from.GetTick()); };
    ExpectWire<CTSstpHeartBeatMsg>("01 02 0000 0014 0000 00000000 ffffffff 80000001", copy,
                                   "\nHeartBeat: ", " tick: -2147483647\n");
    ExpectWire<CTSstpHeartBeatAck>("02 02 0000 0014 0000 ffffffff 00000000 01020304", copy,
                                   "\nHeartBeat Ack: ", " tick: 16909060\n");
}

}  // namespace
