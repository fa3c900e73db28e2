// What the dissector shows of every message, of exchanges and of split packets, held against what
// was sent.

#include <gmock/gmock.h>

#include "lab/wire/wire_bodies.h"
#include "lab/wire/wire_kinds.h"
#include "tests/wireshark/shown_capture.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr uint32_t kA = 0x0000;
constexpr uint32_t kB = 0x0001;
constexpr WireMac kMac = {2, 0, 0, 0, 0, 9};

class Dissector : public ShownCapture {
  protected:
    // Of each frame the places of those fields, from 1, that it has.
    std::vector<std::string> Marks(const std::vector<std::string>& fields) {
        std::vector<std::string> marked;
        for (const auto& row : Fields(fields)) {
            marked.emplace_back();
            for (size_t i = 0; i < row.size(); ++i) {
                if (!row[i].empty()) marked.back() += std::to_string(i + 1);
            }
        }
        return marked;
    }
};

WireMessage Command(uint8_t sub, uint16_t seq, const WireBytes& body, uint32_t src = kA) {
    return {.type = 3, .sub = sub, .seq = seq, .src = src, .dst = kWireCentral, .body = body};
}

WireMessage Packet(uint16_t seq, const WireBytes& body) {
    return {.type = 5, .sub = 0, .seq = seq, .src = kA, .dst = kB, .body = body};
}

// As a sender splits it.
WireMessage Half(const WireMessage& whole, uint8_t index) {
    constexpr ptrdiff_t kFirst = 1384;
    WireMessage half = whole;
    half.frame_total = 2;
    half.frame_index = index;
    auto cut = whole.body.begin() + kFirst;
    half.body = index == 0 ? WireBytes(whole.body.begin(), cut) : WireBytes(cut, whole.body.end());
    return half;
}

WireBytes Content(size_t size, uint8_t seed) {
    WireBytes content(size);
    for (size_t i = 0; i < size; ++i)
        content[i] = static_cast<uint8_t>(seed + i * 7);
    return content;
}

// A packet of a whole interface, whose content tells from which one it is.
WireBytes CarriedPacket(uint8_t seed, size_t size = 1500) {
    return UdpPacket({Ip(192, 168, 15, 11), 9}, {Ip(192, 168, 15, 12), 9},
                     Content(size - 28, seed));
}

TEST_F(Dissector, ShowsEveryFieldOfEveryMessage) {
    using namespace wire_sub;
    struct Sample {
        WireMessage message;
        const char* kind;
        std::vector<std::pair<const char*, std::string>> values;
    };
    WireMessage heartbeat{.type = 1, .sub = 2, .seq = 7, .src = kA, .dst = kWireCentral};
    heartbeat.body = EncodeWire(WireTick{4000000000});
    WireMessage login = Command(
        kLogin, 8, EncodeWire(WireLogin{"office", "someone", "secret", 1001, 0x010203}), ~0U);
    WireMessage dhcp = Command(kDhcp, 9, EncodeWire(WireDhcp{Ip(192, 168, 15, 11), kMac}));
    WireMessage subnet = Command(kSubnet, 10, EncodeWire(WireSubnet{"office"}));
    WireMessage routers = Command(kGetRouter, 11, {});
    WireMessage devices = Command(kGetDevice, 12, EncodeWire(WireIdentifier{0x205}));
    WireRouterAdd router{.identifier = 0x305,
                         .serial = 1003,
                         .label = "edge-c",
                         .ip = Ip(10, 77, 0, 3),
                         .port = 40003,
                         .type = 1,
                         .layer = 2};
    WireMessage add_router = Command(kAddRouter, 13, EncodeWire(router));
    WireMessage del_router = Command(kDelRouter, 14, EncodeWire(WireIdentifier{0x405}));
    WireDevice one{.ip = Ip(192, 168, 15, 13), .mac = kMac, .stat = 0, .type = 3};
    WireDevice two{.ip = Ip(192, 168, 15, 14), .mac = {2, 0, 0, 0, 0, 10}};
    WireMessage add_device = Command(kAddDevice, 15, EncodeWire(WireDeviceAdd{0x505, {one, two}}));
    WireMessage del_device =
        Command(kDelDevice, 16, EncodeWire(WireDeviceDel{0x605, {{one.ip}, {two.ip}}}));
    WireMessage peer = Command(kPeerHeartbeat, 17, EncodeWire(WireTick{5}));
    WireRouter known{.identifier = 1, .serial = 1002, .ip = Ip(10, 77, 0, 2), .port = 40002};
    WireRouter idle{.identifier = 2, .serial = 1003, .ip = 0, .port = 0, .stat = 0};

    std::string both_macs = "02:00:00:00:00:09;02:00:00:00:00:0a";
    const std::vector<Sample> samples = {
        {heartbeat, "heartbeat", {{"tamvo.tick", "4000000000"}}},
        {heartbeat.Reply(EncodeWire(WireTick{3})), "heartbeat reply", {{"tamvo.tick", "3"}}},
        {Command(kEcho, 6, {}), "echo", {{"tamvo.length", "16"}}},
        {Command(kEcho, 6, {}).Reply(), "echo reply", {{"tamvo.length", "16"}}},
        {login,
         "login",
         {{"tamvo.subnet", "office"},
          {"tamvo.user", "someone"},
          {"tamvo.password", "secret"},
          {"tamvo.serial", "1001"},
          {"tamvo.version", "0x00010203"},
          {"tamvo.src", "0xffffffff"}}},
        {login.Reply(EncodeWire(WireLoginReply{0, 0x104})),
         "login reply",
         {{"tamvo.error", "0"}, {"tamvo.identifier", "0x00000104"}}},
        {login.Reply(EncodeWire(WireLoginReply{1002, 0})),
         "login reply",
         {{"tamvo.error", "1002"}, {"_ws.expert.message", "Refused: wrong password"}}},
        {Command(kLogout, 6, {}), "logout", {}},
        {Command(kLogout, 6, {}).Reply(), "logout reply", {}},
        {dhcp, "dhcp", {{"tamvo.ip", "192.168.15.11"}, {"tamvo.mac", "02:00:00:00:00:09"}}},
        {dhcp.Reply(EncodeWire(WireDhcpReply{0, Ip(10, 0, 0, 1), Ip(255, 0, 0, 0), 5})),
         "dhcp reply",
         {{"tamvo.gateway", "10.0.0.1"}, {"tamvo.mask", "255.0.0.0"}, {"tamvo.ip", "0.0.0.5"}}},
        {subnet, "subnet", {{"tamvo.subnet", "office"}}},
        {subnet.Reply(EncodeWire(WireSubnetReply{"office", Ip(10, 0, 0, 1), Ip(255, 0, 0, 0)})),
         "subnet reply",
         {{"tamvo.subnet", "office"}, {"tamvo.gateway", "10.0.0.1"}, {"tamvo.mask", "255.0.0.0"}}},
        {peer, "peer heartbeat", {{"tamvo.tick", "5"}}},
        {peer.Reply(EncodeWire(WireTick{5})), "peer heartbeat reply", {{"tamvo.tick", "5"}}},
        {add_router,
         "router add",
         {{"tamvo.identifier", "0x00000305"},
          {"tamvo.serial", "1003"},
          {"tamvo.label", "edge-c"},
          {"tamvo.router.ip", "10.77.0.3"},
          {"tamvo.router.port", "40003"},
          {"tamvo.router.type", "1"},
          {"tamvo.router.layer", "2"}}},
        {add_router.Reply(EncodeWire(WireRouterAddReply{1})),
         "router add reply",
         {{"tamvo.error", "1"}}},
        {del_router, "router del", {{"tamvo.identifier", "0x00000405"}}},
        {del_router.Reply(), "router del reply", {}},
        {routers, "router get", {}},
        {routers.Reply(EncodeWire(WireRouterList{{known, idle}})),
         "router get reply",
         {{"tamvo.identifier", "0x00000001;0x00000002"},
          {"tamvo.serial", "1002;1003"},
          {"tamvo.router.ip", "10.77.0.2;0.0.0.0"},
          {"tamvo.router.port", "40002;0"},
          {"tamvo.router.stat", "1;0"},
          {"tamvo.router.type", "2;2"},
          {"tamvo.router.layer", "3;3"}}},
        {add_device,
         "device add",
         {{"tamvo.identifier", "0x00000505"},
          {"tamvo.ip", "192.168.15.13;192.168.15.14"},
          {"tamvo.mac", both_macs},
          {"tamvo.device.stat", "0;1"},
          {"tamvo.device.type", "3;1"}}},
        {add_device.Reply(), "device add reply", {}},
        {del_device,
         "device del",
         {{"tamvo.identifier", "0x00000605"}, {"tamvo.ip", "192.168.15.13;192.168.15.14"}}},
        {del_device.Reply(), "device del reply", {}},
        {devices, "device get", {{"tamvo.identifier", "0x00000205"}}},
        {devices.Reply(EncodeWire(WireDeviceList{{one, two}})),
         "device get reply",
         {{"tamvo.ip", "192.168.15.13;192.168.15.14"}, {"tamvo.mac", both_macs}}},
        {Packet(18, CarriedPacket(1, 100)),
         "network packet",
         {{"tamvo.packet_length", "100"},
          {"ip.dst", "10.77.0.254;192.168.15.12"},
          {"data.data", HexOf(Content(72, 1))}}},
    };

    // No kind is forgotten.
    std::set<std::string> kinds;
    for (const WireKind& kind : WireKinds()) {
        kinds.insert(kind.name);
        if (kind.check_reply) kinds.insert(std::string(kind.name) + " reply");
    }
    std::vector<std::string> fields = {"tamvo.kind",   "tamvo.type", "tamvo.subtype", "tamvo.seq",
                                       "tamvo.length", "tamvo.src",  "tamvo.dst"};
    for (const Sample& sample : samples) {
        kinds.erase(sample.kind);
        Up(sample.message);
        for (const auto& [field, value] : sample.values) {
            if (std::find(fields.begin(), fields.end(), field) == fields.end())
                fields.emplace_back(field);
        }
    }
    EXPECT_THAT(kinds, ElementsAre());
    fields.emplace_back("tamvo.malformed");
    fields.emplace_back("tamvo.deviation");
    Rows rows = Fields(fields);
    auto shown = [&](size_t i, const std::string& field) {
        auto place = std::find(fields.begin(), fields.end(), field);
        return rows[i][static_cast<size_t>(place - fields.begin())];
    };
    for (size_t i = 0; i < samples.size(); ++i) {
        SCOPED_TRACE(samples[i].kind);
        const WireMessage& message = samples[i].message;
        EXPECT_EQ(shown(i, "tamvo.kind"), samples[i].kind);
        EXPECT_EQ(shown(i, "tamvo.type"), std::to_string(message.type));
        EXPECT_EQ(shown(i, "tamvo.subtype"), std::to_string(message.sub));
        EXPECT_EQ(shown(i, "tamvo.seq"), std::to_string(message.seq));
        EXPECT_EQ(shown(i, "tamvo.length"), std::to_string(message.Encode().size()));
        EXPECT_EQ(shown(i, "tamvo.src") == "0xffffffff", message.src == kWireCentral);
        EXPECT_EQ(shown(i, "tamvo.dst") == "0xffffffff", message.dst == kWireCentral);
        EXPECT_EQ(shown(i, "tamvo.malformed") + shown(i, "tamvo.deviation"), "");
        for (const auto& [field, value] : samples[i].values) {
            if (std::string(field) == "_ws.expert.message")
                EXPECT_THAT(shown(i, field), HasSubstr(value));
            else
                EXPECT_EQ(shown(i, field), value) << field;
        }
    }
}

TEST_F(Dissector, LinksRepliesToTheirRequests) {
    WireMessage ask = Command(wire_sub::kEcho, 5, {});
    Up(ask);  // 1, answered in 3 after 2.5 ms
    // 2: of another edge, with the same number.
    Add(ask.Encode(), kEdgeB, kCentral);
    Wait(500);
    Down(ask.Reply());
    Add(ask.Reply().Encode(), kCentral, kEdgeB);
    // 5 to 7: sent three times, the third one answered 1 ms later, and once more in 9.
    WireMessage again = Command(wire_sub::kLogout, 6, {});
    for (int i = 0; i < 3; ++i) {
        Up(again);
        Wait(199000);
    }
    Wait(-199000);
    Down(again.Reply());
    Down(again.Reply());
    // 10, 11: the same number as 1, for something else.
    Up(Command(wire_sub::kSubnet, 5, EncodeWire(WireSubnet{"a"})));
    Down(Command(wire_sub::kSubnet, 5, {}).Reply(EncodeWire(WireSubnetReply{"a", 1, 2})));
    Rows rows = Fields({"tamvo.reply_in", "tamvo.request_in", "tamvo.rtt", "tamvo.repeat_of",
                        "tamvo.repeated_in", "tamvo.rtt_first"});
    EXPECT_THAT(
        rows,
        ElementsAre(ElementsAre("3", "", "", "", "", ""), ElementsAre("4", "", "", "", "", ""),
                    ElementsAre("", "1", "0.002500000", "", "", ""),
                    ElementsAre("", "2", "0.002500000", "", "", ""),
                    ElementsAre("", "", "", "", "6", ""), ElementsAre("", "", "", "5", "7", ""),
                    ElementsAre("8", "", "", "6", "", ""),
                    ElementsAre("", "7", "0.001000000", "", "", "0.401000000"),
                    ElementsAre("", "7", "0.002000000", "", "", "0.402000000"),
                    ElementsAre("11", "", "", "", "", ""),
                    ElementsAre("", "10", "0.001000000", "", "", "")));
    EXPECT_THAT(Marks({"tamvo.repeated", "tamvo.unanswered", "tamvo.answered_again"}),
                ElementsAre("", "", "", "", "", "1", "1", "", "3", "", ""));
}

TEST_F(Dissector, LinksNothingThatOnlyLooksLikeAReply) {
    WireMessage ask = Command(wire_sub::kSubnet, 1, EncodeWire(WireSubnet{"a"}));
    WireBytes reply = EncodeWire(WireSubnetReply{"a", 1, 2});
    Down(Command(wire_sub::kLogout, 7, {}).Reply());  // 1: to nothing
    Up(ask);                                          // 2: to be answered by a malformed one
    Down(ask.Reply({1, 2, 3}));
    ask.seq = 2;  // 4, 5: one number for two requests, which are therefore two
    Up(ask);
    ask.body = EncodeWire(WireSubnet{"b"});
    Up(ask);
    ask.seq = 3;  // 6 to 8: too late to have to do with each other
    Up(ask);
    Wait(60000000);
    Up(ask);
    Wait(60000000);
    Down(ask.Reply(reply));
    ask.seq = 4;  // 9, 10: an edge takes it for the answer, though it is none
    Up(ask);
    Down(Command(wire_sub::kLogout, 4, {}).Reply());
    EXPECT_THAT(Marks({"tamvo.unanswered", "tamvo.unasked", "tamvo.malformed", "tamvo.repeated",
                       "tamvo.request_in", "tamvo.deviation"}),
                ElementsAre("2", "1", "3", "1", "1", "1", "1", "2", "", "56"));
}

TEST_F(Dissector, JoinsTheHalvesOfABurstInWhateverOrderTheyAre) {
    constexpr uint16_t kBurst = 16;
    for (uint8_t index : {uint8_t{1}, uint8_t{0}}) {
        for (uint16_t seq = 0; seq < kBurst; ++seq) {
            uint8_t seed = static_cast<uint8_t>(seq);
            Up(Half(Packet(seq, CarriedPacket(seed)), index));
        }
    }
    Rows rows = Fields({"tamvo.joined_in", "tamvo.joined_with", "tamvo.packet_length", "data.data",
                        "tamvo.frame_index"});
    for (size_t i = 0; i < kBurst; ++i) {
        EXPECT_THAT(rows[i], ElementsAre(std::to_string(kBurst + i + 1), "", "", "", "1"));
        EXPECT_THAT(rows[kBurst + i],
                    ElementsAre("", std::to_string(i + 1), "1500",
                                HexOf(Content(1472, static_cast<uint8_t>(i))), "0"));
    }
    // Frames are shown once more in any order, as when somebody clicks at them.
    Rows one_pass = Fields({"tamvo.joined_with", "data.data"}, "");
    EXPECT_EQ(one_pass[kBurst + 3], (std::vector<std::string>{"4", HexOf(Content(1472, 3))}));
}

TEST_F(Dissector, TellsOfHalvesThatAReceiverCannotJoin) {
    auto pair = [](uint16_t seq) { return Packet(seq, CarriedPacket(1)); };
    Up(Half(pair(1), 0));  // 1, 2: reversed
    Up(Half(pair(1), 1));
    Up(Half(pair(2), 1));  // 3 to 6: one twice, the other twice
    Up(Half(pair(2), 1));
    Up(Half(pair(2), 0));
    Up(Half(pair(2), 0));
    Up(Half(pair(3), 1));  // 7, 8: too late
    Wait(2000000);
    Up(Half(pair(3), 0));
    Up(Half(pair(4), 1));  // 9: and 10, 11 from another place, and of another source
    Add(Half(pair(4), 0).Encode(), kEdgeB, kCentral);
    WireMessage stranger = Half(pair(4), 0);
    stranger.src = kB;
    Up(stranger);
    Up(Half(pair(5), 1));  // 12, 13, 14: too far apart
    Up(Packet(5 + 4097, CarriedPacket(1, 100)));
    Up(Half(pair(5), 0));
    Up(Half(Packet(4200, CarriedPacket(1, 2033)), 1));  // 15, 16: one byte too much
    Up(Half(Packet(4200, CarriedPacket(1, 2033)), 0));
    EXPECT_THAT(
        Marks({"tamvo.joined_with", "tamvo.reversed", "tamvo.half_again", "tamvo.alone",
               "tamvo.too_large"}),
        ElementsAre("", "12", "4", "3", "1", "4", "4", "4", "4", "4", "4", "4", "", "4", "", "15"));
    // What was lost with the reversed halves is shown nevertheless.
    EXPECT_EQ(Fields({"data.data"})[1][0], HexOf(Content(1472, 1)));
}

TEST_F(Dissector, TakesApartWhatASenderHandedOnInOneCall) {
    // Three datagrams of one size, and a shorter one.
    WireBytes together;
    for (uint16_t seq = 0; seq < 4; ++seq) {
        uint8_t seed = static_cast<uint8_t>(seq);
        WireBytes one = Packet(seq, CarriedPacket(seed, seq < 3 ? 200 : 100)).Encode();
        together.insert(together.end(), one.begin(), one.end());
    }
    Add(together, kEdgeA, kCentral);
    // What only looks like it: no further message behind the first one.
    WireBytes alone = Packet(9, CarriedPacket(9, 200)).Encode();
    alone.resize(alone.size() + 216);
    Add(alone, kEdgeA, kCentral);
    // All second halves, then all first ones, are joined one by one.
    for (uint8_t index : {uint8_t{1}, uint8_t{0}}) {
        together.clear();
        for (uint8_t seed : {uint8_t{10}, uint8_t{11}}) {
            WireBytes one = Half(Packet(seed, CarriedPacket(seed)), index).Encode();
            together.insert(together.end(), one.begin(), one.end());
        }
        Add(together, kEdgeA, kCentral);
    }
    Rows rows = Fields({"tamvo.seq", "data.data", "tamvo.train", "tamvo.trailing"});
    EXPECT_EQ(rows[0][0], "0;1;2;3");
    EXPECT_EQ(rows[0][1], HexOf(Content(172, 0)) + ";" + HexOf(Content(172, 1)) + ";" +
                              HexOf(Content(172, 2)) + ";" + HexOf(Content(72, 3)));
    EXPECT_NE(rows[0][2], "");
    EXPECT_THAT(rows[1], ElementsAre("9", HexOf(Content(172, 9)), "", std::string(432, '0')));
    EXPECT_EQ(rows[2][1], "");
    EXPECT_EQ(rows[3][1], HexOf(Content(1472, 10)) + ";" + HexOf(Content(1472, 11)));
}

TEST_F(Dissector, KnowsTheProtocolOnOtherPorts) {
    constexpr WireEnd kElsewhere{Ip(10, 77, 0, 253), 7000};
    WireMessage peer{.type = 3, .sub = 8, .seq = 1, .src = kA, .dst = kB};
    peer.body = EncodeWire(WireTick{1});
    WireBytes junk = Hex("f1f20304 05060708 090a0b0c 0d0e0f10 11");
    Add(junk, kEdgeB, kEdgeA);           // 1: edge A is not known yet
    Add(peer.Encode(), kEdgeA, kEdgeB);  // 2
    Add(junk, kCentral, kEdgeB);         // 3: to the port of the protocol
    Add(junk, kElsewhere, kEdgeA);       // 4: to one who has spoken it
    Add(junk, kElsewhere, {Ip(10, 77, 0, 5), 5});
    Add(Command(wire_sub::kEcho, 1, {}).Encode(), kEdgeB, kElsewhere);  // 6: another central router
    // Close to it, and not the protocol's: 7 to 12.
    WireMessage wrong = peer;
    wrong.length_field = 21;
    constexpr WireEnd kStranger{Ip(10, 77, 0, 9), 6001};
    constexpr WireEnd kOther{Ip(10, 77, 0, 9), 6002};
    Add(wrong.Encode(), kStranger, kOther);
    wrong = peer;
    wrong.src = 16;
    Add(wrong.Encode(), kStranger, kOther);
    wrong = peer;
    wrong.frame_total = 2;
    Add(wrong.Encode(), kStranger, kOther);
    wrong = peer;
    wrong.body.push_back(0);
    Add(wrong.Encode(), kStranger, kOther);
    Add(Packet(1, Content(40, 3)).Encode(), kStranger, kOther);
    Add({}, kStranger, kCentral);
    std::vector<std::string> kinds;
    for (auto& row : Fields({"tamvo.kind"}))
        kinds.push_back(row[0]);
    EXPECT_THAT(kinds, ElementsAre("", "peer heartbeat", "unknown", "unknown", "", "echo", "", "",
                                   "", "", "", ""));
    // And on ports that somebody names, whatever comes.
    EXPECT_EQ(Fields({"tamvo.kind"}, "-o tamvo.ports:5,6000-6010")[4][0], "unknown");
}

TEST_F(Dissector, ShowsTextsThatCannotSteerATerminal) {
    const std::string label =
        "\x1b[31m\n\t\x7f\\\"<script>\xc2\x9b\xe2\x80\xae\xff\xc3\xa4\xed\xa0\x80";
    const std::string shown = R"(\x1b[31m\x0a\x09\x7f\\"<script>\xc2\x9b\xe2\x80\xae\xff)"
                              "\xc3\xa4"
                              R"(\xed\xa0\x80)";
    Up(Command(wire_sub::kAddRouter, 1, EncodeWire(WireRouterAdd{.label = label})));
    Up(Command(wire_sub::kLogin, 2, EncodeWire(WireLogin{label, label, label, 1, 2})));
    Rows rows = Fields({"tamvo.label", "tamvo.subnet", "tamvo.user", "tamvo.password"});
    EXPECT_THAT(rows[0][0], shown);
    EXPECT_THAT(rows[1], ElementsAre("", shown, shown, shown));
    for (const char* options : {"", "-V", "-T pdml", "-T json", "-T text -P -V"}) {
        std::string text = Shown(options);
        EXPECT_THAT(text, HasSubstr("1b[31m"));
        for (char c : text)
            EXPECT_TRUE(c == '\n' || c == '\t' || static_cast<unsigned char>(c) >= ' ');
        EXPECT_THAT(text, AllOf(Not(HasSubstr("\x7f")), Not(HasSubstr("\xc2\x9b")),
                                Not(HasSubstr("\xe2\x80\xae"))));
    }
}

TEST_F(Dissector, HasTheFiltersThatAreDocumented) {
    Up(Command(wire_sub::kEcho, 1, {}));
    std::string doc = ReadWholeFile(TAMVO_SOURCE "/docs/protocol.md");
    std::string all = "tamvo";
    for (size_t begin; (begin = doc.find("`tamvo")) != std::string::npos;) {
        doc.erase(0, begin + 1);
        all += " or (" + doc.substr(0, doc.find('`')) + ")";
    }
    EXPECT_THAT(all, HasSubstr("tamvo.malformed"));
    EXPECT_THAT(Shown("-Y '" + all + "'"), HasSubstr("Echo"));
}

}  // namespace
