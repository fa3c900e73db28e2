#pragma once

#include <string>

// The control socket to speak to where none is named: the first that is there of the places where
// programs have it. Empty, with the places in fault, when there is none.
std::string ctl_find_socket(std::string& fault);
