#include "sstp/p2p_connect.h"

#include <cstdio>

#include "base/pvu_tick.h"
#include "base/pvu_time.h"
#include "sstp/sstp_p2p_heartbeat.h"
#include "sstp/sstp_port.h"

namespace {

constexpr uint32_t kOnlineIntervalMs = 20000;
constexpr uint32_t kProbeIntervalMs = 200;
constexpr uint32_t kRetryIntervalMs = 500;
constexpr int kLastProbe = 4;        // OFF: probing ends above it
constexpr int kMissesToPending = 1;  // ON: Pending above it
constexpr int kMissesToOff = 6;      // Pending: OFF at it
constexpr int kPrintCapacity = 128;

uint32_t Now() {
    return static_cast<uint32_t>(CTTime::GetCurrentTick());
}

}  // namespace

CTP2PConnect::CTP2PConnect() : m_online_interval(kOnlineIntervalMs) {
    m_endpoint.Zero();
}

void CTP2PConnect::SetEndpointAddr(const CTSockAddr& addr) {
    if (m_endpoint == addr) return;
    m_endpoint = addr;
    m_stat = kOff;
    m_counter = 0;
    m_round_trip_us = -1;
    m_answered = -1;
}

const char* CTP2PConnect::GetStatString(int stat) {
    switch (stat) {
        case kOff:
            return "OFF";
        case kPending:
            return "Pending";
        case kOn:
            return "ON";
        default:
            return "UnKnow";
    }
}

bool CTP2PConnect::SendIfDue(CTSstpPort& port, uint32_t interval) {
    uint32_t now = Now();
    if (now - m_last_heartbeat < interval) return false;
    SendHeartbeat(port);
    m_last_heartbeat = now;
    ++m_counter;
    return true;
}

int CTP2PConnect::HeartBeat(CTSstpPort& port) {
    switch (m_stat) {
        case kOff:
            if (m_counter <= kLastProbe) SendIfDue(port, kProbeIntervalMs);
            return 0;
        case kOn:
            if (SendIfDue(port, m_counter == 0 ? m_online_interval : kRetryIntervalMs) &&
                m_counter > kMissesToPending) {
                m_stat = kPending;
            }
            return 0;
        case kPending:
            if (SendIfDue(port, kRetryIntervalMs) && m_counter >= kMissesToOff) {
                m_stat = kOff;
                m_counter = 0;
            }
            return 0;
        default:
            printf("Unknow p2p connect stat %d\n", m_stat);
            return 1;
    }
}

void CTP2PConnect::HeartBeatAckDone(CTXmitPkt& pkt) {
    m_counter = 0;
    m_stat = kOn;
    m_answered = static_cast<int64_t>(pvu_get_current_tick());
    uint32_t tick = 0;
    if (sstp_answered_tick(pkt, tick) && tick == m_sent_tick && m_sent_us != 0) {
        m_round_trip_us = pvu_get_current_micros() - m_sent_us;
    }
}

int CTP2PConnect::SendHeartbeat(CTSstpPort& port) {
    CTSstpP2PHeartbeatMsg heartbeat;
    if (!heartbeat.Create()) return 0;
    heartbeat.SetDst(m_identifier);
    m_sent_tick = Now();
    m_sent_us = pvu_get_current_micros();
    heartbeat.SetTick(m_sent_tick);
    port.Write(heartbeat, m_endpoint);
    return 0;
}

int CTP2PConnect::Print(CTString& text) {
    CTString addr(kPrintCapacity);
    m_endpoint.Print(addr);
    text.Append("ident: 0x%08x, stat: %s, p2p addr: %s\n", m_identifier, GetStatString(m_stat),
                addr.c_str());
    return text.GetLength();
}

int CTP2PConnect::Print() {
    CTString text(kPrintCapacity);
    int length = Print(text);
    printf("%s", text.c_str());
    return length;
}
