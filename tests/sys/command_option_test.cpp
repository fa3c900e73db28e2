#include "sys/command_option.h"

#include <gtest/gtest.h>

#include "tests/support/captured_output.h"

namespace {

// "vhic" for what is set, and the configuration file behind it.
std::string Parsed(std::vector<std::string> args) {
    args.insert(args.begin(), "tamvo");
    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    CTsdwCommandOption option;
    testing::internal::CaptureStderr();  // getopt's own complaints
    EXPECT_EQ(option.Parse(static_cast<int>(args.size()), argv.data()), 0);
    testing::internal::GetCapturedStderr();
    return std::string(option.IsVersion() ? "v" : "") + (option.IsHelp() ? "h" : "") +
           (option.IsTerminal() ? "i" : "") + (option.IsConfig() ? "c " : "") +
           option.GetConfigFile().c_str();
}

TEST(CommandOption, KnowsShortAndLongFormsAndGivesHelpForTheRest) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{}, ""},
        {{"-v"}, "v"},
        {{"--version"}, "v"},
        {{"-h"}, "h"},
        {{"--help"}, "h"},
        {{"-?"}, "h"},
        {{"-i"}, "i"},
        {{"--interactive"}, "i"},
        {{"-vhi", "-c", "f"}, "vhic f"},
        {{"-c", "one", "--config", "two.json"}, "c two.json"},
        {{"-x"}, "h"},
        {{"--nonsense"}, "h"},
        {{"-c"}, "h"},
        {{"-i", "--config"}, "hi"},
    };
    for (const auto& [args, parsed] : cases)
        EXPECT_EQ(Parsed(args), parsed) << testing::PrintToString(args);
}

}  // namespace
