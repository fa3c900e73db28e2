#pragma once

#include <netinet/in.h>

#include <cstdint>

// Opens what the floor reads and writes; a failure ends the program with one line that names what
// failed and why, status 2. The end of the process closes everything.

// The TUN interface of that name, made where there is none. With offload its packets carry a virtio
// header and TCP bursts pass whole, with unfinished checksums.
int OpenFloorInterface(const char* name, bool offload);

// A UDP socket at that port of every address of the host, with a receive buffer of the product's
// size.
int OpenFloorSocket(uint16_t port);

// IPv4 address in text and a port.
sockaddr_in FloorAddress(const char* text, uint16_t port);
