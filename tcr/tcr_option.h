#pragma once

#include <cstdint>
#include <string>

#include "tcr/tcr_config.h"

// The command line: tamvo-tcr [-c FILE] [-s FILE] [-b ADDRESS] [-p PORT] [-v] [-h].
struct TcrOption {
    enum class Action { kServe, kPrintVersion, kPrintHelp, kFault };

    // What to do; with kFault one line tells why.
    Action Parse(int argc, char** argv, std::string& fault);

    // The file that keeps the state: the one asked for here, or the configuration's; tcr.db in the
    // working directory where there is a configuration file without any; else empty, for nothing.
    std::string StateFile(const TcrConfig& config) const;

    static void PrintHelp();
    static void PrintVersion();

    std::string config_file;            // empty: none
    std::string state_file;             // empty: as the configuration says
    std::string address = "127.0.0.1";  // to listen on
    uint32_t ip = 0x7F000001;           // the same, host byte order
    uint16_t port = 1922;
};
