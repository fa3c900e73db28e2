// What is wrong with a message is told, and nothing that a capture may hold makes the dissector
// fail.

#include <gmock/gmock.h>

#include <filesystem>
#include <random>

#include "lab/wire/wire_bodies.h"
#include "lab/wire/wire_kinds.h"
#include "tests/wireshark/shown_capture.h"

namespace {

using testing::HasSubstr;

constexpr WireMac kMac = {2, 0, 0, 0, 0, 9};
constexpr size_t kHeader = 16;
constexpr size_t kFrameHeaders = 42;
constexpr uint32_t kSeed = 20240817;

class Malformed : public ShownCapture {};

WireMessage Command(uint8_t sub, const WireBytes& body) {
    return {.type = 3, .sub = sub, .seq = 1, .src = 0, .dst = kWireCentral, .body = body};
}

// One of every kind, and of its replies.
std::vector<WireMessage> Samples() {
    using namespace wire_sub;
    WireDevice device{.ip = 1, .mac = kMac};
    WireRouter router{.identifier = 1, .serial = 2, .ip = 3, .port = 4};
    WireMessage heartbeat = Command(kHeartbeat, EncodeWire(WireTick{1}));
    heartbeat.type = 1;
    WireBytes inside = UdpPacket({Ip(192, 168, 15, 11), 9}, {Ip(192, 168, 15, 12), 9}, {1, 2, 3});
    WireMessage packet{.type = 5, .sub = 0, .seq = 1, .src = 0, .dst = 1, .body = inside};
    WireMessage second = packet;
    second.frame_total = 2;
    second.frame_index = 1;
    WireMessage first = second;
    first.frame_index = 0;
    WireMessage login = Command(kLogin, EncodeWire(WireLogin{"a", "b", "c", 1, 2}));
    WireMessage dhcp = Command(kDhcp, EncodeWire(WireDhcp{1, kMac}));
    WireMessage subnet = Command(kSubnet, EncodeWire(WireSubnet{"a"}));
    WireMessage add_router = Command(kAddRouter, EncodeWire(WireRouterAdd{.label = "a"}));
    WireMessage get_router = Command(kGetRouter, {});
    WireMessage get_device = Command(kGetDevice, EncodeWire(WireIdentifier{1}));
    return {heartbeat,
            heartbeat.Reply(EncodeWire(WireTick{2})),
            login,
            login.Reply(EncodeWire(WireLoginReply{0, 1})),
            dhcp,
            dhcp.Reply(EncodeWire(WireDhcpReply{0, 1, 2, 3})),
            subnet,
            subnet.Reply(EncodeWire(WireSubnetReply{"a", 1, 2})),
            Command(kPeerHeartbeat, EncodeWire(WireTick{1})),
            add_router,
            add_router.Reply(EncodeWire(WireRouterAddReply{})),
            Command(kDelRouter, EncodeWire(WireIdentifier{1})),
            get_router,
            get_router.Reply(EncodeWire(WireRouterList{{router, router}})),
            Command(kAddDevice, EncodeWire(WireDeviceAdd{1, {device, device}})),
            Command(kAddDevice, {}).Reply(),
            Command(kDelDevice, EncodeWire(WireDeviceDel{1, {{1}, {2}}})),
            get_device,
            get_device.Reply(EncodeWire(WireDeviceList{{device, device}})),
            second,
            first,
            packet};
}

WireBytes WithLength(WireBytes datagram, size_t length) {
    if (datagram.size() < 6) return datagram;
    datagram[4] = static_cast<uint8_t>(length >> 8);
    datagram[5] = static_cast<uint8_t>(length);
    return datagram;
}

// A message with a few bytes changed, cut or added; mostly of the length that it states.
WireBytes Mutated(WireBytes datagram, std::mt19937& random) {
    auto below = [&](size_t end) { return random() % end; };
    for (size_t changes = below(4); changes > 0; --changes)
        datagram[below(datagram.size())] = static_cast<uint8_t>(below(2) ? below(20) : random());
    if (below(3) == 0) datagram.resize(1 + below(datagram.size() + 10));
    if (below(4) != 0) datagram = WithLength(datagram, datagram.size());
    return datagram;
}

TEST_F(Malformed, IsToldWithItsReason) {
    using namespace wire_sub;
    struct Fault {
        WireBytes datagram;
        const char* mark;  // none: a fault of no consequence for a receiver
        const char* text;
    };
    const char* drops = "malformed";
    const char* deviates = "deviation";
    auto echo = [](auto&& change) {
        WireMessage message = Command(kEcho, {});
        change(message);
        return message.Encode();
    };
    WireBytes device = EncodeWire(WireDevice{});
    WireBytes late_text = EncodeWire(WireSubnet{"ab"});
    late_text[5] = 'c';
    std::vector<Fault> faults = {
        {WireBytes(15), drops, "A datagram of 15 bytes, shorter than the header"},
        {echo([](auto& m) { m.length_field = 15; }), drops, "Shorter than the header"},
        {echo([](auto& m) { m.length_field = 17; }), drops, "Longer than the datagram of 16 bytes"},
        {echo([](auto& m) { m.body = {0}, m.length_field = 16; }), deviates,
         "Shorter than the datagram of 17 bytes"},
        {echo([](auto& m) { m.type = 7; }), drops, "No such message"},
        {echo([](auto& m) { m.sub = 9; }), drops, "No such message"},
        {echo([](auto& m) { m.type = 5; }), drops, "No such message"},
        {echo([](auto& m) { m.type = 1, m.sub = 12; }), deviates, "Ignored wherever it arrives"},
        {echo([](auto& m) { m.type = 6, m.sub = 0; }), deviates, "Ignored wherever it arrives"},
        {echo([](auto& m) { m.frame_total = 2; }), deviates, "A fragment of no packet"},
        {echo([](auto& m) { m.frame_index = 1; }), deviates, "An index of no fragment"},
        {echo([](auto& m) { m.src = 16; }), deviates, "An identifier of nobody"},
        {echo([](auto& m) { m.dst = 0xFFFFFFFE; }), deviates, "An identifier of nobody"},
        {echo([](auto& m) { m.body = {0}; }), deviates, "More bytes than the message has"},
        {Command(kLogin, WireBytes(103)).Encode(), drops, "A body of 103 bytes instead of 104"},
        {Command(kDelDevice, WireBytes(3)).Encode(), drops, "A body of 3 bytes instead of 4"},
        {Command(kDelDevice, WireBytes(11)).Encode(), deviates, "Too short for a record"},
        {Command(kSubnet, late_text).Encode(), deviates, "A text goes on behind its end"},
        {Command(kDhcp, Hex("00000001 020000000009 0001")).Encode(), deviates,
         "A reserved byte is not 0"},
        {Command(kGetDevice, Hex("00000010")).Encode(), deviates, "An identifier of no edge"},
        {Command(kLogin, {}).Reply(Hex("00000001 00000001")).Encode(), deviates,
         "No such value: 1"},
        {Command(kGetDevice, {}).Reply(Hex("0003 0001 c0a80f0b 020000000001")).Encode(), deviates,
         "No such value: 3"},
        {Command(kGetRouter, {})
             .Reply(EncodeWire(WireRouterList{std::vector<WireRouter>(33)}))
             .Encode(),
         deviates, "Too many records: 33"},
        {WireMessage{.type = 5, .src = 0, .dst = 1}.Encode(), deviates, "An empty packet"},
        {WireMessage{.type = 5, .src = 0, .dst = 1, .body = {0x60, 0}}.Encode(), "not_ipv4",
         "Carries no IPv4 packet"},
    };
    for (const Fault& fault : faults)
        Add(fault.datagram, kEdgeA, kCentral);
    Rows rows =
        Fields({"tamvo.malformed", "tamvo.deviation", "tamvo.not_ipv4", "_ws.expert.message"});
    for (size_t i = 0; i < faults.size(); ++i) {
        SCOPED_TRACE(faults[i].text);
        EXPECT_EQ(rows[i][0].empty(), std::string("malformed") != faults[i].mark);
        const std::string mark = faults[i].mark;
        EXPECT_NE(rows[i][mark == "malformed" ? 0 : mark == "deviation" ? 1 : 2], "");
        EXPECT_THAT(rows[i][3], HasSubstr(faults[i].text));
    }
    // A malformed message is shown so without its tree, and is nobody's reply.
    EXPECT_THAT(Shown("-Y frame.number==2"), HasSubstr("malformed"));
}

// The lab's decoder was made from the protocol's description by itself: what it finds nothing wrong
// with the dissector does not either, and the other way round.
TEST_F(Malformed, IsWhatTheLabsDecoderFindsWrong) {
    std::mt19937 random(kSeed);
    std::vector<WireBytes> datagrams;
    for (const WireMessage& sample : Samples()) {
        for (int i = 0; i < 150; ++i)
            datagrams.push_back(Mutated(sample.Encode(), random));
    }
    for (const WireBytes& datagram : datagrams)
        Add(datagram, kEdgeA, kCentral);
    Rows rows = Fields({"tamvo.kind", "tamvo.malformed", "tamvo.deviation"});
    size_t sound = 0;
    for (size_t i = 0; i < datagrams.size(); ++i) {
        WireFaults faults;
        WireMessage message = WireMessage::Decode(datagrams[i], faults);
        const WireKind* kind = CheckWireKind(message, faults);
        EXPECT_EQ(rows[i][1].empty() && rows[i][2].empty(), faults.empty())
            << "frame " << i + 1 << ": " << HexOf(datagrams[i]) << testing::PrintToString(faults);
        if (!faults.empty() || !kind) continue;
        ++sound;
        EXPECT_EQ(rows[i][0], std::string(kind->name) + (message.IsReply() ? " reply" : ""));
    }
    // Both were there often enough.
    EXPECT_GT(sound, datagrams.size() / 10);
    EXPECT_LT(sound, datagrams.size() / 2);
}

TEST_F(Malformed, NothingMakesTheDissectorFail) {
    std::mt19937 random(kSeed);
    auto bytes = [&](size_t size) {
        WireBytes some(size);
        for (uint8_t& byte : some)
            byte = static_cast<uint8_t>(random());
        return some;
    };
    for (const WireMessage& sample : Samples()) {
        WireBytes whole = sample.Encode();
        for (size_t size = 1; size <= whole.size(); ++size) {
            WireBytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
            Add(cut, kEdgeA, kCentral);
            Add(WithLength(cut, size), kEdgeA, kCentral);
            Add(WithLength(whole, size), kEdgeA, kCentral);
            Add(whole, kEdgeA, kCentral, kFrameHeaders + size);  // by the capture
        }
        // And with halves that meet, all of them or what the capture has.
        WireMessage packet{.type = 5, .seq = 2, .frame_total = 2, .frame_index = 1, .src = 0};
        packet.body = bytes(40);
        Add(packet.Encode(), kEdgeA, kCentral, kFrameHeaders + 1 + random() % 60);
        packet.frame_index = 0;
        packet.body = {0x45};
        Add(packet.Encode(), kEdgeA, kCentral);
    }
    for (int i = 0; i < 500; ++i) {
        Add(bytes(1 + random() % 80), kEdgeA, kCentral);
        WireBytes typed = bytes(kHeader + random() % 60);
        typed[0] = static_cast<uint8_t>(random() % 6);
        typed[1] = static_cast<uint8_t>(random() % 20);
        Add(WithLength(typed, typed.size()), kEdgeA, kCentral);
    }
    // What the search for inputs found worth keeping, from its first byte and behind its numbers.
    for (const auto& file :
         std::filesystem::recursive_directory_iterator(TAMVO_SOURCE "/fuzz/corpus")) {
        std::string content = file.is_regular_file() ? ReadWholeFile(file.path().string()) : "";
        for (size_t skip = 0; skip < 4; ++skip) {
            size_t most = std::min(content.size(), skip + 60000);
            if (skip >= most) break;
            Add(WireBytes(&content[skip], &content[skip] + (most - skip)), kEdgeA, kCentral);
        }
    }
    // Tunnels within tunnels, and a train of them.
    WireBytes nested = Command(wire_sub::kEcho, {}).Encode();
    for (int depth = 0; depth < 300; ++depth) {
        WireMessage outer{
            .type = 5, .src = 0, .dst = 1, .body = UdpPacket(kEdgeA, kCentral, nested)};
        nested = outer.Encode();
        if (depth % 50 < 6) Add(nested, kEdgeA, kCentral);
    }
    Rows rows = Fields({"frame.protocols", "frame.cap_len"});
    for (size_t i = 0; i < rows.size(); ++i)
        EXPECT_THAT(rows[i][0], HasSubstr("udp:tamvo")) << "frame " << i + 1;
    Shown("-V");
    EXPECT_THAT(Shown("-2 -V"), HasSubstr("Tunnels within tunnels"));
}

}  // namespace
