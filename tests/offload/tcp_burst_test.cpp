#include <gtest/gtest.h>

#include <random>

#include "inet/tnet_byteorder.h"
#include "offload/tcp_joiner.h"
#include "tests/offload/tcp_burst.h"
#include "tests/support/expect_wire.h"

namespace {

void FixChecksums(WireBytes& packet) {
    tnet_ipv4_hdr* ip = reinterpret_cast<tnet_ipv4_hdr*>(packet.data());
    tnet_tcp_hdr* tcp = reinterpret_cast<tnet_tcp_hdr*>(packet.data() + 20);
    CIPv4Header::UpdateCheckSum(ip);
    CTcpHdr::UpdateCheckSum(tcp, ip);
}

// What the interface is given for these packets, one write each.
std::vector<WireBytes> Join(std::vector<WireBytes> packets) {
    std::vector<WireBytes> writes;
    CTTcpJoiner joiner;
    auto write = [&] {
        int pieces = 0;
        const iovec* piece = joiner.Finish(pieces);
        writes.emplace_back();
        for (int i = 0; i < pieces; ++i) {
            const uint8_t* bytes = static_cast<const uint8_t*>(piece[i].iov_base);
            writes.back().insert(writes.back().end(), bytes, bytes + piece[i].iov_len);
        }
        joiner.Clear();
    };
    for (WireBytes& packet : packets) {
        int length = static_cast<int>(packet.size());
        if (joiner.Add(packet.data(), length)) continue;
        write();
        EXPECT_TRUE(joiner.Add(packet.data(), length));
    }
    if (!joiner.IsEmpty()) write();
    return writes;
}

// The packets that a host sees of those writes: bursts cut as its stack would cut them.
std::vector<WireBytes> Seen(const std::vector<WireBytes>& writes) {
    std::vector<WireBytes> packets;
    for (const WireBytes& write : writes) {
        Burst burst(0);
        memcpy(&burst.hdr, write.data(), sizeof burst.hdr);
        burst.bytes.assign(write.begin() + kVirtioHdrSize, write.end());
        if (burst.hdr.gso_type == kVirtioOnePacket) {
            packets.push_back(burst.bytes);
            continue;
        }
        for (WireBytes& packet : burst.Cut())
            packets.push_back(packet);
    }
    return packets;
}

TEST(TcpBurst, IsCutIntoThePacketsThatTheHostWouldHaveSent) {
    Burst burst(2 * kMss + 100, kAck | kTcpPsh | kTcpFin | kTcpCwr);
    std::vector<WireBytes> packets = burst.Cut();
    ASSERT_EQ(packets.size(), 3u);
    int offset = 0;
    for (size_t i = 0; i < packets.size(); ++i) {
        CTTcpPacket packet;
        int length = static_cast<int>(packets[i].size());
        ASSERT_TRUE(packet.Attach(packets[i].data(), length));
        EXPECT_EQ(packet.PayloadLength(), i < 2 ? kMss : 100);
        EXPECT_EQ(CIPv4Header::GetPacketLength(packet.ip), length);
        EXPECT_EQ(CIPv4Header::GetPacketID(packet.ip), (0xFFF0 + i) & 0xFFFF);
        EXPECT_TRUE(CIPv4Header::VerifyCheckSum(packet.ip));
        EXPECT_TRUE(CTcpHdr::VerifyCheckSum(packet.tcp, packet.ip));
        EXPECT_EQ(CTcpHdr::GetSequenceNumber(packet.tcp),
                  0xFFFFFC18u + static_cast<uint32_t>(offset));
        int expected = kAck | (i == 0 ? kTcpCwr : 0) | (i == 2 ? kTcpPsh | kTcpFin : 0);
        EXPECT_EQ(packet.tcp->flags, expected) << i;
        EXPECT_EQ(memcmp(packets[i].data() + 52, burst.bytes.data() + 52 + offset,
                         static_cast<size_t>(packet.PayloadLength())),
                  0);
        offset += packet.PayloadLength();
    }
}

TEST(TcpBurst, ThatIsNoneIsRefused) {
    Burst burst(3000);
    auto refused = [](Burst changed) {
        CTTcpCutter cutter;
        return !cutter.Attach(changed.hdr, changed.bytes.data(),
                              static_cast<int>(changed.bytes.size()));
    };
    EXPECT_FALSE(refused(burst));
    Burst other = burst;
    other.hdr.gso_size = 0;
    EXPECT_TRUE(refused(other));
    for (int type : {0, 3, 4, 5, 0x83}) {
        other = burst;
        other.hdr.gso_type = static_cast<uint8_t>(type);
        EXPECT_TRUE(refused(other)) << type;
    }
    for (auto [place, value] : {std::pair{0, 0x65}, {0, 0x44}, {9, 17}, {6, 0x20}, {32, 0x40}}) {
        other = burst;
        other.bytes[static_cast<size_t>(place)] = static_cast<uint8_t>(value);
        EXPECT_TRUE(refused(other)) << place;
    }
    for (size_t length : {0u, 19u, 39u, 51u, 52u}) {  // 52: headers without payload
        other = burst;
        other.bytes.resize(length);
        EXPECT_TRUE(refused(other)) << length;
    }
}

TEST(TcpBurst, IsJoinedAgainAsOneWriteThatTheHostCutsIntoTheSame) {
    for (int payload : {2 * kMss, 2 * kMss + 1, 40 * kMss + 7}) {
        std::vector<WireBytes> packets = Burst(payload, kAck | kTcpPsh).Cut();
        std::vector<WireBytes> writes = Join(packets);
        ASSERT_EQ(writes.size(), 1u) << payload;
        tnet_virtio_hdr hdr;
        memcpy(&hdr, writes[0].data(), sizeof hdr);
        EXPECT_EQ(hdr.flags, kVirtioNeedsCsum);
        EXPECT_EQ(hdr.hdr_len, 52);
        EXPECT_EQ(hdr.gso_size, kMss);
        EXPECT_EQ(Seen(writes), packets);
        // The sum that is left to be done is the pseudo-header's.
        tnet_ipv4_hdr* ip = reinterpret_cast<tnet_ipv4_hdr*>(writes[0].data() + kVirtioHdrSize);
        tnet_tcp_hdr* tcp = reinterpret_cast<tnet_tcp_hdr*>(ip + 1);
        EXPECT_TRUE(CIPv4Header::VerifyCheckSum(ip));
        EXPECT_EQ(tcp->checksum, tsdw_ipv4_phdr_cksum(ip));
    }
    EXPECT_EQ(Join(Burst(65535 - 52).Cut()).size(), 1u);
}

// Each change makes the third of five packets no continuation of the second.
TEST(TcpBurst, EndsWhereAPacketDiffers) {
    struct Change {
        const char* what;
        size_t place;
        uint8_t flip;
    };
    for (Change change : std::initializer_list<Change>{{"service type", 1, 3},
                                                       {"identification", 5, 1},
                                                       {"fragment", 6, 0x40},
                                                       {"time to live", 8, 1},
                                                       {"source", 15, 1},
                                                       {"destination port", 23, 1},
                                                       {"sequence", 27, 1},
                                                       {"acknowledgment", 31, 1},
                                                       {"window", 35, 1},
                                                       {"urgent", 39, 1},
                                                       {"time stamp", 47, 1},
                                                       {"SYN", 33, kTcpSyn},
                                                       {"CWR", 33, kTcpCwr},
                                                       {"ECE", 33, 0x40}}) {
        std::vector<WireBytes> packets = Burst(5 * kMss).Cut();
        packets[2][change.place] ^= change.flip;
        FixChecksums(packets[2]);
        std::vector<WireBytes> writes = Join(packets);
        EXPECT_EQ(writes.size(), 3u) << change.what;
        EXPECT_EQ(Seen(writes), packets) << change.what;
    }
    // Spoilt bytes stay spoilt and alone.
    for (size_t place : {11u, 37u, 60u, 1499u}) {
        std::vector<WireBytes> packets = Burst(5 * kMss).Cut();
        packets[2][place] ^= 1;
        std::vector<WireBytes> writes = Join(packets);
        EXPECT_EQ(writes.size(), 3u) << place;
        EXPECT_EQ(Seen(writes), packets) << place;
    }
    // The first too, when it is the one that is spoilt.
    std::vector<WireBytes> packets = Burst(3 * kMss).Cut();
    packets[0][70] ^= 1;
    EXPECT_EQ(Join(packets).size(), 2u);
    // Push, and a packet that is shorter than the others, end it; one that is longer is none of it.
    packets = Burst(5 * kMss).Cut();
    packets[1][33] |= kTcpPsh;
    FixChecksums(packets[1]);
    EXPECT_EQ(Join(packets).size(), 2u);
    EXPECT_EQ(Seen(Join(packets)), packets);
}

// Whatever comes, in whatever order, the host sees the very same packets.
TEST(TcpBurst, AnyCourseOfPacketsArrivesAsItCame) {
    std::mt19937 random(5);
    for (int run = 0; run < 300; ++run) {
        std::vector<WireBytes> packets;
        for (int burst = 0; burst < 4; ++burst) {
            uint8_t flags = static_cast<uint8_t>(kAck | (random() % 2 ? kTcpPsh : 0));
            int mss = 200 + static_cast<int>(random() % 1200);
            std::vector<WireBytes> cut =
                Burst(1 + static_cast<int>(random() % 20000), flags, mss).Cut();
            for (WireBytes& packet : cut) {
                if (random() % 16 == 0) continue;
                if (random() % 16 == 0) packet[random() % packet.size()] ^= 0x10;
                packets.push_back(packet);
                if (random() % 16 == 0) packets.push_back(packet);
            }
        }
        if (random() % 4 == 0) std::shuffle(packets.begin(), packets.end(), random);
        packets.push_back(WireBytes(random() % 60, 0x45));
        std::vector<WireBytes> writes = Join(packets);
        ASSERT_EQ(Seen(writes), packets) << run;
    }
}

TEST(UnfinishedChecksum, IsFinishedInPlaceAndOnlyInsideThePacket) {
    Burst burst(101);
    burst.hdr.gso_type = kVirtioOnePacket;
    tnet_ipv4_hdr* ip = reinterpret_cast<tnet_ipv4_hdr*>(burst.bytes.data());
    tnet_tcp_hdr* tcp = reinterpret_cast<tnet_tcp_hdr*>(burst.bytes.data() + 20);
    tcp->checksum = tsdw_ipv4_phdr_cksum(ip);
    int length = static_cast<int>(burst.bytes.size());
    EXPECT_TRUE(tnet_finish_cksum(burst.hdr, burst.bytes.data(), length));
    EXPECT_EQ(tnet_ipv4_udptcp_cksum_verify(ip, tcp), 0);

    WireBytes before = burst.bytes;
    burst.hdr.csum_start = static_cast<uint16_t>(length - 17);
    EXPECT_FALSE(tnet_finish_cksum(burst.hdr, burst.bytes.data(), length));
    burst.hdr.csum_start = 0xFFFF;
    burst.hdr.csum_offset = 0xFFFF;
    EXPECT_FALSE(tnet_finish_cksum(burst.hdr, burst.bytes.data(), length));
    burst.hdr.flags = 0;
    EXPECT_TRUE(tnet_finish_cksum(burst.hdr, burst.bytes.data(), length));
    EXPECT_EQ(burst.bytes, before);

    // In UDP a sum of 0 stands for "none".
    WireBytes udp = Hex("0000000000000000ffff");
    tnet_virtio_hdr hdr = {};
    hdr.flags = kVirtioNeedsCsum;
    hdr.csum_offset = 6;
    EXPECT_TRUE(tnet_finish_cksum(hdr, udp.data(), static_cast<int>(udp.size())));
    EXPECT_EQ(udp, Hex("000000000000ffffffff"));
}

}  // namespace
