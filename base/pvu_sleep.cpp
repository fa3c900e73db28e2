#include "base/pvu_sleep.h"

#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace {

constexpr unsigned kMicrosPerSecond = 1000000;

}  // namespace

void pvu_msleep(unsigned ms) {
    usleep(ms * 1000);
}

void pvu_usleep(unsigned us) {
    timespec left;
    left.tv_sec = us / kMicrosPerSecond;
    left.tv_nsec = static_cast<long>(us % kMicrosPerSecond) * 1000;
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
}
