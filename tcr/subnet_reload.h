#pragma once

#include "tcr/tcr_core.h"

// Makes the core serve what the configuration names, one line for each subnet that comes, goes or
// changes. A subnet is known by its name and keeps its index. Edges of those that stay as they are
// notice nothing.
void tcr_reload_subnets(TcrCore& core, const TcrConfig& config);
// Whether the subnet can stay as it is: its edges have been given both.
bool tcr_same_network(const CTSdwanSubnet& model, uint32_t gateway, uint32_t mask);
