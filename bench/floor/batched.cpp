#include "bench/floor/batched.h"

#include <thread>

#include "bench/floor/batched_parts.h"
#include "bench/floor/group_receive.h"
#include "bench/floor/group_send.h"

void RunBatchedEdge(int interface, int udp, const sockaddr_in& hub, const FloorRoute& route) {
    std::thread in(CarryBatchedIn, interface, udp);
    CarryBatchedOut(interface, udp, hub, route);
    in.join();
}

void RunBatchedHub(int udp, const std::vector<sockaddr_in>& edges) {
    FloorGroupReceive receive(udp);
    FloorGroupSend send(udp);
    for (;;) {
        int count = receive.Wait();
        receive.ForEach(count, [&](uint8_t* data, size_t size) {
            sstp_msg_hdr header;
            if (!ReadFloorHeader(data, size, header)) return;
            uint32_t dst = ntohl(header.dst);
            if (dst < edges.size()) send.Add(data, size, edges[dst]);
        });
        send.Flush();
    }
}
