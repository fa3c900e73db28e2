#include "sys/command_option.h"

#include <getopt.h>

#include <cstdio>

namespace {

constexpr char kShortOptions[] = "ivh?c:";
constexpr option kLongOptions[] = {
    {"interactive", no_argument, nullptr, 'i'},
    {"version", no_argument, nullptr, 'v'},
    {"help", no_argument, nullptr, 'h'},
    {"config", required_argument, nullptr, 'c'},
    {nullptr, 0, nullptr, 0},
};
constexpr char kProgramName[] = "Tamvo";

}  // namespace

int CTsdwCommandOption::Parse(int argc, char** argv) {
    optind = 0;  // start anew, also when a command line was parsed before
    for (;;) {
        int result = getopt_long(argc, argv, kShortOptions, kLongOptions, nullptr);
        if (result == -1) return 0;
        Apply(result, optarg);
    }
}

void CTsdwCommandOption::Apply(int option, const char* argument) {
    switch (option) {
        case 'i':
            m_terminal = true;
            break;
        case 'v':
            m_version = true;
            break;
        case 'h':
        case '?':
            m_help = true;
            break;
        case 'c':
            m_config = true;
            m_config_file = argument;
            break;
        default:
            printf("unknow option is %d\n", option);
            break;
    }
}

void CTsdwCommandOption::PrintHelp() {
    printf("Usage: %s [OPTIONS] \n\n", kProgramName);
    printf("Tamvo version: %d.%d.%d\n", 0, 1, 5);
    puts("Tamvo virtual local area network usage.\n");
    puts("Options:");
    puts("  -c, --config FILE     Specify config file (default: config.json)");
    puts("  -v, --version         Display Tamvo version information");
    puts("  -h, --help            Display this help message");
    puts("");
}

void CTsdwCommandOption::PrintVersion(CTVersion& version) {
    printf("Tamvo Version: %d.%d.%d\n", version.GetMajor(), version.GetMinor(), version.GetPatch());
}
