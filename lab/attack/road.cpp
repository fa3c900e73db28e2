#include "lab/attack/road.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr size_t kMostKept = 4096;
constexpr int kFramesBetweenWakes = 64;
constexpr size_t kFloodPerWake = 20;  // and millisecond
constexpr uint16_t kCentralPort = 1922;

// In the headers of IP and UDP.
constexpr size_t kSourceAt = kIpAt + 12;
constexpr size_t kDestinationAt = kIpAt + 16;

// The first byte of a sealed datagram, and the places in one that begins a handshake.
constexpr uint8_t kFirstSealed = 20, kLastSealed = 25, kHandshake = 22, kSealedMessage = 23;
constexpr size_t kMessageTypeAt = 13, kRandomAt = 27, kRandomSize = 32;
constexpr uint8_t kFirstMessage = 1;

// An open message: its type and sub type.
constexpr uint8_t kCommand = 3, kCommandAck = 4, kPeerHeartbeat = 8;

uint16_t At16(const Frame& frame, size_t at) {
    return static_cast<uint16_t>(frame[at] << 8 | frame[at + 1]);
}

bool IsForged(const Frame& frame, size_t address_at) {
    return frame[address_at] == 10 && frame[address_at + 1] == 78;
}

void Forge(Frame& frame, size_t udp) {
    frame[kSourceAt] = 10;
    frame[kSourceAt + 1] = 78;
    for (size_t at : {kSourceAt + 2, kSourceAt + 3, udp, udp + 1})
        frame[at] = static_cast<uint8_t>(random());
    for (size_t i = 0; i < kRandomSize; ++i)
        frame[udp + kUdpHeader + kRandomAt + i] = static_cast<uint8_t>(random());
    SetPayload(frame, udp, PayloadSize(frame, udp));
}

int64_t Milliseconds() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

void Road::Receive(Way way) {
    Frame frame;
    for (int i = 0; i < kFramesBetweenWakes && m_ends[way].Receive(frame); ++i)
        Carry(way, frame);
}

void Road::Carry(Way way, Frame& frame) {
    size_t udp = UdpOffset(frame);
    size_t size = udp > 0 ? PayloadSize(frame, udp) : 0;
    if (size == 0) return Send(way, frame);
    if (way == kDown && IsForged(frame, kDestinationAt)) {
        ++m_answers;
        m_answer_bytes += size;
        return;
    }
    SetPayload(frame, udp, size);
    Look(way, frame, udp);
    uint8_t first = frame[udp + kUdpHeader];
    if (m_drop_sealed && first >= kFirstSealed && first <= kLastSealed) {
        ++m_dropped;
        return;
    }
    if (first == kSealedMessage) SendSpoilt(way, frame, udp);
    Send(way, frame);
}

void Road::Look(Way way, const Frame& frame, size_t udp) {
    const uint8_t* payload = &frame[udp + kUdpHeader];
    size_t size = PayloadSize(frame, udp);
    Seen& seen = m_seen[way];
    seen.largest = std::max(seen.largest, frame.size() - kIpAt);
    bool is_command = payload[0] == kCommand || payload[0] == kCommandAck;
    if (payload[0] >= kFirstSealed && payload[0] <= kLastSealed) {
        ++seen.sealed;
    } else if (is_command && size > 1 && payload[1] == kPeerHeartbeat) {
        ++seen.heartbeats;
    } else {
        ++seen.open;
    }
    if (m_kept[way].size() < kMostKept) m_kept[way].push_back(frame);
    if (At16(frame, way == kUp ? udp + 2 : udp) == kCentralPort) m_last[way] = frame;
}

void Road::SendSpoilt(Way way, const Frame& frame, size_t udp) {
    size_t size = PayloadSize(frame, udp);
    size_t sent = 0;
    if (m_spoil[way] == Spoil::kChange) {
        for (size_t i = 0; i < size; ++i) {
            for (uint8_t bit : std::initializer_list<uint8_t>{0x01, 0x80}) {
                Frame changed = frame;
                changed[udp + kUdpHeader + i] ^= bit;
                Send(way, changed);
                ++sent;
            }
        }
    } else if (m_spoil[way] == Spoil::kCut) {
        for (; sent < size; ++sent) {
            Frame cut = frame;
            SetPayload(cut, udp, sent);
            Send(way, cut);
        }
    } else {
        return;
    }
    m_spoil[way] = Spoil::kNothing;
    printf("spoilt %zu of %zu bytes\n", sent, size);
    fflush(stdout);
}

void Road::Record() {
    for (auto& kept : m_kept)
        kept.clear();
}

size_t Road::Replay(Way way) {
    for (const Frame& frame : m_kept[way])
        Send(way, frame);
    return m_kept[way].size();
}

bool Road::Inject(Way way, const std::vector<uint8_t>& payload) {
    if (m_last[way].empty()) return false;
    Frame frame = m_last[way];
    size_t udp = UdpOffset(frame);
    frame.resize(udp + kUdpHeader);
    frame.insert(frame.end(), payload.begin(), payload.end());
    SetPayload(frame, udp, payload.size());
    Send(way, frame);
    return true;
}

bool Road::Flood(size_t count) {
    m_hellos.clear();
    for (const Frame& frame : m_kept[kUp]) {
        size_t payload = UdpOffset(frame) + kUdpHeader;
        if (frame.size() > payload + kRandomAt + kRandomSize && frame[payload] == kHandshake &&
            frame[payload + kMessageTypeAt] == kFirstMessage) {
            m_hellos.push_back(frame);
        }
    }
    if (!m_hellos.empty()) m_flood = count;
    return !m_hellos.empty();
}

void Road::GoOnFlooding() {
    int64_t now = Milliseconds();
    if (now == m_flooded_at) return;
    m_flooded_at = now;
    for (size_t i = 0; i < kFloodPerWake && m_flood > 0; ++i, --m_flood) {
        Frame frame = m_hellos[m_flood % m_hellos.size()];
        size_t udp = UdpOffset(frame);
        Forge(frame, udp);
        Send(kUp, frame);
        ++m_forged;
        m_forged_bytes += PayloadSize(frame, udp);
    }
    if (m_flood > 0) return;
    puts("flooded");
    fflush(stdout);
}

void Road::Tell() const {
    for (Way way : {kUp, kDown}) {
        const Seen& seen = m_seen[way];
        printf("%s: sealed %zu open %zu heartbeats %zu largest %zu\n", way == kUp ? "up" : "down",
               seen.sealed, seen.open, seen.heartbeats, seen.largest);
    }
    printf("dropped %zu, forged %zu of %zu bytes, answered %zu with %zu bytes\n", m_dropped,
           m_forged, m_forged_bytes, m_answers, m_answer_bytes);
}
