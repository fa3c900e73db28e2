#pragma once

#include <string>

#include "tcr/traffic_history.h"

// Samples as docs/page.md describes them, on one line. Unix_ms: the wall clock at the last one.
std::string tcr_history_json(const TcrTrafficHistory::Samples& samples, int64_t unix_ms);
