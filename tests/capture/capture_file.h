#pragma once

#include <functional>

#include "tests/capture/datagram.h"

// Hands on every UDP datagram over IPv4 of a capture of Ethernet frames, in the file's order. What
// went wrong, or an empty text; a datagram that is not whole is wrong.
std::string ReadCapture(const char* path, const std::function<void(const Datagram&)>& take);
