#include "bench/micro/packets.h"

#include <cstring>

#include "forward/net_adapter.h"
#include "inet/tnet_ipv4_hdr.h"
#include "sstp/sstp_message.h"

namespace {

constexpr int kMostIdle = 4096;
constexpr uint8_t kVersionAndSize = 0x45;

}  // namespace

CTXmitPktPool& MicroPool() {
    static CTXmitPktPool pool(kMicroBufSize, kMostIdle);
    return pool;
}

CTXmitPkt* MicroMessage(int length, uint32_t src, uint16_t seq, uint8_t total, uint8_t index) {
    CTXmitPkt* pkt = MicroPool().Alloc();
    pkt->SkbPut(length);
    CTSstpMessage msg;
    msg.Attach(pkt);
    msg.GetHeader().Fill(kSstpNetPacket, 0, seq, static_cast<uint16_t>(length), total, index, src,
                         0);
    return pkt;
}

void MicroFillPacket(CTXmitPkt& pkt, int length, uint32_t dst) {
    pkt.SkbReset();
    pkt.SkbPut(length);
    pkt.SetNetLayer(kNetLayer3);
    uint8_t* data = pkt.GetSkb()->GetData();
    memset(data, 0, sizeof(tnet_ipv4_hdr));
    data[0] = kVersionAndSize;
    CIPv4Header header(reinterpret_cast<tnet_ipv4_hdr*>(data));
    header.SetPacketLength(static_cast<uint16_t>(length));
    header.SetDstIP(dst);
}
