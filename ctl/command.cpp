#include "ctl/command.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "ctl/check_file.h"
#include "ctl/program_reply.h"
#include "ctl/screen.h"
#include "ctl/show_status.h"
#include "ctl/terminal_text.h"

namespace {

constexpr int kFrameMs = 1000;

int Usage(const std::string& fault) {
    fprintf(stderr, "tamvoctl: %s\n", ctl_terminal_text(fault).c_str());
    return kCtlUsage;
}

// The text of a fault is fit for a terminal already.
int Refused(const std::string& fault) {
    fprintf(stderr, "tamvoctl: %s\n", fault.c_str());
    return kCtlRefused;
}

// Also 1 when standard output takes it no longer, as a full disk.
int Show(const std::string& text) {
    bool good = fputs(text.c_str(), stdout) >= 0 && fflush(stdout) == 0;
    return good ? kCtlGood : kCtlRefused;
}

std::string Request(const char* command) {
    return std::string("{\"command\":\"") + command + "\"}";
}

template <typename Form>
int AskAndShow(const CtlOption& option, CtlProgram program, const std::string& request, Form form) {
    CtlReply reply;
    std::string fault;
    if (!ctl_ask(option.socket, program, request, reply, fault)) return Refused(fault);
    return Show(option.json ? reply.line + "\n" : form(reply.tree.get()));
}

int Status(const CtlOption& option) {
    return AskAndShow(option, CtlProgram::kEither, Request("status"),
                      [](const cJSON* reply) { return ctl_show_status(reply, ctl_has_colour()); });
}

// The program may end and come back meanwhile: then its fault stands in the place of its status.
int Watch(const CtlOption& option) {
    CtlScreen screen;
    bool good = false;
    int frames = 0;
    do {
        CtlReply reply;
        std::string fault;
        good = ctl_ask(option.socket, CtlProgram::kEither, Request("status"), reply, fault);
        if (!good) {
            screen.Draw("tamvoctl: " + fault + "\n");
        } else if (option.json) {
            screen.Draw(reply.line + "\n");
        } else {
            screen.Draw(ctl_show_status(reply.tree.get(), ctl_has_colour()));
        }
        ++frames;
    } while (frames != option.count && screen.Wait(kFrameMs));
    return good ? kCtlGood : kCtlRefused;
}

// Of the key of sealed channels, on a line of its own: as it stands in a configuration.
int Fingerprint(const CtlOption& option) {
    return AskAndShow(option, CtlProgram::kEither, Request("fingerprint"), [](const cJSON* reply) {
        const char* text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(reply, "key"));
        return text ? ctl_terminal_text(text) + "\n" : std::string();
    });
}

// A collector gets them as they are: an escape of ours is none of the format's.
int Metrics(const CtlOption& option) {
    return AskAndShow(option, CtlProgram::kEither, Request("metrics"), [](const cJSON* reply) {
        const char* text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(reply, "metrics"));
        if (!text) return std::string();
        return isatty(STDOUT_FILENO) != 0 ? ctl_terminal_text(text, true) : std::string(text);
    });
}

int Subnets(const CtlOption& option) {
    return AskAndShow(option, CtlProgram::kCentralRouter, Request("subnet list"),
                      [](const cJSON* reply) { return ctl_show_subnets(reply, ctl_has_colour()); });
}

// As the configuration has it: with a sign or without, or in hexadecimal.
bool ParseSerial(const std::string& text, long long& serial) {
    bool hex = text.starts_with("0x");
    char* end = nullptr;
    errno = 0;
    serial = strtoll(text.c_str(), &end, hex ? 16 : 10);
    bool whole = !text.empty() && *end == '\0' && errno == 0;
    return whole && serial >= INT32_MIN && serial <= UINT32_MAX;
}

int RemoveEdge(const CtlOption& option) {
    long long serial = 0;
    if (!ParseSerial(option.words[2], serial)) {
        return Usage(option.words[2] + ": is not a serial number like 1001, -5 or 0x3E9");
    }
    std::string request = R"({"command":"edge remove","serial":)" + std::to_string(serial) + "}";
    return AskAndShow(option, CtlProgram::kCentralRouter, request, ctl_show_removed);
}

int Check(const CtlOption& option) {
    const std::string& file = option.words[1];
    CtlFileCheck check = ctl_check_file(file);
    int shown = Show(option.json ? ctl_check_json(file, check) + "\n"
                                 : ctl_show_check(file, check, ctl_has_colour()));
    return check.faults.empty() ? shown : kCtlRefused;
}

struct Command {
    const char* first;
    const char* second;  // null: there is none
    size_t arguments;
    int (*run)(const CtlOption&);
};
constexpr Command kCommands[] = {
    {"status", nullptr, 0, Status},    {"watch", nullptr, 0, Watch},
    {"metrics", nullptr, 0, Metrics},  {"subnet", "list", 0, Subnets},
    {"edge", "remove", 1, RemoveEdge}, {"fingerprint", nullptr, 0, Fingerprint},
    {"check", nullptr, 1, Check},
};

bool IsMeant(const Command& command, const std::vector<std::string>& words) {
    size_t own = command.second ? 2 : 1;
    return words[0] == command.first && words.size() == own + command.arguments &&
           (!command.second || words[1] == command.second);
}

}  // namespace

int ctl_run(const CtlOption& option) {
    for (const Command& command : kCommands) {
        if (IsMeant(command, option.words)) return command.run(option);
    }
    std::string words;
    for (const std::string& word : option.words)
        words += (words.empty() ? "" : " ") + word;
    return Usage(words + ": no such command, or not with so many words; see tamvoctl -h");
}
