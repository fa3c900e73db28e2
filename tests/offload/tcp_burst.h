#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "inet/tnet_byteorder.h"
#include "offload/tcp_cutter.h"
#include "offload/unfinished_cksum.h"
#include "tests/support/expect_wire.h"

constexpr int kMss = 1448;
constexpr uint8_t kAck = 0x10;

// A burst as the host's stack hands it over: IPv4 and TCP headers, the latter with time stamps.
struct Burst {
    explicit Burst(int payload, uint8_t flags = kAck, int mss = kMss) {
        bytes =
            Hex("45000000fff0400040060000c0a80f0bc0a80f0c"
                "1389d431fffffc18112233448000010000000000"
                "0101080a0102030405060708");
        bytes[33] = flags;
        for (int i = 0; i < payload; ++i)
            bytes.push_back(static_cast<uint8_t>(i * 7 + i / 256));
        tnet_store16(&bytes[2], static_cast<uint16_t>(bytes.size()));
        hdr.flags = kVirtioNeedsCsum;
        hdr.gso_type = kVirtioTcp4Burst;
        hdr.gso_size = static_cast<uint16_t>(mss);
        hdr.csum_start = 20;
        hdr.csum_offset = kTcpCksumOffset;
    }
    std::vector<WireBytes> Cut() {
        CTTcpCutter cutter;
        std::vector<WireBytes> packets;
        EXPECT_TRUE(cutter.Attach(hdr, bytes.data(), static_cast<int>(bytes.size())));
        size_t count = static_cast<size_t>(cutter.Count());
        while (!cutter.IsEnd()) {
            WireBytes packet(static_cast<size_t>(cutter.MaxLength()));
            packet.resize(static_cast<size_t>(cutter.Next(packet.data())));
            packets.push_back(packet);
        }
        EXPECT_EQ(packets.size(), count);
        return packets;
    }
    tnet_virtio_hdr hdr = {};
    WireBytes bytes;
};
