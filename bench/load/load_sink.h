#pragma once

#include <cstdint>

// Receives at that UDP port, counts the data of the run that is going on and answers questions.
// Does not return unless the port cannot be had: 2, with a line that says why.
int RunLoadSink(uint16_t port);
