#pragma once

#include <cstdint>

// In replies, beside the errors of sstp/sstp_error.h.
constexpr uint32_t kTcrErrNone = 0;
constexpr uint32_t kTcrErrRefused = 1;
