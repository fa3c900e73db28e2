#include "ctl/ctl_option.h"

#include <getopt.h>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr char kShortOptions[] = "s:jn:vh";
constexpr option kLongOptions[] = {
    {"socket", required_argument, nullptr, 's'}, {"json", no_argument, nullptr, 'j'},
    {"count", required_argument, nullptr, 'n'},  {"version", no_argument, nullptr, 'v'},
    {"help", no_argument, nullptr, 'h'},         {nullptr, 0, nullptr, 0},
};

bool ParseCount(const char* text, int& count) {
    constexpr long kMost = 1'000'000'000;
    char* end = nullptr;
    long value = strtol(text, &end, 10);
    if (*text == '\0' || *end != '\0' || value < 1 || value > kMost) return false;
    count = static_cast<int>(value);
    return true;
}

}  // namespace

CtlOption::Action CtlOption::Parse(int argc, char** argv, std::string& fault) {
    optind = 0;  // start anew, also when a command line was parsed before
    for (;;) {
        switch (getopt_long(argc, argv, kShortOptions, kLongOptions, nullptr)) {
            case -1:
                words.assign(argv + optind, argv + argc);
                if (!words.empty()) return Action::kRun;
                fault = "no command, see tamvoctl -h";
                return Action::kFault;
            case 's':
                socket = optarg;
                if (!socket.empty()) break;
                fault = "-s: is not the name of a file";
                return Action::kFault;
            case 'j':
                json = true;
                break;
            case 'n':
                if (ParseCount(optarg, count)) break;
                fault = std::string("-n ") + optarg + ": is not a number of frames";
                return Action::kFault;
            case 'v':
                return Action::kPrintVersion;
            case 'h':
                return Action::kPrintHelp;
            default:
                fault = "see tamvoctl -h";
                return Action::kFault;
        }
    }
}

void CtlOption::PrintHelp() {
    puts("Usage: tamvoctl [OPTIONS] COMMAND");
    puts("Shows what a running edge or central router of Tamvo knows, and steers it.");
    puts("");
    puts("  status                What it is, whom it knows, what they carry, what was dropped");
    puts("  watch                 The same once a second, until it is interrupted");
    puts("  metrics               The same for Prometheus, as text for the textfile collector");
    puts("  subnet list           Subnets of a central router, and how many edges each has");
    puts(
        "  edge remove SERIAL    End session, address and announcements of a central router's "
        "edge;");
    puts("                        a negative number goes behind --");
    puts("  fingerprint           Its key of sealed channels, as others' configurations name it");
    puts("  check FILE            Say what is wrong with a configuration file of either program");
    puts("");
    puts("  -s, --socket PATH     Control socket of the program (default: \"control\" in");
    puts("                        $RUNTIME_DIRECTORY, the working directory, /run/tamvo,");
    puts("                        /run/tamvo-tcr or /var/lib/tamvo, the first that is there)");
    puts("  -j, --json            Show JSON, one line of it");
    puts("  -n, --count COUNT     So many frames of watch");
    puts("  -v, --version         Print the version");
    puts("  -h, --help            Print this text");
    puts("");
    puts(
        "Exit status: 0; 1 when the program does not answer or refuses, or the file has a fault; "
        "2");
    puts("when the command line has one.");
}

void CtlOption::PrintVersion() {
    puts("tamvoctl 0.1.5");
}
