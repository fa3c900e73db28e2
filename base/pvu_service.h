#pragma once

#include <cstdint>
#include <string>

// What a service manager is told of this process, through libsystemd where the program was built
// with it. Without it, and without a manager that asks for it, nothing happens. Each call sends one
// small datagram, which the manager takes at once while it lives; the main thread's.

// Whether a manager waits to be told.
bool pvu_service_is_managed();
// The start is over.
void pvu_service_ready();
// One line on how the program is doing. Control characters in it become "?".
void pvu_service_status(const std::string& line);
// The configuration is read again; ready follows.
void pvu_service_reloading();
// The end has begun.
void pvu_service_stopping();
// The process works. To be said more often than once in that many milliseconds; 0: nobody asks.
void pvu_service_alive();
uint64_t pvu_service_watchdog_ms();
