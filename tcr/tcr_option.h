#pragma once

#include <cstdint>
#include <string>

// The command line: tamvo-tcr [-c FILE] [-s FILE] [-b ADDRESS] [-p PORT] [-v] [-h].
struct TcrOption {
    enum class Action { kServe, kPrintVersion, kPrintHelp, kFault };

    // What to do; with kFault one line tells why.
    Action Parse(int argc, char** argv, std::string& fault);

    static void PrintHelp();
    static void PrintVersion();

    std::string config_file;            // empty: none
    std::string state_file;             // empty: as the configuration says
    std::string address = "127.0.0.1";  // to listen on
    uint32_t ip = 0x7F000001;           // the same, host byte order
    uint16_t port = 1922;
};
