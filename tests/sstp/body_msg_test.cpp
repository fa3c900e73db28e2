// The concrete messages and the lists in them, against literal bytes and whole print-outs.

#include <gtest/gtest.h>
#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <climits>
#include <numeric>

#include "lab/wire/wire_message.h"
#include "sstp/sstp_add_device.h"
#include "sstp/sstp_add_router.h"
#include "sstp/sstp_del_device.h"
#include "sstp/sstp_del_router.h"
#include "sstp/sstp_dhcp.h"
#include "sstp/sstp_echo.h"
#include "sstp/sstp_get_device.h"
#include "sstp/sstp_get_router.h"
#include "sstp/sstp_login.h"
#include "sstp/sstp_logout.h"
#include "sstp/sstp_p2p_heartbeat.h"
#include "sstp/sstp_subnet.h"
#include "tests/support/captured_output.h"

namespace {

// A packet buffer of the given capacity that holds as much of the bytes as fits. Its back reserve,
// which is nobody's to read, is out of bounds for the address sanitizer.
class ReceivedBytes {
  public:
    ReceivedBytes(const WireBytes& bytes, int capacity) : m_skb(capacity) {
        m_skb.PutData(bytes.data(), std::min(capacity, static_cast<int>(bytes.size())));
        ASAN_POISON_MEMORY_REGION(Reserve(), CTSkBuffer::kReserve);
    }
    ~ReceivedBytes() { ASAN_UNPOISON_MEMORY_REGION(Reserve(), CTSkBuffer::kReserve); }
    CTSkBuffer& Skb() { return m_skb; }

  private:
    uint8_t* Reserve() { return m_skb.GetData() + m_skb.GetBufferSize(); }

    CTSkBuffer m_skb;
};

WireBytes BytesOf(CTSstpMessage& msg) {
    return {msg.GetBufferPtr(), msg.GetBufferPtr() + msg.GetMessageLength()};
}

std::string PrintOut(auto& msg) {
    return CapturedOutput([&] { EXPECT_EQ(msg.Print(), 0); });
}

// The header as a print-out shows it, with its newline.
std::string HeadOf(const WireBytes& bytes) {
    CTSstpMsgHdr hdr;
    hdr = reinterpret_cast<const sstp_msg_hdr*>(bytes.data());
    return CapturedOutput([&] { hdr.Print(); });
}

// Takes over every field that the message, or the record of a list, has.
template <typename Fields>
void CopyFields(Fields& to, const Fields& from) {
#define COPY(Name) \
    if constexpr (requires { to.Set##Name(from.Get##Name()); }) to.Set##Name(from.Get##Name())
    COPY(SubnetName);
    COPY(UserName);
    COPY(UserPwd);
    COPY(Version);
    COPY(Error);
    COPY(Identifier);
    COPY(SerialNumber);
    COPY(IPAddr);
    COPY(EtherAddr);
    COPY(IP);
    COPY(Gateway);
    COPY(Mask);
    COPY(NetMask);
    COPY(Tick);
    COPY(RouterType);
    COPY(RouterLabel);
    COPY(NetLayer);
    COPY(Stat);
    COPY(Type);
#undef COPY
    if constexpr (requires { to.SetIPv4Addr(0); }) to.SetIPv4Addr(from.GetIPvAddr());
    if constexpr (requires(CTSockAddr & addr) { to.SetExtSockAddr(addr); }) {
        CTSockAddr addr;
        if (from.GetExtSockaddr(addr)) to.SetExtSockAddr(addr);
    }
}

// A message as a fresh one starts, but for its body: a request goes from nobody to the central
// router, a reply the other way, but for two replies that start like requests.
WireBytes Wire(uint8_t type, uint8_t sub, const WireBytes& body = {}) {
    bool request = type % 2 == 1 || (type == 4 && (sub == 2 || sub == 8));
    uint32_t src = request ? 0 : kWireCentral;
    return WireMessage{type, sub, 0, 0, 0, src, ~src, body}.Encode();
}

// One message class against its bytes and print-out: title, header, lines. A fresh message is the
// header alone, and the same bytes once it has every field of a received one. Cut at any length,
// the received message yields either its whole record or nothing, and takes nothing in.
template <typename Msg>
void ExpectWire(uint8_t type, uint8_t sub, const std::string& body, const std::string& title,
                const std::string& lines = "") {
    const WireBytes bytes = Wire(type, sub, Hex(body));
    const WireBytes blank = Wire(type, sub, WireBytes(Hex(body).size()));
    const int size = static_cast<int>(bytes.size());
    EXPECT_EQ(Msg::GetContextLength(), size - kSstpHeaderSize);
    for (int capacity = kSstpHeaderSize - 1; capacity <= size + 1; ++capacity) {
        SCOPED_TRACE(title + HeadOf(bytes) + std::to_string(capacity));
        ReceivedBytes received(bytes, capacity);
        Msg from;
        bool attaches = capacity >= kSstpHeaderSize || std::is_same_v<Msg, CTSstpLoginMsg>;
        EXPECT_EQ(from.Attach(received.Skb()), attaches);
        EXPECT_TRUE(from.Verify());
        Msg to;
        ASSERT_TRUE(to.Create());
        ASSERT_EQ(to.GetBufferSize(), size);
        CopyFields(to, from);
        EXPECT_EQ(BytesOf(to), capacity < size ? blank : bytes);
        std::string printed = PrintOut(from);
        if (capacity < size) {
            CopyFields(from, to);
            continue;
        }
        EXPECT_EQ(printed, title.empty() ? "" : title + HeadOf(bytes) + lines);
        from.Destroy();
        CopyFields(to, from);
        to.Destroy();
        CopyFields(to, from);
    }
}

// Text fields: "office" and "%s%n" padded with zeros, and 32 letters without a terminator.
const std::string kOffice = "6f66666963650000000000000000000000000000000000000000000000000000";
const std::string kPercent = "2573256e00000000000000000000000000000000000000000000000000000000";
const std::string kFull = "6162636465666768696a6b6c6d6e6f707172737475767778797a414243444546";

TEST(Messages, OfJoiningLeavingAndStaying) {
    ExpectWire<CTSstpEchoMsg>(3, 2, "", "");
    ExpectWire<CTSstpEchoAck>(4, 2, "", "");
    ExpectWire<CTSstpLoginMsg>(3, 3, kOffice + kPercent + kFull + "1a2b3c4d 00010203",
                               "Login Message:\n",
                               "    subnet: office\n"
                               "    user name: %s%n\n"
                               "    user password: abcdefghijklmnopqrstuvwxyzABCDEF\n"
                               "    serial number:0x1a2b3c4d\n"
                               "    version:1.2.3\n");
    ExpectWire<CTSstpLoginAck>(4, 3, "fffffc18 00000a05", "\nLogin ACK: ",
                               "    err: 4294966296\n    identifier: 0x00000A05\n");
    ExpectWire<CTSstpLogoutMsg>(3, 4, "", "\nLogout: ");
    ExpectWire<CTSstpLogoutAck>(4, 4, "", "\nLogout Ack: ");
    ExpectWire<CTSstpDhcpMsg>(3, 5, "0a010203 0211223344ff 0000",
                              "\nDhcp msg: ", " MAC: 02:11:22:33:44:FF\n IP: 10.1.2.3\n");
    ExpectWire<CTSstpDhcpAck>(4, 5, "ffffffff 0a010001 ffff0000 0a010203", "\nDhcp Ack: ",
                              " err: -1\n IP:10.1.2.3\n Gateway: 10.1.0.1\n"
                              " Mask: 255.255.0.0\n");
    ExpectWire<CTSstpSubnetMsg>(3, 6, kFull,
                                "\nSubnet: ", " subnet name: abcdefghijklmnopqrstuvwxyzABCDEF\n");
    ExpectWire<CTSstpSubnetAck>(4, 6, kFull + "0a010001 ffff0000", "\nSubnet Ack: ",
                                " Subnet: abcdefghijklmnopqrstuvwxyzABCDEF\n"
                                " gateway: 10.1.0.1\n network mask:255.255.0.0\n\n");
    ExpectWire<CTSstpHeartBeatMsg>(1, 2, "80000001", "\nHeartBeat: ", " tick: -2147483647\n");
    ExpectWire<CTSstpHeartBeatAck>(2, 2, "01020304", "\nHeartBeat Ack: ", " tick: 16909060\n");
    ExpectWire<CTSstpP2PHeartbeatMsg>(3, 8, "01020304", "\np2p heartbeat: ", " tick: 16909060\n");
    ExpectWire<CTSstpP2PHeartbeatAck>(4, 8, "ffffffff", "\np2p heartbeat ack: ", " tick: -1\n");
}

TEST(Messages, OfRoutersAndDevices) {
    ExpectWire<CTSstpAddRouterMsg>(
        3, 10, "0102 03 00 00000a05 1a2b3c4d 0000 0782 c0a86364" + kPercent,
        "\nAdd Router: ", " label: %s%n\n Serial Number: 0x1a2b3c4d\n type: 258\n layer:  3\n");
    ExpectWire<CTSstpAddRouterAck>(4, 10, "ffffffff", "\nAdd Router Ack: ", " result: -1\n");
    ExpectWire<CTSstpDelRouterMsg>(3, 12, "00000a05",
                                   "\nDel Router: ", " identifier: 0x00000A05\n");
    ExpectWire<CTSstpDelRouterAck>(4, 12, "", "\nDel Router Ack: ");
    ExpectWire<CTSstpGetRouterMsg>(3, 14, "", "\nGet Router: ");
    ExpectWire<CTSstpAddDeviceAck>(4, 16, "", "\nAdd Device Ack: ");
    ExpectWire<CTSstpDelDeviceAck>(4, 17, "", "\nDel Device Ack: ");
    ExpectWire<CTSstpGetDeviceMsg>(3, 18, "00000a05", "\nGet Device: ", " Ident: 0x00000A05\n");
}

TEST(Messages, TextsAreCutTo32BytesAndReplacedAsAWhole) {
    CTSstpSubnetMsg msg;
    ASSERT_TRUE(msg.Create());
    msg.SetSubnetName("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMN");
    EXPECT_EQ(WireBytes(msg.GetSubnetName(), msg.GetSubnetName() + 32), Hex(kFull));
    EXPECT_EQ(msg.GetSubnetName(), reinterpret_cast<const char*>(msg.GetDataPtr()));
    msg.SetSubnetName("office");
    msg.SetSubnetName(nullptr);
    EXPECT_EQ(WireBytes(msg.GetSubnetName(), msg.GetSubnetName() + 32), Hex(kOffice));
}

// A fresh message with a list: its buffer is for the longest list, its length that of a header,
// without the identifier that lies before some lists.
template <typename Msg>
void ExpectFreshList(uint8_t type, uint8_t sub, int body_capacity, const std::string& title) {
    Msg msg;
    ASSERT_TRUE(msg.Create());
    EXPECT_EQ(BytesOf(msg), Wire(type, sub));
    EXPECT_EQ(msg.GetBufferSize(), kSstpHeaderSize + body_capacity);
    EXPECT_EQ(msg.GetParamListLength(), -Msg::GetContextLength());
    EXPECT_EQ(PrintOut(msg),
              title + HeadOf(Wire(type, sub)) + (type == 3 ? " Ident: 0x00000000\n" : ""));
}

TEST(ListMessages, FreshOnesAreHeadersAlone) {
    ExpectFreshList<CTSstpGetRouterAck>(4, 14, 640, "\nGet Router Ack: ");
    ExpectFreshList<CTSstpGetDeviceAck>(4, 18, 448, "\nGet Device Ack: ");
    ExpectFreshList<CTSstpAddDeviceMsg>(3, 16, 900, "\nAdd Device: ");
    ExpectFreshList<CTSstpDelDeviceMsg>(3, 17, 132, "\nDel Device: ");
}

// The list ends with the message and with the buffer, whichever is first.
TEST(ListMessages, ListLengthIsWhatTheBufferHolds) {
    const WireBytes wire = Hex("0311 0000 001c 0000 00000000 ffffffff 00000a05 0a010203 c0a86364");
    for (int capacity = kSstpHeaderSize; capacity <= 30; ++capacity) {
        SCOPED_TRACE(capacity);
        ReceivedBytes received(wire, capacity);
        CTSstpDelDeviceMsg msg;
        ASSERT_TRUE(msg.Attach(received.Skb()));
        const bool held = capacity >= 20;
        EXPECT_EQ(msg.GetParamListPtr(), held ? msg.GetDataPtr() + 4 : nullptr);
        EXPECT_EQ(msg.GetParamListLength(), std::clamp(capacity - 20, 0, 8));
        std::string lines = held ? " Ident: 0x00000A05\n" : " Ident: 0x00000000\n";
        if (capacity >= 24) lines += " 0. 10.1.2.3\n";
        if (capacity >= 28) lines += " 1. 192.168.99.100\n";
        EXPECT_EQ(PrintOut(msg), "\nDel Device: " + HeadOf(wire) + lines);
        // A length below header and identifier, and one that the buffer does not hold.
        msg.SetLength(3);
        EXPECT_EQ(msg.GetParamListLength(), held ? 3 - 20 : 0);
        PrintOut(msg);
        msg.SetLength(0xffff);
        EXPECT_EQ(msg.GetParamListLength(), std::max(0, capacity - 20));
        PrintOut(msg);
    }
}

// Records viewed in place, their print-out, and the same bytes from a list of one's own with every
// field taken over.
template <typename List>
void ExpectRecords(const std::string& records, const std::string& print) {
    WireBytes wire = Hex(records);
    List list;
    ASSERT_TRUE(list.Attach(wire.data(), static_cast<int>(wire.size())));
    int length = 0;
    EXPECT_EQ(CapturedOutput([&] { length = list.Print(); }), print);
    EXPECT_EQ(length, static_cast<int>(print.size()));
    EXPECT_TRUE(list.IsEnd()) << "printing walks the list";
    List to;
    ASSERT_EQ(to.Create(list.GetCount()), 0);
    for (list.First(); !list.IsEnd(); list.Next()) {
        ASSERT_TRUE(to.Append());
        CopyFields(to, list);
    }
    const uint8_t* at = static_cast<const uint8_t*>(to.GetDataPtr());
    EXPECT_EQ(WireBytes(at, at + to.GetDataLength()), wire);
    // Beyond the last record there is nothing to read or to write; the record before is written in
    // place, with the zeros that are read there.
    to.Next();
    CopyFields(to, list);
    CopyFields(list, to);
    EXPECT_EQ(wire, Hex(records));
    list.First();
    CopyFields(list, to);
    EXPECT_EQ(wire[1], 0);
}

const std::string kDevices =
    "0001 0002 0a010203 0211223344ff"
    "ffff fffe ffffffff aabbccddeeff";

TEST(ParamList, Records) {
    ExpectRecords<CTSstpGetRouterAckParamList>(
        "0001 0002 03 00 0782 c0a86364 00000a05 1a2b3c4d"
        "ffff fffe fd 00 ffff ffffffff ffffffff ffffffff",
        "GetRouterParam list: count: 2, length: 40\n"
        "serial:0x1A2B3C4D, ident: 2565, stat: 1, type: 2, layer: 3, "
        "ext addr: 192.168.99.100:1922\n"
        "serial:0xFFFFFFFF, ident: -1, stat: 65535, type: 65534, layer: 253, "
        "ext addr: 255.255.255.255:65535\n");
    ExpectRecords<CTSstpGetDeviceAckParamList>(
        kDevices,
        "GetDeviceParam list: count: 2, length: 28\n"
        "IP: 10.1.2.3, MAC: 02:11:22:33:44:FF, stat: 1, type: 2\n"
        "IP: 255.255.255.255, MAC: AA:BB:CC:DD:EE:FF, stat: 65535, type: 65534\n");
}

int Appends(CTSstpRecordList& list) {
    int appended = 0;
    while (list.Append())
        ++appended;
    return appended;
}

TEST(ParamList, GrowsToItsCreatedCapacityAndNoFurther) {
    CTSstpGetDeviceAckParamList devices;
    EXPECT_EQ(devices.Expand(8), 1);
    EXPECT_EQ(Appends(devices), 0) << "not before Create";
    EXPECT_EQ(devices.Create(10), 0);
    EXPECT_EQ(Appends(devices), 10);
    EXPECT_EQ(devices.GetCount(), 10);
    EXPECT_EQ(devices.Expand(8), 1);
    // Again: a new and empty array, with the default maximum as its only limit.
    EXPECT_EQ(devices.Create(960), 0);
    EXPECT_EQ(Appends(devices), 64);
    devices.Destroy();
    EXPECT_EQ(devices.GetDataPtr(), nullptr);
    EXPECT_EQ(Appends(devices), 0);
    CTSstpGetRouterAckParamList routers;
    EXPECT_EQ(routers.Create(100), 0);
    EXPECT_EQ(Appends(routers), 40);
    EXPECT_DEATH(routers.Create(-1), "bad array length");
}

// The number of borrowed records stays the maximum, and once they are given up the list can grow
// into it.
TEST(ParamList, ViewsWholeRecordsAndRemembersTheirNumber) {
    WireBytes wire = Hex(kDevices + "0001");
    CTSstpGetDeviceAckParamList list;
    EXPECT_FALSE(list.Attach(nullptr, 30));
    EXPECT_FALSE(list.Attach(wire.data(), 0));
    ASSERT_EQ(list.Create(3), 0);
    ASSERT_TRUE(list.Attach(wire.data(), 30));
    EXPECT_EQ(list.GetCount(), 2);
    EXPECT_EQ(Appends(list), 0);
    EXPECT_EQ(list.Expand(8), 1);
    list.Destroy();
    EXPECT_EQ(list.GetDataPtr(), wire.data());
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_EQ(Appends(list), 0);
    EXPECT_EQ(list.Expand(INT_MAX), 0);
    EXPECT_EQ(Appends(list), 2);
    ASSERT_EQ(list.Create(10), 0);
    EXPECT_EQ(Appends(list), 2);
    EXPECT_EQ(wire, Hex(kDevices + "0001"));
}

// Fills the message with a list: what went in, and the length afterwards.
void ExpectFilled(auto& msg, auto& list, int copied, int length) {
    msg.SetLength(0);
    EXPECT_EQ(msg.FillParamList(list), copied);
    EXPECT_EQ(msg.GetMessageLength(), length);
}

TEST(ListMessages, ListsAreCutAtTheRecordsThatOneMessageHoldsAndAtTheBuffer) {
    CTSstpGetRouterAckParamList routers;
    ASSERT_EQ(routers.Create(40), 0);
    while (routers.Append())
        routers.SetIdentifier(static_cast<uint32_t>(routers.GetCount()));
    CTSstpGetRouterAck router_ack;
    ASSERT_TRUE(router_ack.Create());
    ExpectFilled(router_ack, routers, 640, 656);
    EXPECT_EQ(router_ack.GetDataPtr()[31 * 20 + 15], 32);
    ASSERT_TRUE(routers.Attach(router_ack.GetDataPtr() + 20, 100));
    ExpectFilled(router_ack, routers, 100, 116);
    EXPECT_EQ(router_ack.GetDataPtr()[15], 2) << "records of the same message";

    CTSstpGetDeviceAckParamList devices;
    ASSERT_EQ(devices.Create(64), 0);
    Appends(devices);
    ReceivedBytes roomy(WireBytes(16), 2000);
    ReceivedBytes room_for_one(WireBytes(16), 16 + 4 + 21);
    CTSstpGetDeviceAck device_ack;
    CTSstpAddDeviceMsg add;
    ASSERT_TRUE(device_ack.Attach(roomy.Skb()) && add.Create());
    ExpectFilled(device_ack, devices, 448, 464);
    ExpectFilled(add, devices, 896, 916);
    ASSERT_TRUE(add.Attach(room_for_one.Skb()));
    ExpectFilled(add, devices, 14, 34);
    devices.Destroy();
    ExpectFilled(add, devices, 0, 20);

    CTSstpDelDeviceMsg del;
    uint32_t addrs[33];
    std::iota(std::begin(addrs), std::end(addrs), 1);
    EXPECT_EQ(del.FillParamList(addrs, 33), 0) << "nothing to fill yet";
    ASSERT_TRUE(del.Create());
    for (auto [from, n, copied] :
         {std::tuple(addrs, 33, 128), {addrs, 2, 8}, {addrs, -1, 0}, {nullptr, 1, 0}}) {
        EXPECT_EQ(del.FillParamList(from, n), copied);
        EXPECT_EQ(del.GetParamListLength(), copied);
        EXPECT_EQ(memcmp(del.GetParamListPtr(), addrs, static_cast<size_t>(copied)), 0);
    }
}

}  // namespace
