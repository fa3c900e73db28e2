#pragma once

#include <string>

#include "tcr/snapshot.h"

// The snapshot as metrics in the text format of Prometheus (docs/control.md). Any thread.
std::string tcr_metrics(const TcrSnapshot& snapshot);
