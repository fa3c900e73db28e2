#include <gtest/gtest.h>

#include "inet/tnet_arp_packet.h"
#include "inet/tnet_icmp_packet.h"
#include "tests/support/wire_bytes.h"

namespace {

const tnet_ether_addr kOwnMac = {{0x02, 0x11, 0x22, 0x33, 0x44, 0x55}};
const tnet_ether_addr kPeerMac = {{0x0A, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
const uint32_t kOwnIP = htonl(0xc0a80a01);
const uint32_t kPeerIP = htonl(0xc0a80a63);

// Echo request with "hello" from the peer, with a MAC header, an option in the IPv4 header and one
// byte of padding behind the packet.
const WireBytes kRequest =
    Hex("021122334455 0abbccddeeff 0800"
        "4600 0025 1234 4000 4001 0000 c0a80a63 c0a80a01 01010100"
        "0800 f43b beef 0102 68656c6c6f ee");
const WireBytes kReply =
    Hex("0abbccddeeff 021122334455 0800"
        "4500 0021 0000 0000 4001 e527 c0a80a01 c0a80a63"
        "0000 fc3b beef 0102 68656c6c6f");
constexpr size_t kEtherSize = 14;

WireBytes L3(const WireBytes& frame) {
    return {frame.begin() + kEtherSize, frame.end()};
}

TEST(ArpPacket, ReplyAnswersThePeerAlsoInTheBytesOfItsRequest) {
    const WireBytes reply =
        Hex("0abbccddeeff 021122334455 0806 0001 0800 06 04 0002"
            "021122334455 c0a80a01 0abbccddeeff c0a80a63");
    WireBytes frame(CTArpPacket::kFrameSize, 0xFF);
    EXPECT_EQ(CTArpPacket::MakeReply(frame.data(), &kOwnMac, &kPeerMac, kOwnIP, kPeerIP), 0);
    EXPECT_EQ(frame, reply);

    WireBytes request = kRequest;
    auto* eth = RecordAt<tnet_ether_hdr>(request);
    EXPECT_EQ(CTArpPacket::MakeReply(eth, &eth->dst, &eth->src, kOwnIP, kPeerIP), 0);
    request.resize(reply.size());
    EXPECT_EQ(request, reply);
}

TEST(ArpPacket, AnyOpcodeCanBeBuiltAndNullIsRefused) {
    WireBytes frame(CTArpPacket::kFrameSize, 0xFF);
    auto make = [](void* buf, const tnet_ether_addr* sender, const tnet_ether_addr* target) {
        return CTArpPacket::MakeIPv4Arp(buf, kArpRequest, kOwnIP, sender, kPeerIP, target);
    };
    EXPECT_EQ(make(frame.data(), &kOwnMac, &kPeerMac), 0);
    EXPECT_EQ(frame, Hex("0abbccddeeff 021122334455 0806 0001 0800 06 04 0001"
                         "021122334455 c0a80a01 0abbccddeeff c0a80a63"));
    EXPECT_EQ(make(nullptr, &kOwnMac, &kPeerMac), 1);
    EXPECT_EQ(make(frame.data(), nullptr, &kPeerMac), 1);
    EXPECT_EQ(make(frame.data(), &kOwnMac, nullptr), 1);
}

TEST(IcmpPacket, ReplyFromParts) {
    WireBytes frame(kReply.size(), 0xFF);
    EXPECT_EQ(CIcmpPacket::MakeReply(frame.data(), &kOwnMac, &kPeerMac, kOwnIP, kPeerIP,
                                     htons(0xbeef), htons(0x0102), "hello", 5),
              0);
    EXPECT_EQ(frame, kReply);
    WireBytes packet(CIcmpPacket::kL3HeaderSize, 0xFF);
    EXPECT_EQ(CIcmpPacket::MakeL3Reply(packet.data(), kOwnIP, kPeerIP, htons(0xbeef), htons(0x0102),
                                       nullptr, 0),
              0);
    EXPECT_EQ(packet, Hex("4500 001c 0000 0000 4001 e52c c0a80a01 c0a80a63 0000 400e beef 0102"));
}

TEST(IcmpPacket, ReplyFromARequestLeavesOptionsAndPaddingBehind) {
    WireBytes packet(L3(kReply).size(), 0xFF);
    EXPECT_EQ(CIcmpPacket::MakeL3Reply(L3(kRequest).data(), packet.data()), 0);
    EXPECT_EQ(packet, L3(kReply));
    WireBytes frame = kRequest;
    EXPECT_EQ(CIcmpPacket::MakeReply(frame.data(), frame.data()), 0);  // in its own bytes
    frame.resize(kReply.size());
    EXPECT_EQ(frame, kReply);
}

TEST(IcmpPacket, ARequestWhoseLengthsContradictEachOtherIsRefused) {
    struct {
        uint8_t version_length;
        uint8_t total_length;
        int result;
    } const kLengths[] = {{0x46, 24 + 8, 0}, {0x46, 24 + 7, 22}, {0x46, 0, 22},
                          {0x44, 37, 22},    {0x40, 37, 22},     {0x4F, 60 + 7, 22}};
    for (const auto& lengths : kLengths) {
        WireBytes request = kRequest;
        request[kEtherSize] = lengths.version_length;
        request[kEtherSize + 3] = lengths.total_length;
        WireBytes frame(kReply.size(), 0xFF);
        EXPECT_EQ(CIcmpPacket::MakeReply(request.data(), frame.data()), lengths.result);
        EXPECT_EQ(frame == WireBytes(kReply.size(), 0xFF), lengths.result != 0);
    }
}

TEST(IcmpPacket, NullPointersAndImpossibleLengthsAreRefused) {
    WireBytes frame(100);
    uint8_t* buf = frame.data();
    EXPECT_EQ(CIcmpPacket::MakeReply(nullptr, &kOwnMac, &kPeerMac, 1, 2, 3, 4, "x", 1), 22);
    EXPECT_EQ(CIcmpPacket::MakeReply(buf, nullptr, &kPeerMac, 1, 2, 3, 4, "x", 1), 22);
    EXPECT_EQ(CIcmpPacket::MakeReply(buf, &kOwnMac, nullptr, 1, 2, 3, 4, "x", 1), 22);
    EXPECT_EQ(CIcmpPacket::MakeReply(buf, &kOwnMac, &kPeerMac, 1, 2, 3, 4, nullptr, 1), 22);
    EXPECT_EQ(CIcmpPacket::MakeL3Reply(buf, 1, 2, 3, 4, "x", -1), 22);
    EXPECT_EQ(CIcmpPacket::MakeL3Reply(buf, 1, 2, 3, 4, "x", CIcmpPacket::kDataMax + 1), 22);
    EXPECT_EQ(CIcmpPacket::MakeReply(nullptr, buf), 22);
    EXPECT_EQ(CIcmpPacket::MakeL3Reply(buf, nullptr), 22);
    EXPECT_EQ(frame, WireBytes(100));
}

}  // namespace
