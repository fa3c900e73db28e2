// CTCentralRouter: what arrives is sorted here by message type.
//
//   network packet    TcrRelay: to the edge that its dst names, as it came, or to the gateway
//   interior command  TcrSessions: heartbeats
//   command           TcrRequests: request, reply
//   command ack       TcrSessions: of an announcement

#include "tcr/central_router.h"

#include "tcr/snapshot.h"
#include "tcr/state_restore.h"
#include "tcr/status_table.h"
#include "tcr/subnet_reload.h"

namespace {

constexpr int kRequestSize = 2048;

}  // namespace

CTCentralRouter::CTCentralRouter(const TcrConfig& config, TcrLink& link, TcrStateSink* sink)
    : m_core(config, link, sink),
      m_sessions(m_core),
      m_requests(m_core, m_sessions),
      m_relay(m_core, m_sessions),
      m_buffer(kRequestSize) {
    for (const TcrSubnetConfig& served : config.subnets)
        m_core.journal.SubnetChanged(m_core.subnets.Add(served).model.GetIndex());
}

void CTCentralRouter::Restore(const TcrStateImage& image, TcrTime now, int64_t unix_now) {
    TcrStateRestore(m_core, m_sessions, now, unix_now).Run(image);
}

void CTCentralRouter::Reload(const TcrConfig& config, TcrTime) {
    tcr_reload_subnets(m_core, config);
}

void CTCentralRouter::TakeSnapshot(TcrTime now, TcrSnapshot& snapshot) const {
    tcr_take_snapshot(m_core, now, snapshot);
}

void CTCentralRouter::PrintTable(TcrTime now) {
    tcr_print_table(m_core, now);
}

void CTCentralRouter::Receive(const TcrPath& from, const uint8_t* data, int length, TcrTime now) {
    ++m_core.counters.received;
    CTSstpMessage msg;
    bool complete = length <= kRequestSize && length >= kSstpHeaderSize &&
                    msg.Attach(const_cast<uint8_t*>(data), length) &&
                    msg.GetMessageLength() >= kSstpHeaderSize && msg.GetMessageLength() <= length;
    if (!complete) {
        ++m_core.counters.malformed;
        return;
    }
    TcrDatagram datagram{from, data, length, m_buffer, msg, now};
    // What is only passed on is not copied.
    if (msg.GetType() == kSstpNetPacket) return m_relay.Packet(datagram);
    m_buffer.Copy(data, length);
    msg.Attach(m_buffer);
    switch (msg.GetType()) {
        case kSstpInterCommand:
            return m_sessions.HeartBeat(datagram);
        case kSstpCommand:
            return m_requests.Command(datagram);
        case kSstpCommandAck:
            return m_sessions.Acknowledgement(datagram);
        default:
            ++m_core.counters.wrong;
    }
}

void CTCentralRouter::Tick(TcrTime now) {
    m_sessions.Tick(now);
    m_relay.Tick(now);
    if (now - m_last_sample >= CTTrafficWindow::kSampleMs) SampleTraffic(now);
}

void CTCentralRouter::AddChannels(std::unordered_set<uint64_t>& in_use, TcrTime now) const {
    m_core.subnets.ForEachEdge([&](const TcrEdge& edge) {
        const TcrSession& session = edge.Session();
        bool is_over = session.presence == TcrPresence::kAbsent;
        if (is_over && now - session.gone_tick >= kTcrChannelStaysMs) return;
        in_use.insert(session.path.channel);
        in_use.insert(session.earlier_channel);
    });
}

void CTCentralRouter::SampleTraffic(TcrTime now) {
    m_last_sample = now;
    m_core.subnets.ForEachEdge([&](const TcrEdge& edge) {
        TcrEdgeTraffic& traffic = edge.subnet->traffic[edge.slot];
        traffic.from_window.Sample(now, traffic.from_edge);
        traffic.to_window.Sample(now, traffic.to_edge);
    });
}

void CTCentralRouter::EndOfWakeUp(TcrTime now) {
    m_core.journal.Submit(now);
}

void CTCentralRouter::Saved(uint64_t ticket, TcrTime now) {
    bool was_failing = m_core.journal.IsFailing();
    for (const TcrEdge& edge : m_core.journal.Saved(ticket)) {
        if (m_core.replies.Release(edge)) m_sessions.ReplyLeft(edge, now);
    }
    m_core.replies.SetFailing(m_core.journal.IsFailing());
    if (was_failing && !m_core.journal.IsFailing()) {
        m_core.log.Line("state written again");
        CTEvent(CTEventLevel::kNotice, "state written again").Log();
    }
}

void CTCentralRouter::SaveFailed(uint64_t ticket, const std::string& reason, TcrTime now) {
    bool was_failing = m_core.journal.IsFailing();
    for (const TcrEdge& edge : m_core.journal.Failed(ticket, now))
        m_core.replies.Drop(edge);
    m_core.replies.SetFailing(m_core.journal.IsFailing());
    if (was_failing || !m_core.journal.IsFailing()) return;
    m_core.log.Line("state not written: %s; requests that change it go unanswered", reason.c_str());
    CTEvent(CTEventLevel::kError, "state not written").Add("reason", reason).Log();
}
