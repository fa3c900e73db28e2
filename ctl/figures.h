#pragma once

#include <cstdint>
#include <string>

// Figures as people read them: three significant places and a unit.

std::string ctl_bytes(double bytes);       // "0 B", "84 B", "1.46 KiB", "12.3 MiB"
std::string ctl_rate(double per_second);   // of bytes: "840 B/s"
std::string ctl_duration(double seconds);  // "0.4 s", "59 s", "12m 05s", "3h 12m", "5d 07h"
std::string ctl_millis(double ms);         // "0.41 ms", "12.3 ms"
std::string ctl_hex(uint32_t number);      // "0x00000001"
