#pragma once

#include <string>

// Whom a command is for.
enum class CtlProgram { kEither, kCentralRouter };

// The control socket to speak to where none is named: the first that is there of the places where
// those programs have it. Empty, with the places in fault, when there is none.
std::string ctl_find_socket(CtlProgram program, std::string& fault);
