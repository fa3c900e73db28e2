#pragma once

#include <netinet/in.h>

#include <vector>

#include "bench/floor/floor_wire.h"

// The plain floor: what a tunnel of this wire format costs at the least when each packet is a
// system call on either side. No queue, no hand-over between threads, no table. Endless; a failed
// call costs the packet.

// An edge: interface and socket open, everything goes to the hub for the other edge. Uses two
// threads, one for each direction.
void RunPlainEdge(int interface, int udp, const sockaddr_in& hub, const FloorRoute& route);

// A hub that passes each datagram to the edge that its header names; the place in the list is the
// edge's number.
void RunPlainHub(int udp, const std::vector<sockaddr_in>& edges);
