#include "ctl/find_socket.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "ops/control_socket.h"

namespace {

// Where a service manager runs them, and where an edge is that made itself a daemon.
struct Place {
    const char* path;
    bool is_edges;
};
constexpr Place kPlaces[] = {{"control", false},
                             {"/run/tamvo/control", true},
                             {"/run/tamvo-tcr/control", false},
                             {"/var/lib/tamvo/control", true}};

// One in a folder that is not for us counts: that it is refused is what its user has to know.
bool IsSocket(const std::string& path) {
    struct stat found;
    if (stat(path.c_str(), &found) != 0) return errno == EACCES;
    return S_ISSOCK(found.st_mode);
}

}  // namespace

std::string ctl_find_socket(CtlProgram program, std::string& fault) {
    std::vector<std::string> places = {control_socket_path({})};
    for (const Place& place : kPlaces) {
        bool is_for_it = program == CtlProgram::kEither || !place.is_edges;
        if (is_for_it && place.path != places.front()) places.emplace_back(place.path);
    }
    auto found = std::find_if(places.begin(), places.end(), IsSocket);
    if (found != places.end()) return *found;
    fault = "no control socket:";
    for (const std::string& place : places)
        fault += " " + place;
    fault += "; name one with -s";
    return "";
}
