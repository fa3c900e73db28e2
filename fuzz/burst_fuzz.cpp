// Both sides of a burst: what the host's stack hands over is finished or cut, and what the network
// sends is joined. Whatever is joined must be, cut again, the very packets that came.
//
// Input: a byte for the side (0: host, else network); then records, from the host with the
// interface's header in front, from the network packets, each behind a byte that is 0 where its
// lengths and checksums are to be made right.

#include <cstdlib>
#include <cstring>
#include <deque>

#include "fuzz/fuzz_input.h"
#include "offload/tcp_cutter.h"
#include "offload/tcp_joiner.h"
#include "offload/unfinished_cksum.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kMaxPackets = 256;

std::vector<Bytes> Cut(const tnet_virtio_hdr& hdr, Bytes& burst) {
    std::vector<Bytes> packets;
    CTTcpCutter cutter;
    if (!cutter.Attach(hdr, burst.data(), static_cast<int>(burst.size()))) return packets;
    while (!cutter.IsEnd() && packets.size() < kMaxPackets) {
        Bytes packet(static_cast<size_t>(cutter.MaxLength()));
        packet.resize(static_cast<size_t>(cutter.Next(packet.data())));
        packets.push_back(std::move(packet));
    }
    return packets;
}

void FromHost(FuzzInput& input) {
    while (!input.Empty()) {
        Bytes record = input.TakeRecord();
        if (record.size() < kVirtioHdrSize) continue;
        tnet_virtio_hdr hdr;
        memcpy(&hdr, record.data(), sizeof hdr);
        Bytes packet(record.begin() + kVirtioHdrSize, record.end());
        Cut(hdr, packet);
        tnet_finish_cksum(hdr, packet.data(), static_cast<int>(packet.size()));
    }
}

// What the host sees of one write.
std::vector<Bytes> Seen(CTTcpJoiner& joiner) {
    int pieces = 0;
    const iovec* piece = joiner.Finish(pieces);
    tnet_virtio_hdr hdr;
    memcpy(&hdr, piece[0].iov_base, sizeof hdr);
    Bytes packet;
    for (int i = 1; i < pieces; ++i) {
        const uint8_t* bytes = static_cast<const uint8_t*>(piece[i].iov_base);
        packet.insert(packet.end(), bytes, bytes + piece[i].iov_len);
    }
    joiner.Clear();
    if (hdr.gso_type == kVirtioOnePacket) return {packet};
    return Cut(hdr, packet);
}

void Expect(std::deque<Bytes>& packets, const std::vector<Bytes>& seen) {
    for (const Bytes& packet : seen) {
        if (packets.empty() || packet != packets.front()) abort();
        packets.pop_front();
    }
}

// No search finds right checksums by itself.
void FixChecksums(Bytes& bytes) {
    CTTcpPacket packet;
    if (!packet.Attach(bytes.data(), static_cast<int>(bytes.size()))) return;
    CIPv4Header::SetPacketLength(packet.ip, static_cast<uint16_t>(packet.length));
    CIPv4Header::UpdateCheckSum(packet.ip);
    CTcpHdr::UpdateCheckSum(packet.tcp, packet.ip);
}

void FromNetwork(FuzzInput& input) {
    CTTcpJoiner joiner;
    std::deque<Bytes> came;
    std::deque<Bytes> kept;  // where the joiner may change headers
    while (!input.Empty()) {
        bool is_right = input.Take8() == 0;
        kept.push_back(input.TakeRecord());
        if (is_right) FixChecksums(kept.back());
        came.push_back(kept.back());
        Bytes& packet = kept.back();
        if (joiner.Add(packet.data(), static_cast<int>(packet.size()))) continue;
        Expect(came, Seen(joiner));
        if (!joiner.Add(packet.data(), static_cast<int>(packet.size()))) abort();
    }
    if (!joiner.IsEmpty()) Expect(came, Seen(joiner));
    if (!came.empty()) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    if (input.Take8() == 0) {
        FromHost(input);
    } else {
        FromNetwork(input);
    }
    return 0;
}
