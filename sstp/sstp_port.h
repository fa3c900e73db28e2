#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "base/pvu_counter.h"
#include "base/pvu_mutex.h"
#include "base/pvu_print_limit.h"
#include "base/pvu_pulse.h"
#include "base/pvu_semaphore.h"
#include "base/pvu_thread.h"
#include "inet/tnet_frag_linker.h"
#include "inet/tnet_merger.h"
#include "inet/tnet_splitter.h"
#include "inet/xmit_pkt_fifo.h"
#include "inet/xmit_pkt_pool.h"
#include "inet/xmit_pkt_taker.h"
#include "sstp/sstp_connect.h"
#include "sstp/sstp_message.h"
#include "sstp/sstp_send_burst.h"

// The data-path end of the tunnel to the central router, with two threads:
//
//   socket -> [receive thread] -> receive queue -> Read()   (the ingress forwarder)
//   Write() -> transmit queue -> [transmit thread] -> socket
//
// The receive thread also keeps the link alive with heartbeats and reassembles fragments; the
// transmit thread splits what is longer than the tunnel MTU. Any thread calls Write, the ingress
// thread alone calls Read, the main thread opens and closes.
//
// While the edge joins again the main thread pauses the port: both threads then stand between two
// pieces of their work and leave the connection to it. What is written meanwhile waits in the
// transmit queue, within its limits.
//
// Owned by the system object; pool and connection must outlive it. The destructor does not stop
// the threads: Close() comes first.
class CTSstpPort {
  public:
    static constexpr int kMaxBurst = 64;  // messages that are handed on at once
    static constexpr unsigned kDefaultHeartBeatMs = 5000;
    static constexpr unsigned kMinHeartBeatMs = 2000;

    CTSstpPort() = default;
    ~CTSstpPort();
    CTSstpPort(const CTSstpPort&) = delete;
    CTSstpPort& operator=(const CTSstpPort&) = delete;

    // ---- The owner's: main thread ----

    // What the threads work with.
    void Attach(CTXmitPktPool& pool, CTSstpConnect& conn);
    // Attaches, and starts both threads: true when they run. It can be opened again after a close.
    bool Open(CTXmitPktPool& pool, CTSstpConnect& conn);
    // Stops both threads, which takes up to one receive time-out of the connection; descriptors
    // still queued go back to the pool unsent.
    void Close();
    bool StartThread();
    void StopThread();
    // Release everything in that queue.
    void ClearRxFifo();
    void ClearTxFifo();
    // At least 2 seconds. Before Open.
    void SetHeartBeatInterval(int seconds);
    // Whether datagrams count only from where they are to come from: from the central router, and
    // peers' heartbeats and their replies, which the ingress thread judges, from peers. Before
    // Open.
    void SetStrictSource(bool strict) { m_strict_source = strict; }

    // Who takes a lone network packet from the receive thread while the ingress thread has nothing
    // to do; null for nobody. A taker outlives the receive thread.
    void SetTaker(CTXmitPktTaker* taker) { m_taker = taker; }

    // While open. Returns once neither thread uses the connection, after at most one receive
    // time-out of it; Resume follows before anything else is asked of the port.
    void Pause() PVU_ACQUIRE(m_gate, m_rx_turn, m_tx_turn);
    void Resume() PVU_RELEASE(m_gate, m_rx_turn, m_tx_turn);
    // While paused, with a new session: what was queued and stored under the old one's identifiers
    // is dropped and counted, and the heartbeats begin as after Open.
    void BeginSession() PVU_REQUIRES(m_rx_turn, m_tx_turn);

    // ---- The forwarders': any thread writes, the ingress thread alone reads ----

    // Queues the descriptor, which is the port's from now on: 0, or 1 for null and for a network
    // packet that found the queue full and was released.
    int Write(CTXmitPkt* pkt);
    // Queues a copy of the message: 0, or 1 when no descriptor could be had or filled.
    int Write(CTSstpMessage& msg, CTSockAddr& to);
    // A burst of network packets, which is the port's from now on: those that find the queue full
    // are dropped and counted. A lone one that finds nothing before it is sent by the caller.
    void Write(CTXmitPkt* const* pkts, int n);
    // The next received message, waiting up to 200 ms; the caller releases it. Null on time-out
    // and, after 5 ms, while the port is closed.
    CTXmitPkt* Read();
    // Up to n of them, the first waited for; how many.
    int Read(CTXmitPkt** pkts, int n);

    bool IsStrictSource() const { return m_strict_source; }
    // Whether a received packet's datagram came from the central router's address and port.
    bool IsFromCentralRouter(CTXmitPkt& pkt) const {
        return *pkt.GetRecvAddr() == m_conn->GetCentralRouterAddr();
    }
    // What others than the central router cause to be printed.
    CTPrintLimit& GetPrintLimit() { return m_print_limit; }

    // ---- The steps of the receive thread, in the order of a datagram's road ----

    static void* rx_thread_process(void* port);
    // One step of the heartbeat ladder. 0, or 1 when a due heartbeat could not be queued.
    int SendHeartBeat();
    int DoRecvXmitPacket();
    // One datagram in a fresh descriptor, or null.
    CTXmitPkt* Recv();
    // Whether the datagram is a whole message: nothing behind this looks beyond its length.
    bool IsComplete(CTXmitPkt& pkt) const;
    void RecvXmitPacketHandle(CTXmitPkt& pkt);
    void InterCommandAckHandle(CTXmitPkt& pkt, CTSstpMessage& msg);
    void InterCommandHeartBeatAckDone(CTXmitPkt& pkt);
    void RecvNetPacketDone(CTXmitPkt& pkt);
    void RecvXmitPacketFinish(CTXmitPkt& pkt);

    // ---- The steps of the transmit thread, in the order of a message's road ----

    static void* tx_thread_process(void* port);
    void TxXmitPacketHandle(CTXmitPkt& pkt);
    // Send, with the bytes sent as result; 0 when there was nothing to send.
    int SendNetPacket(CTXmitPkt& pkt);
    int Send(CTXmitPkt& pkt);
    int Send(CTXmitPkt& first, CTXmitPkt& second);
    void TxXmitPacketFinish(CTXmitPkt& pkt);

    // ---- What the port counts: any thread ----

    struct Counters {
        CTCounter received;       // whole messages
        CTCounter malformed;      // datagrams whose length is no message's
        CTCounter pool_empty;     // no descriptor to receive into or to send with
        CTCounter merge_refused;  // pairs of fragments too large to join
        CTCounter rx_queue_full;  // network packets dropped because too many waited
        CTCounter tx_queue_full;
        CTCounter flooded;       // commands of strangers, likewise (see IsFlooded)
        CTCounter foreign;       // not the central router's, with a strict source
        CTCounter sent;          // messages; a split one counts once
        CTCounter send_refused;  // by the system
        CTCounter old_session;   // waited while the edge joined again (see BeginSession)
    };
    const Counters& GetCounters() const { return m_counters; }
    uint64_t GetFragmentsEvicted() const { return m_fragments.GetEvicted(); }
    uint64_t GetFragmentsAged() const { return m_fragments.GetAged(); }
    int GetFragmentsWaiting() const { return m_fragments_waiting; }
    CTXmitPktMtFifo& GetRxQueue() { return m_rx_fifo; }
    CTXmitPktMtFifo& GetTxQueue() { return m_tx_fifo; }
    // Heartbeats sent since the last answer.
    unsigned GetHeartBeatMisses() const { return m_heartbeat_misses; }
    // Beyond so many the central router counts as lost.
    static constexpr unsigned kMissesToDropOff = 5;
    // The tick at which the first heartbeat since the last answer was sent; -1 when the last one
    // was answered, and before the first one.
    static constexpr int64_t kAnswered = -1;
    int64_t GetUnansweredSince() const { return m_unanswered_since; }
    // The tick of the last answer, and the round trip of the last heartbeat whose answer was not
    // overtaken by a further one, in microseconds; each -1 before the first.
    int64_t GetAnswered() const { return m_answered; }
    int64_t GetRoundTrip() const { return m_round_trip_us; }
    const CTPulse& GetRxPulse() const { return m_rx_pulse; }
    const CTPulse& GetTxPulse() const { return m_tx_pulse; }

  private:
    void RxLoop();
    void TxLoop();
    int Put(CTXmitPktMtFifo& queue, CTXmitPkt& pkt);
    CTXmitPkt* Take(CTXmitPktMtFifo& queue);
    int Take(CTXmitPktMtFifo& queue, CTXmitPkt** pkts, int n);
    bool BeginSending();
    void EndSending();
    void SendQueued(bool was_paused) PVU_REQUIRES(m_tx_turn);
    void SendBurst(CTXmitPkt** pkts, int n) PVU_REQUIRES(m_tx_turn);
    bool SendLone(CTXmitPkt& pkt);
    bool PassLone(CTXmitPkt& pkt);
    bool TakeSpares();
    void RecvBurst();
    CTXmitPkt* Accept(const CTReceivedDatagram& datagram);
    void Deliver(CTXmitPkt* const* pkts, int n);
    int Clear(CTXmitPktMtFifo& queue, CTSemaphore& semaphore);
    bool WaitAtGate();
    void ReplaceRepeated(CTXmitPkt& incoming, CTXmitPkt& stored, uint32_t now);
    static bool IsNetPacket(CTXmitPkt& pkt);
    bool IsForeign(CTXmitPkt& pkt, CTSstpMessage& msg);
    bool IsFlooded(CTXmitPkt& pkt);
    bool BacklogIsFull();
    void WaitForRoom();
    void TellRoom();

    CTThread m_rx_thread;
    CTThread m_tx_thread;
    CTPulse m_rx_pulse;
    CTPulse m_tx_pulse;
    std::atomic<bool> m_tx_running{false};
    std::atomic<bool> m_rx_running{false};
    CTSemaphore m_rx_semaphore;  // posted once for each entry of the receive queue
    CTSemaphore m_tx_semaphore;  // posted once for each entry of the transmit queue
    CTXmitPktMtFifo m_rx_fifo;
    CTXmitPktMtFifo m_tx_fifo;
    std::atomic<int> m_commands_waiting{0};  // in both queues: all but network packets
    bool m_strict_source = false;
    CTPrintLimit m_print_limit;
    CTXmitPktPool* m_pool = nullptr;
    CTSstpConnect* m_conn = nullptr;

    // Pausing: a thread holds its turn for each piece of its work, the main thread all of them. As
    // a mutex may go to the thread that just gave it up, the threads wait at the gate first.
    std::atomic<bool> m_paused{false};
    CTMutex m_gate;
    CTMutex m_rx_turn;
    CTMutex m_tx_turn;

    // Receive thread.
    std::atomic<CTXmitPktTaker*> m_taker{nullptr};
    std::atomic<bool> m_reader_busy{false};       // since before it took something from the queue
    std::atomic<unsigned> m_heartbeat_misses{0};  // heartbeats sent since the last acknowledgement
    std::atomic<int64_t> m_unanswered_since{kAnswered};  // tick
    unsigned m_last_heartbeat = 0;                       // tick
    int64_t m_heartbeat_sent_us = 0;
    std::atomic<int64_t> m_answered{-1};  // tick
    std::atomic<int64_t> m_round_trip_us{-1};
    unsigned m_heartbeat_interval = kDefaultHeartBeatMs;
    CTNetPktMerger m_merger;
    CTNetPktFragLinker m_fragments;
    std::atomic<int> m_fragments_waiting{0};       // in the store, for others' eyes
    std::array<CTXmitPkt*, kMaxBurst> m_spares{};  // to receive into
    int m_spare_count = 0;

    // Transmit thread.
    CTXmitPkt m_split_spare;  // takes the second fragment
    CTNetPktSplitter m_splitter;
    // That of whose turn it is; there while the transmit thread runs.
    CTSstpSendBurst m_send_burst PVU_GUARDED_BY(m_tx_turn);
    bool m_can_send PVU_GUARDED_BY(m_tx_turn) = false;

    // Back-pressure (see WaitForRoom).
    std::atomic<bool> m_reader_waits{false};
    CTSemaphore m_room;

    Counters m_counters;
};
