// What an operator asks a running edge for with SIGUSR1: one figure to a line, "name: value".

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/pvu_replace_file.h"
#include "base/pvu_stdout.h"
#include "sys/tsdw_sys.h"

namespace {

constexpr char kStatusFile[] = "tamvo.stat";
constexpr int kTextSize = 2048;

void Add(CTString& text, const char* name, uint64_t value) {
    text.Append("%s: %llu\n", name, static_cast<unsigned long long>(value));
}

void AddQueue(CTString& text, const char* name, CTXmitPktMtFifo& queue) {
    text.Append("%s: %d\n", name, queue.Count());
    text.Append("%s, most: %d\n", name, queue.HighWater());
}

void AddOutward(CTString& text, const CTNetDevice& device, const CTForwardOutgress& outgress) {
    const CTNetDevice::Counters& read = device.GetCounters();
    const CTForwardOutgress::Counters& checked = outgress.GetCounters();
    Add(text, "packets from the interface", read.read.Get());
    Add(text, "dropped, short read", read.short_read.Get());
    Add(text, "reads failed", read.read_failed.Get());
    Add(text, "interface waited for a buffer", read.pool_empty.Get());
    Add(text, "dropped, interface queue full", read.queue_full.Get());
    Add(text, "dropped, not IPv4", checked.not_ipv4.Get());
    Add(text, "dropped, shorter than its length says", checked.length_lie.Get());
    Add(text, "dropped, layer 2 frame", checked.wrong_layer.Get());
    Add(text, "dropped, unknown destination", checked.unknown_destination.Get());
}

void AddTunnel(CTString& text, const CTSstpPort& port) {
    const CTSstpPort::Counters& counters = port.GetCounters();
    Add(text, "dropped, transmit queue full", counters.tx_queue_full.Get());
    Add(text, "messages sent", counters.sent.Get());
    Add(text, "dropped, send refused", counters.send_refused.Get());
    Add(text, "tunnel without a buffer", counters.pool_empty.Get());
    Add(text, "messages received", counters.received.Get());
    Add(text, "dropped, malformed datagram", counters.malformed.Get());
    Add(text, "dropped, fragment without partner", port.GetFragmentsEvicted());
    Add(text, "dropped, fragment too old", port.GetFragmentsAged());
    Add(text, "dropped, too large when joined", counters.merge_refused.Get());
    Add(text, "dropped, receive queue full", counters.rx_queue_full.Get());
    Add(text, "dropped, flood of commands", counters.flooded.Get());
    Add(text, "dropped, of an old session", counters.old_session.Get());
}

void AddSealed(CTString& text, const CTSealedLink& link) {
    const CTSealedLink::Counters& counters = link.GetCounters();
    Add(text, "sealed channels", counters.channels.Get());
    Add(text, "sealed channels given up", counters.failed.Get());
    Add(text, "dropped, outside the sealed channel", counters.outside.Get());
    Add(text, "dropped, sealed record not opened", counters.unopened.Get());
}

void AddInward(CTString& text, const CTSstpPort& port, const CTNetDevice& device,
               const CTForwardIngress& ingress) {
    Add(text, "dropped, malformed command", ingress.GetMalformedCount());
    Add(text, "dropped, strict source",
        port.GetCounters().foreign.Get() + ingress.GetForeignCount());
    Add(text, "packets to the interface", device.GetCounters().written.Get());
    Add(text, "dropped, interface write failed", device.GetCounters().write_failed.Get());
}

}  // namespace

void CTsdwSys::PrintStatus() {
    CTString text(kTextSize);
    AddOutward(text, m_device, m_outgress);
    AddTunnel(text, m_port);
    AddInward(text, m_port, m_device, m_ingress);
    AddSealed(text, m_client.GetSealedLink());
    Add(text, "interface hands over bursts", m_adapter.HasBursts() ? 1 : 0);
    Add(text, "segmented sending refused", m_client.GetSegmentsRefused());
    AddQueue(text, "interface queue", m_device.GetQueue());
    AddQueue(text, "transmit queue", m_port.GetTxQueue());
    AddQueue(text, "receive queue", m_port.GetRxQueue());
    text.Append("fragments waiting: %d\n", m_port.GetFragmentsWaiting());
    text.Append("buffers in use: %d\n", m_pool.GetLoans());
    Add(text, "lines left out", pvu_stdout_left_out());
    Add(text, "joined again", m_rejoins.Get());
    Add(text, "joining again failed", m_rejoins_failed.Get());
    Add(text, "lines left out, caused by others", m_port.GetPrintLimit().GetLeftOut());
    text.Append("heartbeats unanswered: %u\n", m_port.GetHeartBeatMisses());
    fputs(text.c_str(), stdout);
    if (pvu_replace_file(kStatusFile, text.c_str(), strlen(text.c_str())) == 0) {
        printf("status file not written: %s: %s\n", kStatusFile, strerror(errno));
    }
}
