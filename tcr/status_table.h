#pragma once

#include "tcr/tcr_core.h"

// The table of subnets, edges and devices, and the counters, line by line to the log.
void tcr_print_table(TcrCore& core, TcrTime now);
