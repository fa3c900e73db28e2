#pragma once

#include <netinet/in.h>

#include <vector>

#include "bench/floor/floor_wire.h"

// The batched floor: the plain one with many packets for each system call, as far as the kernel
// takes them. The interface gives and takes whole TCP bursts (it must be open with offload), the
// socket groups of datagrams. Of one burst the second halves of up to 16 packets go out before
// their first halves, so that each group is of one size; the bytes on the wire are the plain
// floor's. Endless; a failed call costs what it carried.

// An edge, with one thread for each direction.
void RunBatchedEdge(int interface, int udp, const sockaddr_in& hub, const FloorRoute& route);

// The hub to it.
void RunBatchedHub(int udp, const std::vector<sockaddr_in>& edges);
