#pragma once

#include "bench/floor/batched.h"

// The two directions of a batched edge; endless.
void CarryBatchedOut(int interface, int udp, const sockaddr_in& hub, const FloorRoute& route);
void CarryBatchedIn(int interface, int udp);
