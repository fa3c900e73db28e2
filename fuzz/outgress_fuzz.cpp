// Packets from the interface through the outgress forwarder's checks, its look-up and header, and
// the splitter.
//
// Input: a byte for the layer (2, 3 or other); then packets as records.

#include "forward/forward_outgress.h"
#include "fuzz/fuzz_input.h"
#include "inet/tnet_splitter.h"
#include "inet/xmit_pkt_pool.h"
#include "sdwan/sdwan_subnet.h"
#include "sstp/p2p_connect_list.h"
#include "sstp/sstp_connect.h"

namespace {

constexpr int kPacketSize = 2048;
constexpr int kPoolMax = 128;
constexpr uint8_t kMac[] = {2, 0, 0, 0, 0, 1};

void FillModel(CTSdwanSubnet& subnet, CTP2pConnectList& peers) {
    CTSockAddr addr("127.0.0.1", 9);
    CTSdwanRouter* router = subnet.ReplaceRouter(1);
    router->SetIdentifier(1);
    subnet.AddDevice(router, 0xC0A80F0B, kMac);
    subnet.SetGateway(0xC0A80F05);
    subnet.SetNetMask(0xFFFFFF00);
    peers.Insert(1, addr);
}

void Forward(CTForwardOutgress& outgress, CTXmitPktPool& pool, CTXmitPkt& pkt) {
    outgress.FindDstRouter(pkt);
    if (!outgress.Verify(pkt)) return;
    outgress.NetPacketHandle(pkt);
    CTXmitPkt* spare = pool.Alloc();
    CTNetPktSplitter splitter;
    splitter.SetMtu(CTSstpConnect::kDefaultMtu);
    if (splitter.IsSingle(pkt)) splitter.Split(pkt, *spare);
    spare->Release();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    CTXmitPktPool pool(kPacketSize, kPoolMax);
    CTSdwanSubnet subnet;
    CTP2pConnectList peers;
    CTForwardOutgress outgress;
    FillModel(subnet, peers);
    outgress.SetExternalSubnet(subnet);
    outgress.SetP2PConnectList(peers);
    uint8_t layer = input.Take8();
    while (!input.Empty()) {
        std::vector<uint8_t> bytes = input.TakeRecord();
        CTXmitPkt* pkt = pool.Alloc();
        pkt->SetNetLayer(layer);
        if (pkt->Write(bytes.data(), static_cast<int>(bytes.size())) == 0) {
            Forward(outgress, pool, *pkt);
        }
        pkt->Release();
    }
    return 0;
}
