#pragma once

#include <cstdint>
#include <string>

#include "base/pvu_sockaddr.h"

// What the central router's lines are made of.

// A text from the network as it may stand on a terminal: at most 32 characters, none of them a
// control character.
std::string tcr_printable(const char* field);
std::string tcr_ip_text(uint32_t ip);  // host byte order
std::string tcr_addr_text(const CTSockAddr& addr);
