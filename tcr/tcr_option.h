#pragma once

#include <cstdint>
#include <string>

#include "tcr/tcr_config.h"

constexpr char kTcrVersion[] = "0.1.5";

// The command line: tamvo-tcr [-c FILE] [-s FILE] [-b ADDRESS] [-p PORT] [-v] [-h].
struct TcrOption {
    enum class Action { kServe, kPrintVersion, kPrintHelp, kFault };

    // What to do; with kFault one line tells why.
    Action Parse(int argc, char** argv, std::string& fault);

    // The file that keeps the state: the one asked for here, or the configuration's; tcr.db in the
    // working directory where there is a configuration file without any; else empty, for nothing.
    std::string StateFile(const TcrConfig& config) const;

    // The file of the key of sealed channels: beside the state's.
    std::string KeyFile(const TcrConfig& config) const { return StateFile(config) + ".key"; }

    // Where to listen: as asked for here, or as the configuration says, else 127.0.0.1 and 1922.
    std::string Address(const TcrConfig& config) const;
    uint16_t Port(const TcrConfig& config) const;

    static void PrintHelp();
    static void PrintVersion();

    std::string config_file;  // empty: none
    std::string state_file;   // empty: as the configuration says
    std::string address;      // to listen on, in dotted decimal; empty: likewise
    uint16_t port = 0;        // 0: likewise
};
