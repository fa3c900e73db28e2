#pragma once

#include "ctl/ctl_option.h"

// The exit statuses of tamvoctl.
constexpr int kCtlGood = 0;
constexpr int kCtlRefused = 1;  // no answer, a refusal, a fault in a file
constexpr int kCtlUsage = 2;

// Runs the command that the options name, to standard output, faults to standard error; the exit
// status.
int ctl_run(const CtlOption& option);
