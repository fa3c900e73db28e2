#include "sstp/sstp_port.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/support/captured_output.h"
#include "tests/support/moved_clock.h"
#include "tests/support/udp_peer.h"

namespace {

WireMessage NetPacket(size_t payload, uint32_t src = 1, uint16_t seq = 1) {
    WireMessage message;
    message.type = 5;
    message.seq = seq;
    message.src = src;
    message.dst = 2;
    for (size_t i = 0; i < payload; ++i)
        Put8(message.body, static_cast<uint32_t>(i * 7));
    return message;
}

// The two fragments of a message longer than 1400 bytes.
std::pair<WireMessage, WireMessage> Fragments(const WireMessage& whole) {
    WireMessage first = whole;
    WireMessage second = whole;
    first.frame_total = second.frame_total = 2;
    second.frame_index = 1;
    first.body.resize(1384);
    second.body.erase(second.body.begin(), second.body.begin() + 1384);
    return {first, second};
}

// A port on a connection whose central router is the test's peer.
class Port : public testing::Test {
  protected:
    Port() : central("127.0.0.1", peer.Port()) {
        conn.Open(central);
        conn.SetRecvTimeout(20);
        conn.SetIdentify(0x105);
    }
    void Open() { ASSERT_TRUE(port.Open(pool, conn)); }
    // Both threads ran and ended: the port knows pool and connection, and the test can take the
    // place of its threads.
    void OpenAndClose() {
        Open();
        port.Close();
    }
    // The edge's socket has no port before it sends: a heartbeat through the transmit thread.
    void TellPort() {
        CTSstpMessage hello(0);
        hello.SetType(1);
        hello.SetSeq(500);
        port.Write(hello, central);
        peer.Receive();
    }
    void Send(const WireMessage& message) { peer.Reply(message); }
    // The next message of the receive queue, as it would go on the wire; released.
    WireBytes ReadBytes() {
        for (int i = 0; i < 50; ++i) {
            CTXmitPkt* pkt = port.Read();
            if (!pkt) continue;
            WireBytes bytes(pkt->GetSkb()->GetData(),
                            pkt->GetSkb()->GetData() + pkt->GetSkb()->GetDataLength());
            source = pkt->GetSource();
            from_port = pkt->GetRecvAddr()->GetPort();
            pkt->Release();
            return bytes;
        }
        ADD_FAILURE() << "nothing received";
        return {};
    }
    // What was sent before this marker has been dealt with once the marker comes out.
    WireBytes ReadMarker() {
        WireMessage marker;
        marker.type = 3;
        marker.sub = 99;
        Send(marker);
        WireBytes bytes = ReadBytes();
        EXPECT_EQ(bytes, marker.Encode());
        return bytes;
    }

    OutputCapture output;
    UdpPeer peer;
    CTSockAddr central;
    CTXmitPktPool pool{2048, 128};
    CTSstpConnect conn;
    CTSstpPort port;
    uint8_t source = 99;
    uint16_t from_port = 0;
};

TEST_F(Port, DeliversWhatArrivesWithItsSource) {
    Open();
    TellPort();
    WireMessage command = NetPacket(4);
    command.type = 3;
    Send(command);
    EXPECT_EQ(ReadBytes(), command.Encode());
    EXPECT_EQ(source, kXmitFromTunnel);
    EXPECT_EQ(from_port, peer.Port());
    Send(NetPacket(60));
    EXPECT_EQ(ReadBytes(), NetPacket(60).Encode());
    port.Close();
    EXPECT_EQ(pool.GetLoans(), 0);
}

TEST_F(Port, DropsDatagramsWhoseLengthIsNoMessages) {
    Open();
    TellPort();
    peer.SendBytes(WireBytes(15, 3), peer.LastPort());
    for (int length : {0, 15, 21, 0xFFFF}) {
        WireMessage lying = NetPacket(4);
        lying.type = 3;
        lying.length_field = length;
        Send(lying);
    }
    WireMessage padded = NetPacket(4);  // more arrived than is stated: taken
    padded.type = 3;
    padded.length_field = 18;
    Send(padded);
    EXPECT_EQ(ReadBytes(), padded.Encode());
    EXPECT_EQ(port.GetCounters().malformed.Get(), 5u);
    port.Close();
    EXPECT_EQ(pool.GetLoans(), 0);
}

TEST_F(Port, ReassemblesInEitherOrder) {
    Open();
    TellPort();
    WireMessage whole = NetPacket(1500);
    auto [first, second] = Fragments(whole);
    Send(second);
    Send(first);
    EXPECT_EQ(ReadBytes(), whole.Encode());

    Send(first);
    Send(second);
    WireBytes shifted = ReadBytes();
    WireBytes expected = whole.Encode();
    ASSERT_EQ(shifted.size(), expected.size());
    EXPECT_TRUE(std::equal(shifted.begin(), shifted.begin() + 1400, expected.begin()));
    EXPECT_TRUE(std::equal(shifted.begin() + 1416, shifted.end(), expected.begin() + 1400));
    port.Close();
    EXPECT_EQ(pool.GetLoans(), 0);
}

TEST_F(Port, FragmentsMeetOnlyTheirOwnPartner) {
    Open();
    TellPort();
    auto [first, second] = Fragments(NetPacket(1500, 1, 1));
    auto [other_first, other_second] = Fragments(NetPacket(1450, 2, 1));
    auto [next_first, next_second] = Fragments(NetPacket(1460, 1, 2));
    Send(second);
    Send(other_second);
    Send(next_second);
    ReadMarker();
    Send(next_first);
    EXPECT_EQ(ReadBytes(), NetPacket(1460, 1, 2).Encode());
    Send(first);
    EXPECT_EQ(ReadBytes(), NetPacket(1500, 1, 1).Encode());
    Send(other_first);
    EXPECT_EQ(ReadBytes(), NetPacket(1450, 2, 1).Encode());
    port.Close();
    EXPECT_EQ(pool.GetLoans(), 0);
}

TEST_F(Port, ARepeatedFragmentReplacesTheStoredOne) {
    Open();
    TellPort();
    auto [first, second] = Fragments(NetPacket(1500));
    Send(second);
    Send(second);
    Send(first);
    EXPECT_EQ(ReadBytes(), NetPacket(1500).Encode());
    port.Close();
    EXPECT_EQ(pool.GetLoans(), 0);
    std::string printed = output.Take();
    EXPECT_NE(printed.find("Recv same frame, src: 1, ft: 2, fi: 1\n"), std::string::npos);
}

TEST_F(Port, APairTooLargeTogetherIsDropped) {
    Open();
    TellPort();
    WireMessage second = NetPacket(1500);
    second.frame_total = 2;
    second.frame_index = 1;
    WireMessage first = second;
    first.frame_index = 0;
    Send(second);
    Send(first);
    ReadMarker();
    EXPECT_LE(pool.GetLoans(), 1);  // the descriptor that the receive thread reads into
    port.Close();
    EXPECT_EQ(pool.GetLoans(), 0);
}

TEST_F(Port, ManyUnpairedFragmentsStayBounded) {
    Open();
    TellPort();
    for (uint16_t seq = 0; seq < 1000; ++seq) {
        Send(Fragments(NetPacket(1390, 1, seq)).second);
        if (seq % 100 == 99) ReadMarker();
    }
    EXPECT_LE(pool.GetLoans(), CTNetPktFragLinker::kMaxWaiting + 1);
    port.Close();
    EXPECT_EQ(pool.GetLoans(), 0);
}

TEST_F(Port, SplitsWhatIsLongerThanTheMtuAndSendsTheSecondFragmentFirst) {
    Open();
    for (size_t payload : {1384u, 1385u}) {
        CTXmitPkt* pkt = pool.Alloc();
        WireBytes bytes = NetPacket(payload, 0, 0).Encode();
        pkt->Write(bytes.data(), static_cast<int>(bytes.size()));
        pkt->SetSendAddr(CTSockAddr("127.0.0.9", 9));  // network packets go to the central router
        EXPECT_EQ(port.Write(pkt), 0);
    }
    WireMessage whole = peer.Receive();
    EXPECT_EQ(whole.body.size(), 1384u);
    EXPECT_EQ(whole.frame_total, 0);
    EXPECT_EQ(whole.src, 0x105u);
    WireMessage second = peer.Receive();
    EXPECT_EQ(second.body.size(), 1u);
    EXPECT_EQ(second.frame_index, 1);
    WireMessage first = peer.Receive();
    EXPECT_EQ(first.body.size(), 1384u);
    EXPECT_EQ(first.frame_index, 0);
    EXPECT_EQ(first.frame_total, 2);
    EXPECT_EQ(second.seq, 1);
    EXPECT_EQ(first.seq, 1);
    first.body.insert(first.body.end(), second.body.begin(), second.body.end());
    EXPECT_EQ(first.body, NetPacket(1385).body);
    port.Close();
    EXPECT_EQ(pool.GetLoans(), 0);
}

TEST_F(Port, HeartbeatAcknowledgementsEndHereOtherInteriorOnesGoOn) {
    Open();
    TellPort();
    WireMessage ack = NetPacket(4);
    ack.type = 2;
    ack.sub = 2;
    Send(ack);
    ack.sub = 12;
    Send(ack);
    EXPECT_EQ(ReadBytes(), ack.Encode());
    port.Close();
    EXPECT_EQ(pool.GetLoans(), 0);
}

TEST_F(Port, TheHeartbeatLadderProbesFasterAndFasterUntilAnAcknowledgement) {
    MovedClock clock;
    port.SetHeartBeatInterval(30);
    OpenAndClose();
    // Queued heartbeats are descriptors on loan: nothing sends them while the port is closed.
    auto sends_after = [&](uint64_t ms) {
        int before = pool.GetLoans();
        clock.Advance(ms - 1);
        EXPECT_EQ(port.SendHeartBeat(), 0);
        EXPECT_EQ(pool.GetLoans(), before) << "too early";
        clock.Advance(1);
        EXPECT_EQ(port.SendHeartBeat(), 0);
        return pool.GetLoans() - before;
    };
    EXPECT_EQ(sends_after(30000), 1);
    EXPECT_EQ(sends_after(2000), 1);
    for (int i = 3; i <= 7; ++i)
        EXPECT_EQ(sends_after(1000), 1);
    CTXmitPkt ack(100);
    port.InterCommandHeartBeatAckDone(ack);
    EXPECT_EQ(sends_after(30000), 1);
    EXPECT_EQ(sends_after(2000), 1);
    port.ClearTxFifo();
    EXPECT_EQ(pool.GetLoans(), 0);
    std::string printed = output.Take();
    EXPECT_NE(printed.find("txloop stop\nsstp drop off, count = 6\nsstp drop off, count = 7\n"),
              std::string::npos)
        << printed;
}

TEST_F(Port, TheHeartbeatIntervalIsAtLeastTwoSeconds) {
    MovedClock clock;
    for (int seconds : {1, -7}) {
        port.SetHeartBeatInterval(seconds);
        OpenAndClose();
        clock.Advance(1999);
        port.SendHeartBeat();
        EXPECT_EQ(pool.GetLoans(), 0);
        clock.Advance(1);
        port.SendHeartBeat();
        EXPECT_EQ(pool.GetLoans(), 1);
        CTXmitPkt ack(100);
        port.InterCommandHeartBeatAckDone(ack);
        port.ClearTxFifo();
    }
}

TEST_F(Port, TheHeartbeatCarriesTheTickToTheCentralRouter) {
    MovedClock clock(0x11223344);
    Open();
    TellPort();
    ReadMarker();  // the receive thread has begun and taken its first tick
    clock.Advance(CTSstpPort::kDefaultHeartBeatMs);
    WireMessage heartbeat = peer.Receive();
    EXPECT_TRUE(heartbeat.Is(1, 2));
    EXPECT_EQ(At32(heartbeat.body, 0), 0x11223344u + 5000);
    EXPECT_EQ(heartbeat.src, 0x105u);
    EXPECT_EQ(heartbeat.dst, kWireCentral);
    port.Close();
}

TEST_F(Port, NetworkPacketsBeyondTheQueuesLimitAreDroppedCommandsAreNot) {
    OpenAndClose();  // nobody takes anything from the queue
    auto write = [&](uint8_t type) {
        CTXmitPkt* pkt = pool.Alloc();
        WireMessage message = NetPacket(20);
        message.type = type;
        WireBytes bytes = message.Encode();
        pkt->Write(bytes.data(), static_cast<int>(bytes.size()));
        return port.Write(pkt);
    };
    for (int i = 0; i < CTXmitPktMtFifo::kMaxNetPackets; ++i)
        ASSERT_EQ(write(5), 0);
    EXPECT_EQ(write(5), 1);
    EXPECT_EQ(write(5), 1);
    EXPECT_EQ(write(4), 0);
    EXPECT_EQ(write(1), 0);
    EXPECT_EQ(port.GetCounters().tx_queue_full.Get(), 2u);
    EXPECT_EQ(pool.GetLoans(), CTXmitPktMtFifo::kMaxNetPackets + 2);
    EXPECT_EQ(port.Write(static_cast<CTXmitPkt*>(nullptr)), 1);
}

TEST_F(Port, ClosedItReadsNothingAndOpenIdleNeither) {
    EXPECT_EQ(port.Read(), nullptr);
    Open();
    EXPECT_EQ(port.Read(), nullptr);
    port.Close();
    EXPECT_EQ(port.Read(), nullptr);
}

TEST_F(Port, OpensAgainAfterAClose) {
    for (int i = 0; i < 3; ++i) {
        Open();
        TellPort();
        ReadMarker();
        port.Close();
        EXPECT_EQ(pool.GetLoans(), 0);
    }
    std::string printed = output.Take();
    size_t stops = 0;
    for (size_t at = 0;
         (at = printed.find("pkt is null\nlinker is empty, count = 0\n", at)) != std::string::npos;
         ++at)
        ++stops;
    EXPECT_GE(stops, 3u);
}

}  // namespace
