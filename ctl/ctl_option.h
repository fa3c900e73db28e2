#pragma once

#include <string>
#include <vector>

// The command line: tamvoctl [-s PATH] [-j] [-n COUNT] [-v] [-h] COMMAND [ARGUMENT...]. Options in
// any place.
struct CtlOption {
    enum class Action { kRun, kPrintVersion, kPrintHelp, kFault };

    // What to do; with kFault one line tells why.
    Action Parse(int argc, char** argv, std::string& fault);

    static void PrintHelp();
    static void PrintVersion();

    std::string socket;  // empty: to be found
    bool json = false;
    int count = 0;                   // frames that watch shows; 0: without end
    std::vector<std::string> words;  // command and arguments
};
