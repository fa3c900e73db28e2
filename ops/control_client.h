#pragma once

#include <cstddef>
#include <string>

// The longest reply that is taken from a program: about three times that of the largest central
// router.
constexpr size_t kControlMaxReply = 32 << 20;

// Asks the program that listens on the socket: sends the line and takes the reply, without its
// newline. False with one line in fault, which names the socket, when there is no whole reply
// within that time.
bool control_ask(const std::string& path, const std::string& line, int wait_ms, std::string& reply,
                 std::string& fault);
