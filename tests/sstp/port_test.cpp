#include "sstp/sstp_port.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "base/pvu_time.h"
#include "tests/support/captured_output.h"
#include "tests/support/moved_clock.h"
#include "tests/support/noting_taker.h"
#include "tests/support/udp_peer.h"

namespace {

constexpr int kQueueLimit = 4096;  // network packets in one queue

WireMessage Message(uint8_t type, uint8_t sub, size_t payload, uint32_t src = 1, uint16_t seq = 1) {
    WireMessage message;
    message.type = type;
    message.sub = sub;
    message.seq = seq;
    message.src = src;
    message.dst = 2;
    for (size_t i = 0; i < payload; ++i)
        Put8(message.body, static_cast<uint32_t>(i * 7));
    return message;
}

WireMessage NetPacket(size_t payload, uint32_t src = 1, uint16_t seq = 1) {
    return Message(5, 0, payload, src, seq);
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

// A port on a connection whose central router is the test's peer. While it is closed the test can
// take the place of its threads.
class Port : public testing::Test {
  protected:
    Port() : central("127.0.0.1", peer.Port()) {
        conn.Open(central);
        conn.SetRecvTimeout(20);
        conn.SetIdentify(0x105);
        // The socket has no port before it sends.
        CTSstpMessage hello(0);
        hello.SetType(1);
        hello.SetSeq(500);
        conn.Write(central, hello);
        peer.Receive();
        port.Attach(pool, conn);
    }
    // Every descriptor goes back to the pool, whatever the test did.
    void TearDown() override {
        port.Close();
        port.ClearRxFifo();
        port.ClearTxFifo();
        EXPECT_EQ(pool.GetLoans(), 0);
    }
    void Open() { ASSERT_TRUE(port.Open(pool, conn)); }
    void Send(const WireMessage& message) { peer.Reply(message); }
    CTXmitPkt* Packet(const WireMessage& message) {
        CTXmitPkt* pkt = pool.Alloc();
        WireBytes bytes = message.Encode();
        pkt->Write(bytes.data(), static_cast<int>(bytes.size()));
        return pkt;
    }
    // The next message of the receive queue, as it would go on the wire; released.
    WireBytes ReadBytes() {
        for (int i = 0; i < 50; ++i) {
            CTXmitPkt* pkt = port.Read();
            if (!pkt) continue;
            WireBytes bytes(pkt->GetSkb()->GetData(),
                            pkt->GetSkb()->GetData() + pkt->GetSkb()->GetDataLength());
            EXPECT_EQ(pkt->GetSource(), kXmitFromTunnel);
            EXPECT_EQ(pkt->GetRecvAddr()->GetPort(), peer.Port());
            received = pkt->GetRecvLength();
            pkt->Release();
            return bytes;
        }
        ADD_FAILURE() << "nothing received";
        return {};
    }
    // Hands the port a message that came from there, as its receive thread would.
    void Finish(const WireMessage& message, const CTSockAddr& from) {
        CTXmitPkt* pkt = Packet(message);
        pkt->SetRecvAddr(from);
        pkt->SetStatus(kXmitDeliver);
        port.RecvXmitPacketFinish(*pkt);
    }
    // What was sent before this marker has been dealt with once the marker comes out.
    void ReadMarker() {
        Send(Message(3, 99, 0));
        EXPECT_EQ(ReadBytes(), Message(3, 99, 0).Encode());
    }

    OutputCapture output;
    UdpPeer peer;
    CTSockAddr central;
    CTXmitPktPool pool{2048, 128};
    CTSstpConnect conn;
    CTSstpPort port;
    int received = 0;  // length of the datagram that ReadBytes saw
};

TEST_F(Port, DeliversMessagesAndNothingElse) {
    Open();
    WireMessage padded = Message(3, 2, 4);
    padded.length_field = 18;  // more arrived than is stated: taken
    // An interior acknowledgement that is no heartbeat's goes on, a heartbeat's ends here.
    for (const WireMessage& message :
         {padded, Message(2, 12, 4), Message(7, 0, 0), NetPacket(60)}) {
        Send(Message(2, 2, 4));
        Send(message);
        EXPECT_EQ(ReadBytes(), message.Encode());
        EXPECT_EQ(received, static_cast<int>(message.Encode().size()));
    }
    peer.SendBytes(WireBytes(15, 3), peer.LastPort());
    peer.SendBytes({}, peer.LastPort());
    for (int length : {0, 15, 21, 0xFFFF}) {
        WireMessage lying = Message(3, 2, 4);
        lying.length_field = length;
        Send(lying);
    }
    ReadMarker();
    EXPECT_EQ(port.GetCounters().malformed.Get(), 6u);
    Send(NetPacket(2048 - 16));
    EXPECT_EQ(ReadBytes().size(), 2048u);
}

TEST_F(Port, JoinsTheTwoFragmentsOfOneSourceAndNumber) {
    Open();
    auto [first, second] = Fragments(NetPacket(1500, 1, 1));
    auto [other_first, other_second] = Fragments(NetPacket(1450, 2, 1));
    auto [next_first, next_second] = Fragments(NetPacket(1460, 1, 2));
    WireMessage outdated = second;
    outdated.body[0] ^= 0xFF;
    for (const WireMessage& message : {outdated, other_second, next_second, second, next_first})
        Send(message);
    EXPECT_EQ(ReadBytes(), NetPacket(1460, 1, 2).Encode());
    Send(first);
    EXPECT_EQ(ReadBytes(), NetPacket(1500, 1, 1).Encode());
    Send(other_first);
    EXPECT_EQ(ReadBytes(), NetPacket(1450, 2, 1).Encode());

    // What does not fit a buffer together goes as a whole.
    other_second.body.resize(1500);
    Send(other_second);
    Send(other_first);
    ReadMarker();
    EXPECT_EQ(port.GetFragmentsWaiting(), 0);
    port.Close();
    EXPECT_EQ(pool.GetLoans(), 0);
    std::string printed = output.Take();
    std::string line = "Recv same frame, src: 1, ft: 2, fi: 1\n";
    EXPECT_NE(printed.find(line), std::string::npos);
    EXPECT_EQ(printed.find(line), printed.rfind(line)) << "once";
}

// Half of a packet that was lost once joined a later packet of the same number, and left that one's
// half for the next.
TEST_F(Port, AnOldHalfIsNoPartner) {
    MovedClock clock;
    auto receive = [&](const WireMessage& message) {
        CTXmitPkt* pkt = Packet(message);
        port.RecvXmitPacketHandle(*pkt);
        port.RecvXmitPacketFinish(*pkt);
        return port.GetRxQueue().Count();
    };
    auto [old_first, old_second] = Fragments(NetPacket(1490));
    auto [first, second] = Fragments(NetPacket(1500));
    for (const WireMessage& old : {old_first, old_second}) {
        EXPECT_EQ(receive(old), 0);
        clock.Advance(4000);
        EXPECT_EQ(receive(second), 0);
        EXPECT_EQ(receive(first), 1);
        CTXmitPkt* pkt = port.GetRxQueue().Dequeue();
        EXPECT_EQ(WireBytes(pkt->GetSkb()->GetData(),
                            pkt->GetSkb()->GetData() + pkt->GetSkb()->GetDataLength()),
                  NetPacket(1500).Encode());
        pkt->Release();
    }
    EXPECT_EQ(port.GetFragmentsAged(), 2u);
    EXPECT_EQ(port.GetFragmentsWaiting(), 0);
}

TEST_F(Port, SendsNetworkPacketsToTheCentralRouterInAtMostTwoPieces) {
    Open();
    UdpPeer elsewhere;
    for (const WireMessage& message : {Message(3, 2, 1385), NetPacket(1384), NetPacket(1385)}) {
        WireMessage unnumbered = message;
        unnumbered.seq = 0;
        CTXmitPkt* pkt = Packet(unnumbered);
        pkt->SetSendAddr(CTSockAddr("127.0.0.1", elsewhere.Port()));
        EXPECT_EQ(port.Write(pkt), 0);
    }
    EXPECT_EQ(elsewhere.Receive().body.size(), 1385u) << "a command is neither split nor diverted";
    EXPECT_EQ(peer.Receive().Encode(), NetPacket(1384, 0x105, 0).Encode());
    auto [first, second] = Fragments(NetPacket(1385, 0x105, 1));
    EXPECT_EQ(peer.Receive().Encode(), second.Encode()) << "the second one first";
    EXPECT_EQ(peer.Receive().Encode(), first.Encode());
    // A length that the buffer does not hold: nothing goes, not even the last fragment again.
    WireMessage lying = NetPacket(4);
    lying.length_field = 3000;
    EXPECT_EQ(port.Write(Packet(lying)), 0);
    CTSstpMessage marker(0);
    marker.SetType(5);
    EXPECT_EQ(port.Write(marker, central), 0);
    EXPECT_EQ(peer.Receive().body.size(), 0u);
    EXPECT_FALSE(elsewhere.HasWaiting());
}

// Commands are the reader's; a packet that comes while the reader may be at work waits behind it.
TEST_F(Port, ALonePacketIsTakenAtOnceAndOvertakesNone) {
    NotingTaker taker;
    Open();
    port.SetTaker(&taker);
    Send(Message(3, 2, 4));
    EXPECT_EQ(ReadBytes(), Message(3, 2, 4).Encode());
    Send(NetPacket(60));
    EXPECT_TRUE(BecomesLong(port.GetRxQueue(), 1));
    EXPECT_EQ(ReadBytes(), NetPacket(60).Encode());
    EXPECT_EQ(port.Read(), nullptr);
    Send(NetPacket(61));
    EXPECT_EQ(taker.WaitFor(1).size(), 1u);
    auto [first, second] = Fragments(NetPacket(1385));
    Send(second);
    Send(first);
    std::vector<WireBytes> taken = taker.WaitFor(2);
    ASSERT_EQ(taken.size(), 2u);
    EXPECT_EQ(taken[0], NetPacket(61).Encode());
    EXPECT_EQ(taken[1].size(), 16u + 1385u);
    ReadMarker();
}

// What a writer finds nothing in the way of, it sends; what waited while the port was paused goes
// first.
TEST_F(Port, ALonePacketIsSentByItsWriterAndOvertakesNone) {
    Open();
    auto write = [&](size_t payload) {
        CTXmitPkt* pkt = Packet(NetPacket(payload));
        port.Write(&pkt, 1);
    };
    write(60);  // waits where the transmit thread does not run yet
    EXPECT_EQ(peer.Receive().body.size(), 60u);
    const int queued = port.GetTxQueue().HighWater();
    for (int i = 0; i < 20; ++i) {
        port.Pause();  // the transmit thread has nothing in hand
        port.Resume();
        write(60);
        EXPECT_EQ(peer.Receive().body.size(), 60u);
    }
    EXPECT_EQ(port.GetTxQueue().HighWater(), queued);
    port.Pause();
    write(61);
    write(62);
    EXPECT_FALSE(peer.HasWaiting(20));
    EXPECT_EQ(port.GetTxQueue().Count(), 2);
    port.Resume();
    write(63);
    for (size_t size : {61u, 62u, 63u})
        EXPECT_EQ(peer.Receive().body.size(), size);
    EXPECT_EQ(port.GetCounters().sent.Get(), 24u);
}

TEST_F(Port, HeartbeatsComeFasterWhileUnansweredAndSixReportTheDropOff) {
    MovedClock clock;
    output.Take();
    // When heartbeats are queued, the clock moving by single ticks.
    auto queued_within = [&](int ms) {
        std::vector<int> times;
        for (int i = 1; i <= ms; ++i) {
            int before = pool.GetLoans();
            clock.Advance(1);
            EXPECT_EQ(port.SendHeartBeat(), 0);
            if (pool.GetLoans() > before) times.push_back(i);
        }
        return times;
    };
    EXPECT_EQ(queued_within(1), std::vector(1, 1)) << "nothing was sent before";
    // Any interval below two seconds counts as two seconds.
    constexpr std::pair<int, int> kIntervals[] = {
        {5, 5000}, {30, 30000}, {2, 2000}, {1, 2000}, {-7, 2000}};
    for (auto [seconds, first] : kIntervals) {
        if (first != 5000) port.SetHeartBeatInterval(seconds);  // that of a new port
        Send(Message(2, 2, 4));
        EXPECT_EQ(port.DoRecvXmitPacket(), 0);
        EXPECT_EQ(CapturedOutput([&] {
                      EXPECT_EQ(queued_within(first + 7000),
                                (std::vector{first, first + 2000, first + 3000, first + 4000,
                                             first + 5000, first + 6000, first + 7000}));
                  }),
                  "sstp drop off, count = 6\nsstp drop off, count = 7\n");
    }
}

TEST_F(Port, TheHeartbeatCarriesTheTickToTheCentralRouter) {
    MovedClock clock(0x11223344);
    Open();
    ReadMarker();  // the receive thread has begun and taken its first tick
    clock.Advance(5000);
    WireMessage heartbeat = peer.Receive();
    heartbeat.seq = 0;
    EXPECT_EQ(heartbeat.Encode(), Hex("01 02 0000 0014 0000 00000105 ffffffff 112246cc"));
}

TEST_F(Port, AFullQueueTakesNoNetworkPacketAndAFullPortLeavesDatagramsToTheSocket) {
    auto receive = [&](uint8_t type) { Finish(Message(type, 0, 20), central); };
    for (int i = 0; i < kQueueLimit; ++i) {
        ASSERT_EQ(port.Write(Packet(NetPacket(20))), 0);
        receive(5);
    }
    EXPECT_EQ(port.Write(Packet(NetPacket(20))), 1);
    receive(5);
    EXPECT_EQ(port.GetCounters().tx_queue_full.Get(), 1u);
    EXPECT_EQ(port.GetCounters().rx_queue_full.Get(), 1u);
    EXPECT_EQ(port.Write(Packet(Message(4, 0, 20))), 0);
    while (pool.GetLoans() < 3 * kQueueLimit)
        receive(3);
    EXPECT_EQ(port.GetCounters().rx_queue_full.Get(), 1u);
    Send(NetPacket(20));
    EXPECT_EQ(port.DoRecvXmitPacket(), 1);
    EXPECT_EQ(pool.GetLoans(), 3 * kQueueLimit);
    port.ClearRxFifo();
    EXPECT_EQ(port.DoRecvXmitPacket(), 0) << "it waited in the socket";
}

// They once filled the whole port: packets found the queue full, and what the central router sent
// was lost in the socket.
TEST_F(Port, AFloodOfStrangersCommandsLeavesRoomForPacketsAndTheCentralRouter) {
    constexpr int kWaitingAtMost = 1024;
    CTSockAddr stranger("10.0.0.9", 999);
    for (int i = 0; i < 3000; ++i)
        Finish(Message(i % 2 == 0 ? 3 : 7, 8, 4), stranger);
    EXPECT_EQ(pool.GetLoans(), kWaitingAtMost);
    EXPECT_EQ(port.GetCounters().flooded.Get(), 3000u - kWaitingAtMost);
    Finish(Message(3, 10, 4), central);
    Finish(NetPacket(20), stranger);
    EXPECT_EQ(pool.GetLoans(), kWaitingAtMost + 2);

    port.ClearRxFifo();
    for (int i = 0; i < kWaitingAtMost; ++i)  // their answers count too, network packets do not
        port.Write(Packet(Message(4, 8, 4)));
    Finish(Message(3, 8, 4), stranger);
    EXPECT_EQ(pool.GetLoans(), kWaitingAtMost);
    port.ClearTxFifo();
    for (int i = 0; i < 2 * kWaitingAtMost; ++i)
        port.Write(Packet(NetPacket(20)));
    Finish(Message(3, 8, 4), stranger);
    EXPECT_EQ(pool.GetLoans(), 2 * kWaitingAtMost + 1);
}

TEST_F(Port, WithoutMemoryTheReceiveThreadPausesAndTheDatagramWaits) {
    CTXmitPktPool none{0, 1};  // no descriptor can be made
    port.Attach(none, conn);
    Send(NetPacket(20));
    int64_t before = CTTime::GetCurrentMS();
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(port.DoRecvXmitPacket(), 1);
    EXPECT_GE(CTTime::GetCurrentMS() - before, 45);
    EXPECT_EQ(port.GetCounters().pool_empty.Get(), 5u);
    port.Attach(pool, conn);
    EXPECT_EQ(port.DoRecvXmitPacket(), 0);
    EXPECT_EQ(port.GetCounters().received.Get(), 1u);
}

// Repeated fragments cross the central router, too: its address excuses none.
TEST_F(Port, RepeatedFragmentsPrintABurstOfLinesAtMost) {
    MovedClock clock;
    output.Take();
    WireMessage half = Fragments(NetPacket(1500)).first;
    std::string printed = CapturedOutput([&] {
        for (int i = 0; i < 3000; ++i) {
            CTXmitPkt* pkt = Packet(half);
            pkt->SetRecvAddr(central);
            port.RecvXmitPacketHandle(*pkt);
        }
    });
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 1000);
    EXPECT_EQ(port.GetPrintLimit().GetLeftOut(), 1999u);
    port.Open(pool, conn);
    port.Close();  // releases the one that waits
}

// Of strangers only what may be a peer's goes on, to where peers are known.
TEST_F(Port, AStrictSourceIsTheCentralRouterAlone) {
    CTSockAddr stranger("10.0.0.9", 999);
    CTSockAddr other_port = central;
    other_port.SetPort(static_cast<unsigned short>(central.GetPort() ^ 1));
    auto passes = [&](const WireMessage& message, const CTSockAddr& from) {
        CTXmitPkt* pkt = Packet(message);
        pkt->SetRecvAddr(from);
        port.RecvXmitPacketHandle(*pkt);
        bool passed = pkt->GetStatus() == kXmitDeliver;
        pkt->Release();
        return passed;
    };
    for (bool strict : {false, true}) {
        port.SetStrictSource(strict);
        for (uint8_t type : std::initializer_list<uint8_t>{0, 1, 3, 4, 5, 6, 7}) {
            EXPECT_TRUE(passes(Message(type, 12, 4), central));
            EXPECT_EQ(passes(Message(type, 12, 4), stranger), !strict) << int{type};
            EXPECT_EQ(passes(Message(type, 12, 4), other_port), !strict) << int{type};
        }
        EXPECT_TRUE(passes(Message(3, 8, 4), stranger));
        EXPECT_TRUE(passes(Message(4, 8, 4), stranger));
    }
    EXPECT_EQ(port.GetCounters().foreign.Get(), 14u);
    MovedClock clock;
    port.SendHeartBeat();
    EXPECT_FALSE(passes(Message(2, 2, 4), stranger)) << "a forged answer";
    EXPECT_EQ(port.GetHeartBeatMisses(), 1u);
    EXPECT_FALSE(passes(Message(2, 2, 4), central));
    EXPECT_EQ(port.GetHeartBeatMisses(), 0u);
}

TEST_F(Port, RefusesWhatItCannotQueue) {
    MovedClock clock;
    CTSstpMessage msg(4);
    msg.SetDataLength(4);
    EXPECT_EQ(CTSstpPort().Write(msg, central), 1) << "never opened";
    CTXmitPktPool tiny{16, 1};
    port.Attach(tiny, conn);
    EXPECT_EQ(port.Write(static_cast<CTXmitPkt*>(nullptr)), 1);
    EXPECT_EQ(port.Write(msg, central), 1);
    EXPECT_EQ(port.SendHeartBeat(), 1);
    EXPECT_EQ(port.SendHeartBeat(), 1) << "still due";
    EXPECT_EQ(tiny.GetLoans(), 0);
}

TEST_F(Port, ClosingReleasesWhatIsQueuedUnsentAndThePortOpensAgain) {
    CTSstpMessage msg(0);
    for (int i = 0; i < 3; ++i) {
        Open();
        ReadMarker();
        // The transmit thread has come as far as its queue before it is stopped.
        EXPECT_EQ(port.Write(msg, central), 0);
        EXPECT_TRUE(peer.ReceiveBytes());
        port.Close();
    }
    // The transmit thread was woken for the stop and found its queue empty.
    EXPECT_NE(output.Take().find("pkt is null\nlinker is empty, count = 0\n"), std::string::npos);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(port.Write(msg, central), 0);
    for (const WireMessage& message : {Message(3, 2, 4), Fragments(NetPacket(1500)).first}) {
        CTXmitPkt* pkt = Packet(message);
        port.RecvXmitPacketHandle(*pkt);
        port.RecvXmitPacketFinish(*pkt);
    }
    EXPECT_EQ(port.Read(), nullptr) << "closed";
    EXPECT_EQ(pool.GetLoans(), 5);
    // Each thread's function finds the port closed.
    std::string printed = CapturedOutput([&] {
        CTSstpPort::rx_thread_process(&port);
        CTSstpPort::tx_thread_process(&port);
        CTSstpPort::rx_thread_process(nullptr);
        CTSstpPort::tx_thread_process(nullptr);
        CTSstpPort never_opened;
        CTSstpPort::rx_thread_process(&never_opened);
        CTSstpPort::tx_thread_process(&never_opened);
    });
    EXPECT_EQ(printed,
              "sstp port rxloop start\nsstp port rxloop stop\n"
              "sstp port txloop start\nsstp port txloop stop\n");
    EXPECT_EQ(pool.GetLoans(), 0);
    EXPECT_FALSE(peer.HasWaiting());
}

// The main thread has the connection to itself; what is written meanwhile is sent afterwards, or
// dropped by name where a new session began.
TEST_F(Port, PausesForTheMainThreadAndGoesOnWithTheOldSessionOrANewOne) {
    Open();
    CTSstpMessage packet(0);
    packet.SetType(5);
    packet.SetDst(1);
    CTSstpMessage from_peer(64);
    CTSockAddr from;
    for (bool is_new : {false, true}) {
        ReadMarker();
        Send(Fragments(NetPacket(1500)).first);
        Send(Message(3, 98, 0));
        EXPECT_EQ(ReadBytes(), Message(3, 98, 0).Encode());  // the fragment is stored by now
        EXPECT_EQ(port.GetFragmentsWaiting(), 1);
        port.Pause();
        Send(Message(3, 97, 0));
        EXPECT_EQ(conn.Read(from, from_peer), 16) << "read by nobody else";
        EXPECT_EQ(from_peer.GetSubType(), 97);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(port.Write(packet, central), 0);
        EXPECT_FALSE(peer.HasWaiting(20));
        if (is_new) port.BeginSession();
        port.Resume();
        for (int i = 0; i < (is_new ? 0 : 3); ++i)
            EXPECT_EQ(peer.Receive().type, 5);
        EXPECT_EQ(port.GetFragmentsWaiting(), is_new ? 0 : 1);
    }
    EXPECT_EQ(port.GetCounters().old_session.Get(), 4u);
    ReadMarker();
    EXPECT_EQ(port.Write(packet, central), 0);
    EXPECT_EQ(peer.Receive().type, 5);
    EXPECT_FALSE(peer.HasWaiting());
    port.Close();
    EXPECT_EQ(output.Take().find("pkt is null"), output.Take().rfind("pkt is null"))
        << "only the stop finds an empty queue";
}

TEST_F(Port, KnowsSinceWhenHeartbeatsGoUnanswered) {
    MovedClock clock;
    EXPECT_EQ(port.GetUnansweredSince(), CTSstpPort::kAnswered);
    port.SendHeartBeat();
    EXPECT_EQ(port.GetUnansweredSince(), 1000000);
    clock.Advance(2000);
    port.SendHeartBeat();
    EXPECT_EQ(port.GetHeartBeatMisses(), 2u);
    EXPECT_EQ(port.GetUnansweredSince(), 1000000) << "of the first one";
    Send(Message(2, 2, 4));
    EXPECT_EQ(port.DoRecvXmitPacket(), 0);
    EXPECT_EQ(port.GetUnansweredSince(), CTSstpPort::kAnswered);
    clock.Advance(5000);
    port.SendHeartBeat();
    EXPECT_EQ(port.GetUnansweredSince(), 1007000);
    port.Pause();
    port.BeginSession();
    port.Resume();
    EXPECT_EQ(port.GetUnansweredSince(), CTSstpPort::kAnswered);
    clock.Advance(4999);
    port.SendHeartBeat();
    EXPECT_EQ(port.GetHeartBeatMisses(), 0u) << "a whole interval passes first";
}

}  // namespace
