#include <gtest/gtest.h>

#include "inet/tnet_arp_packet.h"
#include "inet/tnet_icmp_packet.h"
#include "lab/wire/wire_bytes.h"

namespace {

const tnet_ether_addr kOwnMac = {{0x02, 0x11, 0x22, 0x33, 0x44, 0x55}};
const tnet_ether_addr kPeerMac = {{0x0A, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
const uint32_t kOwnIP = htonl(0xc0a80a01);
const uint32_t kPeerIP = htonl(0xc0a80a63);

// Echo request with "hello" from the peer, with a MAC header, an option in the IPv4 header and one
// byte of padding behind the packet; and its reply.
const WireBytes kRequest =
    Hex("021122334455 0abbccddeeff 0800"
        "4600 0025 1234 4000 4001 0000 c0a80a63 c0a80a01 01010100"
        "0800 f43b beef 0102 68656c6c6f ee");
const WireBytes kReply =
    Hex("0abbccddeeff 021122334455 0800"
        "4500 0021 0000 0000 4001 e527 c0a80a01 c0a80a63"
        "0000 fc3b beef 0102 68656c6c6f");
constexpr size_t kEtherSize = 14;

TEST(ArpPacket, IsBuiltAlsoInTheBytesOfTheRequestThatItAnswers) {
    WireBytes frame = kRequest;
    auto* eth = RecordAt<tnet_ether_hdr>(frame);
    EXPECT_EQ(CTArpPacket::MakeReply(eth, &eth->dst, &eth->src, kOwnIP, kPeerIP), 0);
    frame.resize(CTArpPacket::kFrameSize);
    EXPECT_EQ(frame, Hex("0abbccddeeff 021122334455 0806 0001 0800 06 04 0002"
                         "021122334455 c0a80a01 0abbccddeeff c0a80a63"));
    auto make = [](void* buf, const tnet_ether_addr* sender, const tnet_ether_addr* target) {
        return CTArpPacket::MakeIPv4Arp(buf, kArpRequest, kPeerIP, sender, kOwnIP, target);
    };
    EXPECT_EQ(make(nullptr, &kOwnMac, &kPeerMac), 1);
    EXPECT_EQ(make(eth, nullptr, &kPeerMac), 1);
    EXPECT_EQ(make(eth, &kOwnMac, nullptr), 1);
    EXPECT_EQ(make(eth, &kPeerMac, &kOwnMac), 0);
    EXPECT_EQ(frame, Hex("021122334455 0abbccddeeff 0806 0001 0800 06 04 0001"
                         "0abbccddeeff c0a80a63 021122334455 c0a80a01"));
}

TEST(IcmpPacket, ReplyFromARequestLeavesOptionsAndPaddingBehind) {
    WireBytes packet(kReply.size() - kEtherSize, 0xFF);
    EXPECT_EQ(CIcmpPacket::MakeL3Reply(&kRequest[kEtherSize], packet.data()), 0);
    EXPECT_EQ(packet, WireBytes(kReply.begin() + kEtherSize, kReply.end()));
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

TEST(IcmpPacket, ReplyFromPartsAndItsImpossibleOnes) {
    WireBytes frame(kReply.size());
    uint8_t* buf = frame.data();
    auto make = [](void* to, const tnet_ether_addr* own, const tnet_ether_addr* peer,
                   const char* data, int length) {
        return CIcmpPacket::MakeReply(to, own, peer, kOwnIP, kPeerIP, htons(0xbeef), htons(0x0102),
                                      data, length);
    };
    EXPECT_EQ(make(nullptr, &kOwnMac, &kPeerMac, "x", 1), 22);
    EXPECT_EQ(make(buf, nullptr, &kPeerMac, "x", 1), 22);
    EXPECT_EQ(make(buf, &kOwnMac, nullptr, "x", 1), 22);
    EXPECT_EQ(make(buf, &kOwnMac, &kPeerMac, nullptr, 1), 22);
    EXPECT_EQ(make(buf, &kOwnMac, &kPeerMac, "x", -1), 22);
    EXPECT_EQ(make(buf, &kOwnMac, &kPeerMac, "x", CIcmpPacket::kDataMax + 1), 22);
    EXPECT_EQ(CIcmpPacket::MakeReply(nullptr, buf), 22);
    EXPECT_EQ(CIcmpPacket::MakeL3Reply(buf, nullptr), 22);
    EXPECT_EQ(frame, WireBytes(kReply.size()));

    EXPECT_EQ(make(buf, &kOwnMac, &kPeerMac, "hello", 5), 0);
    EXPECT_EQ(frame, kReply);
    EXPECT_EQ(make(buf, &kOwnMac, &kPeerMac, nullptr, 0), 0);
    frame.resize(CIcmpPacket::kFrameHeaderSize);
    EXPECT_EQ(frame, Hex("0abbccddeeff 021122334455 0800 4500 001c 0000 0000 4001 e52c"
                         "c0a80a01 c0a80a63 0000 400e beef 0102"));
}

}  // namespace
