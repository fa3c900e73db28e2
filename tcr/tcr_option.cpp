#include "tcr/tcr_option.h"

#include <arpa/inet.h>
#include <getopt.h>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr char kDefaultState[] = "tcr.db";
constexpr char kDefaultAddress[] = "127.0.0.1";
constexpr uint16_t kDefaultPort = 1922;
constexpr char kShortOptions[] = "c:s:b:p:vh";
constexpr option kLongOptions[] = {
    {"config", required_argument, nullptr, 'c'},
    {"state", required_argument, nullptr, 's'},
    {"bind", required_argument, nullptr, 'b'},
    {"port", required_argument, nullptr, 'p'},
    {"version", no_argument, nullptr, 'v'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
};

bool IsAddress(const char* text) {
    in_addr addr;
    return inet_pton(AF_INET, text, &addr) == 1;
}

bool ParsePort(const char* text, uint16_t& port) {
    char* end = nullptr;
    long value = strtol(text, &end, 10);
    if (*text == '\0' || *end != '\0' || value < 1 || value > 0xFFFF) return false;
    port = static_cast<uint16_t>(value);
    return true;
}

}  // namespace

TcrOption::Action TcrOption::Parse(int argc, char** argv, std::string& fault) {
    optind = 0;  // start anew, also when a command line was parsed before
    for (;;) {
        switch (getopt_long(argc, argv, kShortOptions, kLongOptions, nullptr)) {
            case -1:
                if (optind == argc) return Action::kServe;
                fault = std::string("unexpected argument ") + argv[optind];
                return Action::kFault;
            case 'v':
                return Action::kPrintVersion;
            case 'h':
                return Action::kPrintHelp;
            case 'c':
                config_file = optarg;
                break;
            case 's':
                state_file = optarg;
                if (!state_file.empty()) break;
                fault = "-s: is not the name of a file";
                return Action::kFault;
            case 'b':
                address = optarg;
                if (IsAddress(optarg)) break;
                fault = std::string("-b ") + optarg + ": is not an IPv4 address";
                return Action::kFault;
            case 'p':
                if (ParsePort(optarg, port)) break;
                fault = std::string("-p ") + optarg + ": is not a port from 1 to 65535";
                return Action::kFault;
            default:
                fault = "see tamvo-tcr -h";
                return Action::kFault;
        }
    }
}

std::string TcrOption::StateFile(const TcrConfig& config) const {
    if (!state_file.empty()) return state_file;
    if (!config.state.empty()) return config.state;
    return config_file.empty() ? "" : kDefaultState;
}

std::string TcrOption::Address(const TcrConfig& config) const {
    if (!address.empty()) return address;
    return config.bind.empty() ? kDefaultAddress : config.bind;
}

uint16_t TcrOption::Port(const TcrConfig& config) const {
    if (port != 0) return port;
    return config.port != 0 ? config.port : kDefaultPort;
}

void TcrOption::PrintHelp() {
    puts("Usage: tamvo-tcr [OPTIONS]");
    puts("Central router of Tamvo overlays. Runs in the foreground and logs to standard output.");
    puts("");
    puts(
        "  -c, --config FILE     Subnets to serve (default: the one that a default edge asks for)");
    puts(
        "  -s, --state FILE      Keeps its state there (default: the file's \"state\"; without it");
    puts("                        tcr.db, with -c; without -c it keeps nothing)");
    puts(
        "  -b, --bind ADDRESS    IPv4 address to listen on (default: the file's \"bind\"; "
        "127.0.0.1)");
    puts("  -p, --port PORT       UDP port to listen on (default: the file's \"port\"; 1922)");
    puts("  -v, --version         Print the version");
    puts("  -h, --help            Print this text");
    puts("");
    puts("Signals: SIGINT and SIGTERM end it, SIGHUP reads the configuration file again, SIGUSR1");
    puts("prints its table of edges.");
    puts("Exit status: 0 after an orderly end, 2 when a fault kept it from starting or the last");
    puts("changes from being written.");
}

void TcrOption::PrintVersion() {
    printf("tamvo-tcr %s\n", kTcrVersion);
}
