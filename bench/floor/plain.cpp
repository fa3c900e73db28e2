#include "bench/floor/plain.h"

#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <thread>

#include "bench/floor/floor_halves.h"

namespace {

constexpr size_t kDatagramMax = 2048;

void SendTo(int udp, const uint8_t* data, size_t size, const sockaddr_in& to) {
    sendto(udp, data, size, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

// The second half first, as its receiver expects.
void SendSplit(int udp, uint8_t* message, size_t size, const sockaddr_in& hub,
               const FloorRoute& route, uint16_t seq) {
    uint8_t second[kFloorHeaderSize + kFloorPacketMax - kFloorFirstData];
    size_t rest = size - kFloorMessageMax;
    FillFloorHeader(second, route, seq, kFloorHeaderSize + rest, kFloorPair, kFloorSecond);
    memcpy(second + kFloorHeaderSize, message + kFloorMessageMax, rest);
    SendTo(udp, second, kFloorHeaderSize + rest, hub);
    FillFloorHeader(message, route, seq, kFloorMessageMax, kFloorPair, kFloorFirst);
    SendTo(udp, message, kFloorMessageMax, hub);
}

void CarryOut(int interface, int udp, const sockaddr_in& hub, const FloorRoute& route) {
    uint8_t message[kFloorHeaderSize + kFloorPacketMax];
    for (uint16_t seq = 0;; ++seq) {
        ssize_t n = read(interface, message + kFloorHeaderSize, kFloorPacketMax);
        if (n <= 0) continue;
        size_t size = kFloorHeaderSize + static_cast<size_t>(n);
        if (size > kFloorMessageMax) {
            SendSplit(udp, message, size, hub, route, seq);
            continue;
        }
        FillFloorHeader(message, route, seq, size, kFloorWhole, kFloorFirst);
        SendTo(udp, message, size, hub);
    }
}

// Appends the second half to a first one; the size of both, or 0.
size_t Join(FloorHalves& halves, uint8_t* message, size_t size, const sstp_msg_hdr& header) {
    uint16_t seq = ntohs(header.seq);
    if (header.frame_index == kFloorSecond) {
        halves.Keep(seq, message + kFloorHeaderSize, size - kFloorHeaderSize);
        return 0;
    }
    const FloorHalves::Half* half = halves.Find(seq);
    if (!half || size + half->size > kFloorHeaderSize + kFloorPacketMax) return 0;
    memcpy(message + size, half->data, half->size);
    return size + half->size;
}

void CarryIn(int interface, int udp) {
    auto halves = std::make_unique<FloorHalves>();
    uint8_t message[kDatagramMax];
    for (;;) {
        ssize_t n = recvfrom(udp, message, sizeof message, 0, nullptr, nullptr);
        if (n <= 0) continue;
        size_t size = static_cast<size_t>(n);
        sstp_msg_hdr header;
        if (!ReadFloorHeader(message, size, header)) continue;
        if (header.frame_total == kFloorPair) size = Join(*halves, message, size, header);
        if (size <= kFloorHeaderSize) continue;
        [[maybe_unused]] ssize_t written =
            write(interface, message + kFloorHeaderSize, size - kFloorHeaderSize);
    }
}

}  // namespace

void RunPlainEdge(int interface, int udp, const sockaddr_in& hub, const FloorRoute& route) {
    std::thread in(CarryIn, interface, udp);
    CarryOut(interface, udp, hub, route);
    in.join();
}

void RunPlainHub(int udp, const std::vector<sockaddr_in>& edges) {
    uint8_t message[kDatagramMax];
    for (;;) {
        ssize_t n = recvfrom(udp, message, sizeof message, 0, nullptr, nullptr);
        sstp_msg_hdr header;
        if (n <= 0 || !ReadFloorHeader(message, static_cast<size_t>(n), header)) continue;
        uint32_t dst = ntohl(header.dst);
        if (dst < edges.size()) SendTo(udp, message, static_cast<size_t>(n), edges[dst]);
    }
}
