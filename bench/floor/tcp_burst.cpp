#include "bench/floor/tcp_burst.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstring>

#include "bench/floor/floor_checksum.h"
#include "bench/floor/floor_wire.h"

namespace {

constexpr size_t kIpSize = 20;
constexpr size_t kTcpSmallest = 20;
constexpr uint8_t kIpPlain = 0x45;  // version 4, no options
constexpr size_t kIpLength = 2;
constexpr size_t kIpNumber = 4;
constexpr size_t kIpFlags = 6;
constexpr size_t kIpProtocol = 9;
constexpr size_t kIpCheck = 10;
constexpr size_t kIpAddresses = 12;
constexpr size_t kTcpSeq = kIpSize + 4;
constexpr size_t kTcpAck = kIpSize + 8;
constexpr size_t kTcpOffset = kIpSize + 12;
constexpr size_t kTcpFlags = kIpSize + 13;
constexpr size_t kTcpWindow = kIpSize + 14;
constexpr size_t kTcpCheck = kIpSize + 16;
constexpr size_t kTcpUrgent = kIpSize + 18;
constexpr uint8_t kFin = 0x01;
constexpr uint8_t kPush = 0x08;
constexpr uint8_t kAck = 0x10;
constexpr uint8_t kCwr = 0x80;
constexpr uint16_t kFragmented = 0x3FFF;  // more fragments, or an offset
constexpr size_t kUdpCheckOffset = 6;

uint16_t Get16(const uint8_t* at) {
    uint16_t value;
    memcpy(&value, at, sizeof value);
    return ntohs(value);
}
uint32_t Get32(const uint8_t* at) {
    uint32_t value;
    memcpy(&value, at, sizeof value);
    return ntohl(value);
}
void Put16(uint8_t* at, size_t value) {
    uint16_t wire = htons(static_cast<uint16_t>(value));
    memcpy(at, &wire, sizeof wire);
}
void Put32(uint8_t* at, uint32_t value) {
    uint32_t wire = htonl(value);
    memcpy(at, &wire, sizeof wire);
}
void PutSum(uint8_t* at, uint16_t sum) {
    memcpy(at, &sum, sizeof sum);
}

// Bytes of both headers; 0 when it is no TCP packet of the plain kind, or not whole.
size_t TcpHeaders(const uint8_t* packet, size_t size) {
    if (size < kIpSize + kTcpSmallest || packet[0] != kIpPlain) return 0;
    if (packet[kIpProtocol] != IPPROTO_TCP || (Get16(packet + kIpFlags) & kFragmented) != 0)
        return 0;
    size_t tcp = static_cast<size_t>(packet[kTcpOffset] >> 4) * 4;
    return tcp >= kTcpSmallest && kIpSize + tcp <= size ? kIpSize + tcp : 0;
}

uint64_t PseudoSum(const uint8_t* packet, size_t size) {
    return FloorSum(packet + kIpAddresses, kIpSize - kIpAddresses) + htons(IPPROTO_TCP) +
           htons(static_cast<uint16_t>(size - kIpSize));
}

void SumIp(uint8_t* packet) {
    PutSum(packet + kIpCheck, 0);
    PutSum(packet + kIpCheck, static_cast<uint16_t>(~FloorFold(FloorSum(packet, kIpSize))));
}

}  // namespace

void FinishFloorChecksum(const FloorVirtioHeader& header, uint8_t* packet, size_t size) {
    size_t start = header.checksum_start;
    size_t field = start + header.checksum_offset;
    if (start > size || field + sizeof(uint16_t) > size) return;
    uint16_t sum = static_cast<uint16_t>(~FloorFold(FloorSum(packet + start, size - start)));
    if (sum == 0 && header.checksum_offset == kUdpCheckOffset) sum = 0xFFFF;
    PutSum(packet + field, sum);
}

FloorCut::FloorCut(const uint8_t* burst, size_t size, size_t gso_size)
    : m_burst(burst), m_size(size), m_gso_size(gso_size) {
    size_t headers = TcpHeaders(burst, size);
    if (gso_size > 0 && headers + gso_size <= kFloorPacketMax) m_headers = headers;
}

size_t FloorCut::Next(uint8_t* segment) {
    size_t left = m_size - m_headers - m_at;
    if (left == 0) return 0;
    size_t data = std::min(left, m_gso_size);
    size_t size = m_headers + data;
    memcpy(segment, m_burst, m_headers);
    memcpy(segment + m_headers, m_burst + m_headers + m_at, data);
    Put16(segment + kIpLength, size);
    Put16(segment + kIpNumber, static_cast<size_t>(Get16(m_burst + kIpNumber)) + m_number);
    Put32(segment + kTcpSeq, Get32(m_burst + kTcpSeq) + static_cast<uint32_t>(m_at));
    if (m_number > 0) segment[kTcpFlags] &= static_cast<uint8_t>(~kCwr);
    if (data < left) segment[kTcpFlags] &= static_cast<uint8_t>(~(kFin | kPush));
    SumIp(segment);
    PutSum(segment + kTcpCheck, 0);
    uint64_t sum = FloorSum(segment + kIpSize, size - kIpSize, PseudoSum(segment, size));
    PutSum(segment + kTcpCheck, static_cast<uint16_t>(~FloorFold(sum)));
    m_at += data;
    ++m_number;
    return size;
}

FloorSegment ParseFloorSegment(const uint8_t* packet, size_t size) {
    size_t headers = TcpHeaders(packet, size);
    if (headers == 0 || headers == size || Get16(packet + kIpLength) != size) return {};
    if ((packet[kTcpFlags] & ~kPush) != kAck) return {};
    if (FloorFold(FloorSum(packet, kIpSize)) != 0xFFFF) return {};
    uint64_t sum = FloorSum(packet + kIpSize, size - kIpSize, PseudoSum(packet, size));
    if (FloorFold(sum) != 0xFFFF) return {};
    return {headers, size - headers};
}

bool ContinuesFloorSegment(const uint8_t* first, size_t headers, size_t data, uint16_t segments,
                           const uint8_t* next) {
    auto equal = [&](size_t from, size_t to) {
        return memcmp(first + from, next + from, to - from) == 0;
    };
    uint16_t number = static_cast<uint16_t>(Get16(first + kIpNumber) + segments);
    return equal(0, kIpLength) && number == Get16(next + kIpNumber) && equal(kIpFlags, kIpCheck) &&
           equal(kIpAddresses, kTcpSeq) &&
           Get32(first + kTcpSeq) + static_cast<uint32_t>(data) == Get32(next + kTcpSeq) &&
           equal(kTcpAck, kTcpFlags) && (first[kTcpFlags] & kPush) == 0 &&
           equal(kTcpWindow, kTcpCheck) && equal(kTcpUrgent, headers);
}

FloorVirtioHeader HeadFloorBurst(uint8_t* first, size_t headers, size_t segment_data, size_t size,
                                 bool push) {
    FloorVirtioHeader header = {};
    header.flags = kFloorNeedsChecksum;
    header.gso_type = kFloorGsoTcp4;
    header.header_length = static_cast<uint16_t>(headers);
    header.gso_size = static_cast<uint16_t>(segment_data);
    header.checksum_start = kIpSize;
    header.checksum_offset = kTcpCheck - kIpSize;
    if (push) first[kTcpFlags] |= kPush;
    Put16(first + kIpLength, size);
    SumIp(first);
    PutSum(first + kTcpCheck, FloorFold(PseudoSum(first, size)));
    return header;
}
