#include "base/pvu_service.h"

#if TAMVO_HAS_SYSTEMD

#include <systemd/sd-daemon.h>

#include <cstdlib>

namespace {

constexpr uint64_t kMicrosPerMilli = 1000;
constexpr int kKeepEnvironment = 0;

void Tell(const char* state) {
    sd_notify(kKeepEnvironment, state);
}

}  // namespace

bool pvu_service_is_managed() {
    return getenv("NOTIFY_SOCKET") != nullptr;
}

void pvu_service_ready() {
    Tell("READY=1");
}

void pvu_service_status(const std::string& line) {
    std::string state = "STATUS=";
    for (char c : line)
        state += static_cast<unsigned char>(c) < ' ' || c == '\x7f' ? '?' : c;
    Tell(state.c_str());
}

void pvu_service_reloading() {
    Tell("RELOADING=1");
}

void pvu_service_stopping() {
    Tell("STOPPING=1");
}

void pvu_service_alive() {
    Tell("WATCHDOG=1");
}

uint64_t pvu_service_watchdog_ms() {
    uint64_t micros = 0;
    return sd_watchdog_enabled(kKeepEnvironment, &micros) > 0 ? micros / kMicrosPerMilli : 0;
}

#else

bool pvu_service_is_managed() {
    return false;
}
void pvu_service_ready() {}
void pvu_service_status([[maybe_unused]] const std::string& line) {}
void pvu_service_reloading() {}
void pvu_service_stopping() {}
void pvu_service_alive() {}
uint64_t pvu_service_watchdog_ms() {
    return 0;
}

#endif
