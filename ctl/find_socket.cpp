#include "ctl/find_socket.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "ops/control_socket.h"

namespace {

// Where a service manager runs them, and where an edge is that made itself a daemon.
constexpr const char* kPlaces[] = {"control", "/run/tamvo/control", "/run/tamvo-tcr/control",
                                   "/var/lib/tamvo/control"};

// One in a folder that is not for us counts: that it is refused is what its user has to know.
bool IsSocket(const std::string& path) {
    struct stat found;
    if (stat(path.c_str(), &found) != 0) return errno == EACCES;
    return S_ISSOCK(found.st_mode);
}

}  // namespace

std::string ctl_find_socket(std::string& fault) {
    std::vector<std::string> places = {control_socket_path({})};
    for (const char* place : kPlaces) {
        if (place != places.front()) places.emplace_back(place);
    }
    auto found = std::find_if(places.begin(), places.end(), IsSocket);
    if (found != places.end()) return *found;
    fault = "no control socket:";
    for (const std::string& place : places)
        fault += " " + place;
    fault += "; name one with -s";
    return "";
}
