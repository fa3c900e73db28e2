#pragma once

#include <string>
#include <vector>

// Something that is wrong in a configuration file.
struct CTConfigFault {
    int line = 0;      // from 1; 0: the file as a whole
    std::string text;  // which key, and what of it; from the file, so to be escaped when shown
    bool is_syntax = false;
};
using CTConfigFaults = std::vector<CTConfigFault>;
