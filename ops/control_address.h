#pragma once

#include <sys/un.h>

#include <string>

// The address of a UNIX socket with that file name; false with the reason in fault when there can
// be none.
bool control_address(const std::string& path, sockaddr_un& address, std::string& fault);
