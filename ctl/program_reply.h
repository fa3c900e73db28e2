#pragma once

#include <string>

#include "ctl/find_socket.h"
#include "ops/json_reply.h"

// What a program answered, as it may be trusted: it is JSON, an object, and no error.
struct CtlReply {
    CTJsonTree tree;
    std::string line;  // as it came, in visible ASCII
};

// Asks the program on the socket, or on the one that is found for it where that is empty. False
// with one line in fault, fit for a terminal.
bool ctl_ask(const std::string& socket, CtlProgram program, const std::string& request,
             CtlReply& reply, std::string& fault);
