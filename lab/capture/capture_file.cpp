#include "lab/capture/capture_file.h"

#include <arpa/inet.h>
#include <pcap/pcap.h>

namespace {

constexpr size_t kIp = 14;  // behind the Ethernet header
constexpr size_t kUdpHeader = 8;
constexpr uint32_t kTypeIp = 0x0800;
constexpr uint32_t kProtocolUdp = 17;
constexpr uint32_t kInPieces = 0x3FFF;  // offset and "more fragments"

// Whether the frame is whole as far as it matters; fills in what is a UDP datagram.
bool Parse(const WireBytes& frame, Datagram& datagram) {
    if (At16(frame, 12) != kTypeIp || At8(frame, kIp + 9) != kProtocolUdp) return true;
    size_t udp = kIp + (At8(frame, kIp) & 0x0F) * 4;
    size_t data = udp + kUdpHeader;
    size_t end = udp + At16(frame, udp + 4);
    if ((At16(frame, kIp + 6) & kInPieces) != 0 || end < data || end > frame.size()) return false;
    datagram.from = {At32(frame, kIp + 12), static_cast<uint16_t>(At16(frame, udp))};
    datagram.to = {At32(frame, kIp + 16), static_cast<uint16_t>(At16(frame, udp + 2))};
    datagram.bytes.assign(&frame[data], &frame[data] + (end - data));
    return true;
}

}  // namespace

std::string Endpoint::Text() const {
    return inet_ntoa({htonl(ip)}) + (":" + std::to_string(port));
}

std::string ReadCapture(const char* path, const std::function<void(const Datagram&)>& take) {
    char error[PCAP_ERRBUF_SIZE];
    pcap_t* file = pcap_open_offline(path, error);
    if (!file) return error;
    std::string wrong = pcap_datalink(file) == DLT_EN10MB ? "" : "not of an Ethernet interface";
    pcap_pkthdr* header;
    const uint8_t* bytes;
    int status = 1;
    for (size_t frame = 1; wrong.empty(); ++frame) {
        status = pcap_next_ex(file, &header, &bytes);
        if (status != 1) break;
        Datagram datagram{frame, header->ts.tv_sec * 1000 + header->ts.tv_usec / 1000, {}, {}, {}};
        if (!Parse(WireBytes(bytes, bytes + header->caplen), datagram))
            wrong = "frame " + std::to_string(frame) + ": a datagram in pieces";
        else if (datagram.to.port != 0)
            take(datagram);
    }
    if (status == PCAP_ERROR) wrong = pcap_geterr(file);
    pcap_close(file);
    return wrong;
}
