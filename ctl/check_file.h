#pragma once

#include <string>

#include "base/pvu_config_fault.h"

// What a configuration file is, by the keys at its top level.
enum class CtlFileKind { kUnknown, kEdge, kCentralRouter };

struct CtlFileCheck {
    CtlFileKind kind = CtlFileKind::kUnknown;
    CTConfigFaults faults;  // in the order of the lines; none when the file is good
};

// Every fault of the file, by the rules of the program that it is for.
CtlFileCheck ctl_check_file(const std::string& path);

// One line for each fault, FILE:LINE: TEXT, or one that says that there is none.
std::string ctl_show_check(const std::string& path, const CtlFileCheck& check, bool colour);
std::string ctl_check_json(const std::string& path, const CtlFileCheck& check);
