#include "sstp/sstp_send_burst.h"

#include <gtest/gtest.h>

#include <set>

#include "inet/xmit_pkt_pool.h"
#include "tests/support/captured_output.h"
#include "tests/support/expect_wire.h"
#include "tests/support/udp_peer.h"

namespace {

// What the transmit thread would hand over, and what arrives of it at the central router.
class SendBurst : public testing::Test {
  protected:
    SendBurst() : central("127.0.0.1", peer.Port()) {
        conn.Open(central);
        conn.SetIdentify(0x105);
        EXPECT_EQ(burst.Create(), 1);
        burst.SetMtu(conn.GetMtu());
    }
    // A network packet of so many bytes of payload to that router, of that burst of the host.
    void Packet(size_t payload, uint32_t number, uint32_t dst = 2) {
        Add({.type = 5, .dst = dst, .body = WireBytes(payload, static_cast<uint8_t>(pkts.size()))});
        pkts.back()->SetBurst(number);
    }
    void Add(const WireMessage& message) {
        CTXmitPkt* pkt = pool.Alloc();
        WireBytes bytes = message.Encode();
        pkt->Write(bytes.data(), static_cast<int>(bytes.size()));
        pkt->SetSendAddr(central);
        pkts.push_back(pkt);
    }
    // How many left, and all that is released.
    int Send() {
        int sent = burst.Send(conn, pkts.data(), static_cast<int>(pkts.size()));
        CTXmitPktPool::Release(pkts.data(), static_cast<int>(pkts.size()));
        pkts.clear();
        return sent;
    }
    // The next datagrams: "2" whole, "2a" first and "2b" second half of the packet with number 2,
    // "c" anything else.
    std::string Arrivals(int count) {
        std::string order;
        for (int i = 0; i < count; ++i) {
            WireMessage message = peer.Receive();
            EXPECT_EQ(message.src, 0x105u);
            order += order.empty() ? "" : " ";
            order += message.type == 5 ? std::to_string(message.seq) : "c";
            if (message.frame_total != 0) order += message.frame_index == 0 ? "a" : "b";
        }
        EXPECT_FALSE(peer.HasWaiting());
        return order;
    }

    OutputCapture output;
    UdpPeer peer;
    CTSockAddr central;
    CTSstpConnect conn;
    CTXmitPktPool pool{2048, 128};
    CTSstpSendBurst burst;
    std::vector<CTXmitPkt*> pkts;
};

TEST_F(SendBurst, PacketsThatCameAloneLeavePairByPair) {
    for (size_t payload : {1500u, 100u, 1500u})
        Packet(payload, 0);
    Add({.type = 3, .sub = 8, .seq = 9, .dst = 2, .body = WireBytes(4, 1)});
    Packet(1500, 0);
    EXPECT_EQ(Send(), 5);
    EXPECT_EQ(Arrivals(8), "0b 0a 1 2b 2a c 3b 3a");
}

TEST_F(SendBurst, SecondHalvesOfAHostsBurstGoFirstWithinOneBurstAndOneRouter) {
    for (int i = 0; i < 3; ++i)
        Packet(1500, 7);
    for (int i = 0; i < 2; ++i)
        Packet(1500, 8);
    Packet(1500, 8, 3);
    EXPECT_EQ(Send(), 6);
    EXPECT_EQ(Arrivals(12), "0b 1b 2b 0a 1a 2a 3b 4b 3a 4a 5b 5a");
}

TEST_F(SendBurst, NoMoreThanSixteenGoTogether) {
    for (int i = 0; i < 18; ++i)
        Packet(1500, 7);
    EXPECT_EQ(Send(), 18);
    std::string order = Arrivals(36);
    EXPECT_EQ(order.find("0a"), 16 * 3 + 6u) << order;  // behind "0b " to "15b "
    EXPECT_EQ(order.substr(order.size() - 15), "16b 17b 16a 17a") << order;
}

// The same bytes as one by one, but for the order of the halves.
TEST_F(SendBurst, SendsTheBytesThatSingleSendingSends) {
    constexpr int kDatagrams = 10;  // four packets in two halves, two whole
    auto add = [&] {
        uint16_t seq = 50;  // numbers that are given stay
        for (size_t payload : {1500u, 1385u, 1384u, 20u, 1500u, 2000u}) {
            Add({.type = 5, .seq = seq++, .dst = 2, .body = WireBytes(payload, 3)});
            pkts.back()->SetBurst(1);
        }
    };
    auto arrivals = [&] {
        std::multiset<WireBytes> bytes;
        for (int i = 0; i < kDatagrams; ++i)
            bytes.insert(peer.ReceiveBytes().value_or(WireBytes()));
        return bytes;
    };
    add();
    EXPECT_EQ(Send(), 6);
    std::multiset<WireBytes> grouped = arrivals();
    add();
    CTNetPktSplitter splitter;
    splitter.SetMtu(conn.GetMtu());
    CTXmitPkt spare(2048);
    for (CTXmitPkt* pkt : pkts) {
        CTSstpMessage first;
        CTSstpMessage second;
        bool is_long = splitter.IsSingle(*pkt) != 0;
        if (is_long) splitter.Split(*pkt, spare);
        first.Attach(*pkt);
        second.Attach(spare);
        is_long ? conn.Write(central, first, second) : conn.Write(central, first);
    }
    EXPECT_EQ(arrivals(), grouped);
    CTXmitPktPool::Release(pkts.data(), static_cast<int>(pkts.size()));
    EXPECT_EQ(pool.GetLoans(), 0);
}

TEST_F(SendBurst, WhatCannotBeSplitDoesNotLeave) {
    Packet(1500, 0);
    CTSstpMessage lying;
    lying.Attach(*pkts[0]);
    lying.SetLength(60000);
    Packet(10, 0);
    EXPECT_EQ(Send(), 1);
    EXPECT_EQ(Arrivals(1), "1");
}

}  // namespace
