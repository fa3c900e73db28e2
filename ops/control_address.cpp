#include "ops/control_address.h"

#include <sys/socket.h>

#include <cstring>

bool control_address(const std::string& path, sockaddr_un& address, std::string& fault) {
    constexpr size_t kMaxPath = sizeof address.sun_path - 1;
    if (path.empty() || path.find('\0') != std::string::npos) {
        fault = "is not the name of a file";
        return false;
    }
    if (path.size() > kMaxPath) {
        fault = "is longer than the " + std::to_string(kMaxPath) +
                " bytes that the name of a socket may have";
        return false;
    }
    address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.data(), path.size());
    return true;
}
