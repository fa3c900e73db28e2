#include <clocale>
#include <cstdio>
#include <string>

#include "ctl/command.h"
#include "ctl/ctl_option.h"

int main(int argc, char** argv) {
    setlocale(LC_CTYPE, "");  // which bytes are visible characters
    std::string fault;
    CtlOption option;
    switch (option.Parse(argc, argv, fault)) {
        case CtlOption::Action::kPrintVersion:
            CtlOption::PrintVersion();
            return kCtlGood;
        case CtlOption::Action::kPrintHelp:
            CtlOption::PrintHelp();
            return kCtlGood;
        case CtlOption::Action::kFault:
            fprintf(stderr, "tamvoctl: %s\n", fault.c_str());
            return kCtlUsage;
        case CtlOption::Action::kRun:
            break;
    }
    return ctl_run(option);
}
