// The messages about routers and devices, and the heartbeat between edges.

#include <gtest/gtest.h>

#include <vector>

#include "sstp/sstp_add_device.h"
#include "sstp/sstp_add_router.h"
#include "sstp/sstp_del_device.h"
#include "sstp/sstp_del_router.h"
#include "sstp/sstp_get_device.h"
#include "sstp/sstp_get_router.h"
#include "sstp/sstp_p2p_heartbeat.h"
#include "tests/sstp/message_support.h"

namespace {

// A fresh message whose type and sub type are given, without a record in its length.
template <typename Msg>
void ExpectEmpty(const std::string& types, const std::string& title,
                 const std::string& lines = "") {
    const char* ends = types.starts_with("04") ? "ffffffff 00000000" : "00000000 ffffffff";
    ExpectFresh<Msg>(types + "0000 0010 0000" + ends, title, lines);
}

TEST(RouterMessages, AddRouter) {
    ExpectWire<CTSstpAddRouterMsg>(
        "03 0a 0000 0044 0000 00000000 ffffffff"
        "0102 03 00 00000a05 1a2b3c4d 0000 0782 c0a86364"
        "6c616220 31000000 00000000 00000000 00000000 00000000 00000000 00000000",
        [](CTSstpAddRouterMsg& to, const CTSstpAddRouterMsg& from) {
            CTSockAddr addr;
            if (from.GetExtSockaddr(addr)) to.SetExtSockAddr(addr);
            to.SetRouterType(from.GetRouterType());
            to.SetNetLayer(from.GetNetLayer());
            to.SetIdentifier(from.GetIdentifier());
            to.SetSerialNumber(from.GetSerialNumber());
            to.SetRouterLabel(from.GetRouterLabel());
        },
        "\nAdd Router: ",
        " label: lab 1\n"
        " Serial Number: 0x1a2b3c4d\n"
        " type: 258\n"
        " layer:  3\n");
    ExpectWire<CTSstpAddRouterAck>(
        "04 0a 0000 0014 0000 ffffffff 00000000 ffffffff",
        [](auto& to, const auto& from) { to.SetError(from.GetError()); },
        "\nAdd Router Ack: ", " result: -1\n");
}

TEST(RouterMessages, DelRouterAndGetDeviceNameARouter) {
    auto copy = [](auto& to, const auto& from) { to.SetIdentifier(from.GetIdentifier()); };
    ExpectWire<CTSstpDelRouterMsg>("03 0c 0000 0014 0000 00000000 ffffffff 00000a05", copy,
                                   "\nDel Router: ", " identifier: 0x00000A05\n");
    ExpectWire<CTSstpGetDeviceMsg>("03 12 0000 0014 0000 00000000 ffffffff 00000a05", copy,
                                   "\nGet Device: ", " Ident: 0x00000A05\n");
}

TEST(RouterMessages, PeerHeartbeat) {
    auto copy = [](auto& to, const auto& from) { to.SetTick(from.GetTick()); };
    ExpectWire<CTSstpP2PHeartbeatMsg>("03 08 0000 0014 0000 00000000 ffffffff 01020304", copy,
                                      "\np2p heartbeat: ", " tick: 16909060\n");
    // The reply starts with the addresses of a request.
    ExpectWire<CTSstpP2PHeartbeatAck>("04 08 0000 0014 0000 00000000 ffffffff ffffffff", copy,
                                      "\np2p heartbeat ack: ", " tick: -1\n");
}

TEST(RouterMessages, FreshOnesWithoutARecordAreHeadersAlone) {
    ExpectEmpty<CTSstpDelRouterAck>("040c", "\nDel Router Ack: ");
    ExpectEmpty<CTSstpGetRouterMsg>("030e", "\nGet Router: ");
    ExpectEmpty<CTSstpGetRouterAck>("040e", "\nGet Router Ack: ");
    ExpectEmpty<CTSstpAddDeviceAck>("0410", "\nAdd Device Ack: ");
    ExpectEmpty<CTSstpDelDeviceAck>("0411", "\nDel Device Ack: ");
    ExpectEmpty<CTSstpGetDeviceAck>("0412", "\nGet Device Ack: ");
    // Until their list is filled, these two leave out their identifier too.
    ExpectEmpty<CTSstpAddDeviceMsg>("0310", "\nAdd Device: ", " Ident: 0x00000000\n");
    ExpectEmpty<CTSstpDelDeviceMsg>("0311", "\nDel Device: ", " Ident: 0x00000000\n");
}

constexpr char kDelDevice[] = "03 11 0000 001c 0000 00000000 ffffffff 00000a05 0a010203 c0a86364";

// The list ends with the message and with the buffer, whichever is first.
TEST(DeviceMessages, ListLengthIsWhatTheBufferHolds) {
    for (int capacity = kSstpHeaderSize; capacity <= 30; ++capacity) {
        SCOPED_TRACE(capacity);
        ReceivedBytes received(Hex(kDelDevice), capacity);
        CTSstpDelDeviceMsg msg;
        ASSERT_TRUE(msg.Attach(received.Skb()));
        EXPECT_EQ(msg.GetIdentifier(), capacity >= 20 ? 0x0a05u : 0u);
        EXPECT_EQ(msg.GetParamListPtr(), capacity >= 20 ? msg.GetDataPtr() + 4 : nullptr);
        EXPECT_EQ(msg.GetParamListLength(), std::clamp(capacity - 20, 0, 8));
        std::string addrs = capacity >= 24 ? " 0. 10.1.2.3\n" : "";
        if (capacity >= 28) addrs += " 1. 192.168.99.100\n";
        EXPECT_EQ(PrintOut(msg), "\nDel Device: " + HeadOf(Hex(kDelDevice)) + " Ident: 0x0000" +
                                     (capacity >= 20 ? "0A05\n" : "0000\n") + addrs);
        // A length field below header and identifier, and one that the buffer does not hold.
        msg.SetLength(3);
        EXPECT_EQ(msg.GetParamListLength(), 0);
        msg.SetLength(0xffff);
        EXPECT_EQ(msg.GetParamListLength(), std::max(0, capacity - 20));
        PrintOut(msg);
    }
    EXPECT_EQ(CTSstpAddDeviceMsg().GetParamListLength(), 0);
}

// Fills the message with a list as long as it can be: what went in, and the length afterwards.
template <typename Msg, typename List>
void ExpectFilled(Msg& msg, List& list, int copied, int length) {
    EXPECT_EQ(msg.FillParamList(list), copied);
    EXPECT_EQ(msg.GetMessageLength(), length);
    msg.SetLength(0);
}

TEST(DeviceMessages, ListsAreCutAtTheRecordsThatOneMessageHoldsAndAtTheBuffer) {
    CTSstpGetRouterAckParamList routers;
    ASSERT_EQ(routers.Create(40), 0);
    while (routers.Append())
        routers.SetIdentifier(static_cast<uint32_t>(routers.GetCount()));
    CTSstpGetRouterAck router_ack;
    ASSERT_TRUE(router_ack.Create());
    ExpectFilled(router_ack, routers, 640, 656);
    EXPECT_EQ(router_ack.GetBufferSize(), 656);
    EXPECT_EQ(router_ack.GetDataPtr()[31 * 20 + 15], 32);
    ASSERT_TRUE(routers.Attach(router_ack.GetDataPtr() + 20, 100));
    ExpectFilled(router_ack, routers, 100, 116);
    EXPECT_EQ(router_ack.GetDataPtr()[15], 2) << "records of the same message";

    CTSstpGetDeviceAckParamList devices;
    ASSERT_EQ(devices.Create(64), 0);
    while (devices.Append()) {
    }
    CTSstpGetDeviceAck device_ack;
    CTSstpAddDeviceMsg add;
    CTSstpAddDeviceMsg tight;
    ReceivedBytes room_for_one(WireBytes(16), 16 + 4 + 21);
    ASSERT_TRUE(device_ack.Create() && add.Create() && tight.Attach(room_for_one.Skb()));
    EXPECT_EQ(device_ack.GetBufferSize(), 464);
    EXPECT_EQ(add.GetBufferSize(), 916);
    ExpectFilled(device_ack, devices, 448, 464);
    ReceivedBytes roomy(WireBytes(16), 2000);
    ASSERT_TRUE(device_ack.Attach(roomy.Skb()));
    ExpectFilled(device_ack, devices, 448, 464);
    ExpectFilled(add, devices, 896, 916);
    ExpectFilled(tight, devices, 14, 34);
    devices.Destroy();
    ExpectFilled(tight, devices, 0, 20);

    CTSstpDelDeviceMsg del;
    std::vector<uint32_t> addrs(33, htonl(0x0a010203));
    EXPECT_EQ(del.FillParamList(addrs.data(), 33), 0) << "nothing to fill yet";
    ASSERT_TRUE(del.Create());
    EXPECT_EQ(del.FillParamList(addrs.data(), 33), 128);
    EXPECT_EQ(del.GetLength(), 148);
    EXPECT_EQ(del.FillParamList(addrs.data(), -1), 0);
    EXPECT_EQ(del.FillParamList(nullptr, 1), 0);
    EXPECT_EQ(del.GetLength(), 20);
}

}  // namespace
