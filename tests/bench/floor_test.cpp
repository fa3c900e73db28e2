#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <vector>

#include "bench/floor/floor_io.h"
#include "bench/floor/floor_wire.h"
#include "bench/floor/group_receive.h"
#include "bench/floor/group_send.h"
#include "bench/floor/tcp_burst.h"
#include "inet/tnet_cksum.h"
#include "inet/tnet_ipv4_hdr.h"
#include "lab/wire/wire_bytes.h"

namespace {

constexpr size_t kHeaders = 20 + 32;
constexpr size_t kSegment = 1448;
constexpr uint8_t kFin = 0x01;
constexpr uint8_t kPush = 0x08;
constexpr uint8_t kCwr = 0x80;
constexpr size_t kFlags = 33;

// A burst as the host hands it over: its number ends soon, so that numbers wrap.
WireBytes Burst(size_t data, uint8_t flags) {
    WireBytes burst =
        Hex("4502 0000 fffe 4000 4006 0000 c0a80f0b c0a80f0c"
            "9c40 1451 fffffa00 00000001 8000 01f6 0000 0000 0101080a 00000001 00000002");
    burst[kFlags] = flags;
    std::mt19937 random(static_cast<unsigned>(data));
    while (burst.size() < kHeaders + data)
        burst.push_back(static_cast<uint8_t>(random()));
    burst[2] = static_cast<uint8_t>(burst.size() >> 8);
    burst[3] = static_cast<uint8_t>(burst.size());
    return burst;
}

std::vector<WireBytes> Cut(const WireBytes& burst) {
    std::vector<WireBytes> segments;
    FloorCut cut(burst.data(), burst.size(), kSegment);
    EXPECT_TRUE(cut.IsTcp());
    uint8_t segment[kFloorPacketMax];
    while (size_t size = cut.Next(segment))
        segments.emplace_back(segment, segment + size);
    return segments;
}

bool IsSummedUp(const WireBytes& packet) {
    const auto* ip = reinterpret_cast<const tnet_ipv4_hdr*>(packet.data());
    return tnet_ipv4_cksum(ip) == 0 &&
           tnet_ipv4_udptcp_cksum_verify(ip, packet.data() + sizeof *ip) == 0;
}

TEST(Floor, CutsABurstIntoTheSegmentsThatWouldHaveBeenSent) {
    WireBytes burst = Burst(2 * kSegment + 100, 0x10 | kCwr | kPush | kFin);
    std::vector<WireBytes> segments = Cut(burst);
    ASSERT_EQ(segments.size(), 3u);
    WireBytes data;
    for (size_t i = 0; i < segments.size(); ++i) {
        const WireBytes& segment = segments[i];
        EXPECT_TRUE(IsSummedUp(segment)) << i;
        EXPECT_EQ(At16(segment, 2), segment.size());
        EXPECT_EQ(At16(segment, 4), (0xFFFE + i) % 0x10000);
        EXPECT_EQ(At32(segment, 24), static_cast<uint32_t>(0xFFFFFA00 + i * kSegment));
        data.insert(data.end(), segment.begin() + kHeaders, segment.end());
    }
    EXPECT_EQ(segments[0][kFlags], 0x10 | kCwr);
    EXPECT_EQ(segments[1][kFlags], 0x10);
    EXPECT_EQ(segments[2][kFlags], 0x10 | kPush | kFin);
    EXPECT_TRUE(std::equal(data.begin(), data.end(), burst.begin() + kHeaders, burst.end()));
}

TEST(Floor, JoinsNeighboursAndNothingElse) {
    std::vector<WireBytes> segments = Cut(Burst(3 * kSegment, 0x10 | kPush));
    const uint8_t* first = segments[0].data();
    EXPECT_TRUE(ContinuesFloorSegment(first, kHeaders, kSegment, 1, segments[1].data()));
    EXPECT_TRUE(ContinuesFloorSegment(first, kHeaders, 2 * kSegment, 2, segments[2].data()));
    EXPECT_FALSE(ContinuesFloorSegment(first, kHeaders, kSegment, 1, segments[2].data()));
    // Time to live, an address, a port, the acknowledgement, the window, an option.
    for (size_t at : {8u, 15u, 21u, 31u, 35u, 51u}) {
        WireBytes other = segments[1];
        other[at] ^= 1;
        EXPECT_FALSE(ContinuesFloorSegment(first, kHeaders, kSegment, 1, other.data())) << at;
    }
    WireBytes spoilt = segments[1];
    spoilt.back() ^= 1;
    EXPECT_EQ(ParseFloorSegment(segments[1].data(), segments[1].size()).headers, kHeaders);
    EXPECT_EQ(ParseFloorSegment(spoilt.data(), spoilt.size()).headers, 0u);
}

TEST(Floor, HeadsABurstAsTheHostExpectsIt) {
    WireBytes first = Cut(Burst(2 * kSegment, 0x10))[0];
    size_t size = kHeaders + 2 * kSegment;
    FloorVirtioHeader header = HeadFloorBurst(first.data(), kHeaders, kSegment, size, true);
    EXPECT_EQ(header.gso_type, kFloorGsoTcp4);
    EXPECT_EQ(header.gso_size, kSegment);
    EXPECT_EQ(header.checksum_start, 20);
    EXPECT_EQ(header.checksum_offset, 16);
    EXPECT_EQ(At16(first, 2), size);
    EXPECT_EQ(first[kFlags], 0x10 | kPush);
    const auto* ip = reinterpret_cast<const tnet_ipv4_hdr*>(first.data());
    EXPECT_EQ(tnet_ipv4_cksum(ip), 0);
    uint16_t sum;
    memcpy(&sum, first.data() + 36, sizeof sum);
    EXPECT_EQ(sum, tsdw_ipv4_phdr_cksum(ip));
}

TEST(Floor, FinishesAChecksumAndWritesAUdpOneOfZeroAsOnes) {
    // The data makes up for the rest of the sum: the checksum is 0.
    WireBytes packet =
        Hex("4500 001e 0001 4000 4011 0000 c0a80f0b c0a80f0c 0009 0009 000a 0000 0000");
    FloorVirtioHeader header = {kFloorNeedsChecksum, 0, 0, 0, 20, 6};
    const auto* ip = reinterpret_cast<const tnet_ipv4_hdr*>(packet.data());
    uint16_t pseudo = tsdw_ipv4_phdr_cksum(ip);
    memcpy(&packet[26], &pseudo, sizeof pseudo);
    uint16_t rest = static_cast<uint16_t>(~tsdw_raw_cksum(&packet[20], 10));
    memcpy(&packet[28], &rest, sizeof rest);
    FinishFloorChecksum(header, packet.data(), packet.size());
    EXPECT_EQ(At16(packet, 26), 0xFFFFu);
    EXPECT_EQ(tnet_ipv4_udptcp_cksum_verify(ip, &packet[20]), 0);
    WireBytes before = packet;
    header.checksum_offset = 9;
    FinishFloorChecksum(header, packet.data(), packet.size());
    EXPECT_EQ(packet, before);
}

// A floor's socket at a port of its own; a wait for what does not come ends after ten seconds.
struct Socket {
    Socket() {
        timeval patience = {10, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    ~Socket() { close(fd); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    sockaddr_in Address() const {
        sockaddr_in address;
        socklen_t size = sizeof address;
        EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size), 0);
        return FloorAddress("127.0.0.1", ntohs(address.sin_port));
    }

    const int fd = OpenFloorSocket(0);
};

TEST(Floor, GroupsArriveAsTheDatagramsThatWereAdded) {
    Socket receiver;
    Socket sender;
    sockaddr_in to = receiver.Address();
    FloorGroupSend send(sender.fd);
    std::vector<WireBytes> sent;
    for (size_t size : {132u, 132u, 132u, 1400u, 1400u, 700u, 1400u, 40u, 41u})
        sent.emplace_back(size, static_cast<uint8_t>(sent.size()));
    for (WireBytes& datagram : sent)
        send.Add(datagram.data(), datagram.size(), to);
    send.Flush();
    FloorGroupReceive receive(receiver.fd);
    std::vector<WireBytes> received;
    while (received.size() < sent.size()) {
        int count = receive.Wait();
        ASSERT_GT(count, 0);
        receive.ForEach(
            count, [&](uint8_t* data, size_t size) { received.emplace_back(data, data + size); });
    }
    EXPECT_EQ(received, sent);
}

}  // namespace
