#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "base/pvu_counter.h"
#include "base/pvu_event_log.h"
#include "base/pvu_mutex.h"
#include "base/pvu_pulse.h"
#include "base/pvu_semaphore.h"
#include "base/pvu_thread.h"
#include "base/pvu_thread_safety.h"
#include "forward/net_adapter.h"
#include "inet/xmit_pkt_fifo.h"
#include "inet/xmit_pkt_pool.h"
#include "inet/xmit_pkt_taker.h"
#include "offload/tcp_joiner.h"

// The virtual interface as the forwarders see it:
//
//   interface -> [receive thread] -> queue -> Read()   (the outgress forwarder)
//   Write()   -> interface                             (the ingress forwarder)
//
// Owned by the system object; adapter and pool must outlive it while it is open. The main thread
// opens and closes.
class CTNetDevice {
  public:
    static constexpr int kMaxBurst = 64;  // packets that are handed on at once

    CTNetDevice();
    ~CTNetDevice();  // closes an open device
    CTNetDevice(const CTNetDevice&) = delete;
    CTNetDevice& operator=(const CTNetDevice&) = delete;

    // ---- The owner's: main thread ----

    // Brings the interface up and starts the receive thread; 1 when it runs, else 0.
    int Open(CTNetAdapter& adapter, CTXmitPktPool& pool);
    // Stops the thread, which takes up to 200 ms, and takes the interface down; the adapter's
    // descriptor stays open. The device can be opened again.
    void Close();

    int StartThread();
    void StopThread();
    // Who takes a lone packet from the receive thread while the queue's reader has nothing to do;
    // null for nobody. A taker outlives the receive thread.
    void SetTaker(CTXmitPktTaker* taker) { m_taker = taker; }

    // ---- The forwarders' ----

    // The next packet of the interface, waiting up to 200 ms; the caller releases it. Null on
    // time-out and, after 5 ms, while the device is closed.
    CTXmitPkt* Read();
    // Writes the packet to the interface in one call; the system call's result, 0 for null, -1
    // when closed. The packet stays the caller's. An interface that is down gets one line.
    int Write(CTXmitPkt* pkt);

    // Bursts. Up to n packets of the interface, the first waited for as above; how many.
    int Read(CTXmitPkt** pkts, int n);
    // Writes the packets in their order, consecutive ones of a TCP flow as one where the interface
    // takes them so. They stay the caller's; their bytes may be changed. Counts what was refused.
    void Write(CTXmitPkt* const* pkts, int n);

    // ---- The steps of the receive thread ----

    // Its body, and one packet in a descriptor of the pool, or null. An interface
    // that is deleted gets one line and is made again, tried once a second, with a line when it is
    // back.
    void RxLoop();
    CTXmitPkt* ReadXmitPacket();
    // Releases every packet in the queue.
    void ClearRxFifo();

    // ---- What the device counts: any thread ----

    struct Counters {
        CTCounter read;          // packets of the interface, taken in
        CTCounter short_read;    // shorter than any packet of its layer
        CTCounter read_failed;   // the interface is down or gone
        CTCounter pool_empty;    // no descriptor to read into
        CTCounter queue_full;    // packets dropped because too many waited
        CTCounter written;       // packets written to the interface
        CTCounter write_failed;  // packets that the interface refused
    };
    const Counters& GetCounters() const { return m_counters; }
    CTXmitPktMtFifo& GetQueue() { return m_rx_fifo; }
    const CTPulse& GetPulse() const { return m_pulse; }

  private:
    static void* ThreadEntry(void* device);
    bool TakeSpares();
    void ReadBurst();
    void TakePackets(CTBurstReader& reader);
    void TakePacket(CTXmitPkt& pkt, int length);
    void PassOn();
    bool PassLone();
    void QueueBurst();
    void KeepSpares();
    void OnFailedRead();
    void TellState(CTEventLevel level, const char* what);
    void WriteJoined() PVU_REQUIRES(m_write_mutex);
    void CountWritten(int result, int packets) PVU_REQUIRES(m_write_mutex);
    // Whether there is an interface again.
    bool RestoreInterface() PVU_EXCLUDES(m_write_mutex);

    CTNetAdapter* m_adapter = nullptr;
    CTXmitPktPool* m_pool = nullptr;
    std::atomic<uint8_t> m_running{0};
    CTThread m_rx_thread;
    CTPulse m_pulse;
    uint8_t m_net_layer = kNetLayer2;
    int m_min_length;  // of a packet, by the layer
    CTXmitPktMtFifo m_rx_fifo;
    CTSemaphore m_rx_semaphore;  // posted once for each entry of the queue
    std::atomic<CTXmitPktTaker*> m_taker{nullptr};
    std::atomic<bool> m_reader_busy{false};  // since before it took something from the queue
    CTMutex m_write_mutex;
    CTTcpJoiner m_joiner PVU_GUARDED_BY(m_write_mutex);

    // Receive thread: descriptors to read into, those in front filled and not yet queued.
    std::array<CTXmitPkt*, kMaxBurst> m_spares{};
    int m_spare_count = 0;
    int m_filled = 0;
    bool m_is_drained = false;            // the last read found nothing
    uint32_t m_burst_number = 0;          // of the last burst of the interface; never 0
    uint32_t m_now = 0;                   // tick of the last wake-up
    bool m_read_failure_printed = false;  // the receive thread's
    bool m_read_failed = false;           // the receive thread's: the last read did
    uint64_t m_next_restore = 0;          // the receive thread's, in ticks
    bool m_write_failure_printed PVU_GUARDED_BY(m_write_mutex) = false;
    Counters m_counters;
};
